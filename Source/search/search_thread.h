// The one record that a search thread works in. Only its own thread writes it while a search runs; other
// threads read the fields marked Relaxed (the clock, the statistics).
#pragma once

#include "eval/eval_state.h"
#include "platform/relaxed.h"
#include "position/position.h"
#include "search/search_control.h"

#include <cstdint>

constexpr int MAX_THREADS = 160;

// Node types.
enum : int { NODE_PV = 0, NODE_CUT = 1, NODE_ALL = -1 };

// Per-ply search state; the root is ply 1. The list of the ply and the move being searched are
// GameState::list_start and GameState::current.
struct StackEntry {
    std::int16_t node_type;
    std::int16_t depth;  // remaining depth after extensions
    std::int16_t eval;   // static evaluation
    std::int16_t alpha;  // lower bound that the move loop started with
    std::int16_t beta;
    std::uint16_t in_check;
    std::uint16_t move_class;  // move_flags of the move being searched
    std::int16_t move_count;   // moves searched so far
    std::uint16_t improving;   // eval above the eval two plies earlier
    std::int32_t tb_result;    // 0..4, -1 none
    Move hash_move;
    Move killer1, killer2, check_killer;
    std::uint8_t checker_square;  // NO_SQUARE when not in check
    std::uint16_t stage;          // picker stage and mode flags
};

struct SearchThread {
    GameState game;
    StackEntry stack[PLY_RECORDS];
    std::int32_t history[1024];  // by piece code * 64 + destination
    Move counter_move[1024];     // by piece and destination of the previous move
    Move counter_move2[1024];
    Move followup_move[1024];  // by piece and destination of the move two plies back
    EvalState eval;
    Position position;
    Relaxed<Move> root_line[LINE_SIZE];  // best line by ply; [1] is the best move, [2] the expected reply
    std::uint8_t thread_index;           // 0: main search thread
    Relaxed<std::int8_t> iteration_depth;
    Relaxed<std::uint8_t> root_state;  // ROOT_INSIDE, ROOT_FAILING_LOW, ROOT_FAILING_HIGH
    Relaxed<std::int8_t> result_depth;
    Relaxed<std::int8_t> seldepth;
    std::uint32_t rand_state;
    Relaxed<std::int16_t> best_score;
    std::int16_t root_eval;
    std::uint64_t node_limit;
    Relaxed<std::uint64_t> nodes;
    Relaxed<std::uint64_t> tb_hits;
    Relaxed<std::uint64_t> tt_probes;
    Relaxed<std::uint64_t> tt_hits;
};

enum : int { ROOT_INSIDE = 0, ROOT_FAILING_LOW = 1, ROOT_FAILING_HIGH = 2 };

// Records by thread number, created on first use and kept to the end of the run.
extern SearchThread* search_threads[MAX_THREADS];

// The front end's own record: the game that UCI `position`, the console and the tools work on. Every search
// copies it into its threads.
extern SearchThread* game_record;

// The position of that record, and its moves so far.
inline Position& board() {
    return game_record->position;
}
inline GameState& game_state() {
    return game_record->game;
}

// Allocates a zero-filled record for the given number and initialises its game state; nullptr without
// memory. rand_state comes from the library's generator.
SearchThread* create_search_thread(int index);
constexpr int GAME_RECORD_INDEX = 160;

// Frees game_record and every search thread.
void free_search_threads();
