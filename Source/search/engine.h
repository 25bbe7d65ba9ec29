// Bringing the engine up: the steps with which every program begins, in the only order that works.
#pragma once

// Fills the attack tables and then the table of king and pawn against king. Only the first call does anything.
void build_tables();

// What a program needs beside the tables, the Zobrist keys and the evaluation parameters, which every one gets.
struct EngineNeeds {
    int hash_mb = 0;                         // a transposition table and the game record; 0: no searches
    const char* params_file = nullptr;       // parameter text that is read after the built-in one
    bool network = false;                    // searches evaluate with settings.nn_file; false: the hand-crafted way
    const char* tablebase_folder = nullptr;  // endgame tablebases
};

enum class BringUp { READY, NO_MEMORY, NO_PARAMS, NO_NETWORK, NO_TABLEBASES };

// Brings up what is needed and stops at the first thing that fails; the caller turns that into words.
BringUp bring_up(const EngineNeeds& needs);
