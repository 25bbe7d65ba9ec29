// Two players in one process: each has its own parameters of the hand-crafted evaluation and its own search record,
// and takes the engine over for its moves.
#pragma once

#include "eval/eval_params.h"
#include "tools/selfplay/judged_search.h"

#include <array>

struct SearchThread;

struct Player {
    std::array<EvalParams, MAX_EVAL_PARAMS> params;  // of the registry while the player is at move
    SearchThread* thread = nullptr;                  // with its own history and evaluation caches
};

// Creates the player's record and takes the registry's present parameters. False when memory is not to be had.
bool create_player(Player& player);

// After the player's parameters have changed, and before each game: forgets what was evaluated with others.
void forget_evaluations(Player& player);

// Searches the game record's position within settings.node_limit, with an empty transposition table: what the
// opponent has stored there was judged by other parameters.
SearchResult choose_move(const Player& player);
