// The record through which the input loop, the clock and the search threads talk: requests, limits, clocks,
// progress and the reported result. Global; who writes what is said at each group.
#pragma once

#include "platform/relaxed.h"
#include "position/types.h"

#include <atomic>
#include <cstdint>

// Bits of think_flags.
enum : std::uint16_t {
    THINK_CLOCK = 1,         // a search on a clock is running
    THINK_PONDER = 2,        // pondering
    THINK_TOOL = 4,          // a search of a tool or of the static display is running
    THINK_GO = 0x10,         // requested: search
    THINK_GO_PONDER = 0x20,  // requested: ponder
    THINK_FINISHED = 0x40,   // the search has ended; its result is complete
    THINK_STOPPED = 0x80,    // stopped by command
};

constexpr int LINE_SIZE = 90;     // moves of a line by ply: [1] is the first; 81 are used, the rest is slack
constexpr int DEPTH_SLOTS = 100;  // tables by depth; a tablebase result reports depth 99
constexpr int MAX_MULTIPV = 256;
constexpr int MAX_ROOT_MOVES = 256;

struct SearchControl {
    // Flags: set by any thread.
    Relaxed<std::uint8_t> stop = 0;
    std::atomic<std::uint16_t> think_flags{0};  // changed only by or / compare-exchange / store while idle

    // Limits and clocks: main thread while idle; the fields of time by update_clock on any thread.
    double start_time = 0;                   // monotonic seconds
    Relaxed<float> elapsed = 0;              // seconds
    Relaxed<float> clock[2] = {5.0f, 5.0f};  // remaining seconds per side
    Relaxed<std::int16_t> moves_left = 0;
    Relaxed<float> target_time = 1.0f;  // seconds
    Relaxed<float> target_nps = 0;
    Relaxed<std::uint16_t> throttle = 0;
    bool infinite = false;               // `go infinite`: the result waits for `stop`
    Relaxed<std::int16_t> threads = 1;   // threads of this search, settings.threads at most
    std::int16_t search_move_count = 0;  // `go searchmoves`: only these root moves are searched; 0: all
    Move search_moves[MAX_ROOT_MOVES] = {};
    std::uint8_t hash_enabled = 1;       // table switch; 1 on and cleared before each console `go`, 2 on and kept
    std::uint8_t hash_suspended = 0;     // its value that a table size of 0 took away; 0: none
    Relaxed<std::int16_t> hash_age = 0;  // 0..31, changes once per search
    std::int16_t hash_age_step = 1;
    Relaxed<float> hash_fill = 0;  // fill estimate, 0..1
    std::uint8_t root_side = 0;    // side to move at the root

    // Progress and result: written by the main search thread, reset by begin_search.
    Relaxed<std::int8_t> iteration_depth = 0;
    Relaxed<std::int16_t> score = 0;
    Relaxed<std::int16_t> root_eval = 0;    // static evaluation of the root searched last
    Relaxed<std::int16_t> root_qscore = 0;  // its quiescence score; a root in check has none and leaves it as it was
    Relaxed<Move> best_line[LINE_SIZE];     // [1] best move, [2] ponder move
    Relaxed<std::int8_t> result_depth = 0;
    Relaxed<std::int8_t> change_depth = 0;  // depth at which the reported best move last changed
    Relaxed<std::int16_t> score_by_depth[DEPTH_SLOTS];
    Relaxed<Move> best_by_depth[DEPTH_SLOTS];
    std::uint64_t nodes_by_depth[DEPTH_SLOTS] = {};  // under shared_lock while searching
    Relaxed<std::int8_t> completed_depth = 0;
    Relaxed<float> last_iteration_time = 0;
    Relaxed<std::uint8_t> single_reply = 0;
    Relaxed<std::int32_t> root_tb_result = -1;  // -1: none
    Move tb_move = 0;
    Move multipv_move[MAX_MULTIPV] = {};
    std::int16_t multipv_score[MAX_MULTIPV] = {};

    // Totals over the threads of this search, recomputed by sum_statistics.
    std::uint64_t nodes = 0, tb_hits = 0, eval_probes = 0, eval_hits = 0;
    std::uint64_t tt_probes = 0, tt_hits = 0, pawn_probes = 0, pawn_hits = 0;
    std::int8_t seldepth = 0;

    // Console auto-play, main thread only.
    bool play_move = false;  // play the engine's move after the search
    bool self_play = false;  // and then search for the other side
};

extern SearchControl search_control;

// Stops the running search as a command does: it is answered with the best move so far.
void stop_search();
// The predicted move was played: a search that ponders goes on as one on the clock. Others are left alone.
void ponder_hit();
// While pondering, or analysing without limit, waits until a command asks for the answer.
void hold_answer();
