// The quiescence search: captures, queen promotions, pushes to the seventh rank and, at depth 0 and above,
// quiet checks. Its children are nodes of the main search.
#include "position/make_move.h"
#include "position/movegen.h"
#include "position/see.h"
#include "search/hash_table.h"
#include "search/move_picker.h"
#include "search/search.h"

#include <algorithm>

namespace {

constexpr int RAZORING_MARGIN = 450;  // delta margin when called with depth left
constexpr int DELTA_MARGIN = 150;
constexpr int CHECK_GAIN = 20000;     // checks are never pruned by their gain
constexpr int PROMOTION_GAIN = 2000;  // pawn to its seventh or eighth rank

// Most that the move can win at once, for delta pruning.
int gain_estimate(const MoveEntry& move, int move_class) {
    if (move_class & MOVE_IS_CHECK) return CHECK_GAIN;
    if (move_class & (MOVE_TO_SEVENTH | MOVE_IS_PROMOTION)) return PROMOTION_GAIN;
    return EXCHANGE_VALUE[type_of(move.captured)];
}

}  // namespace

int quiesce(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, int node_type, Move* line) {
    Position& position = thread.position;
    StackEntry& entry = thread.stack[ply];

    // Step 1. Stand pat.
    const int stand_pat = entry.eval;
    if (stand_pat >= beta) return beta;
    alpha = std::max(alpha, stand_pat);
    int best = stand_pat;
    Move best_move = NULL_MOVE;

    // Step 2. Start the list of tactical moves, at the horizon with quiet checks.
    const int margin = depth > 0 ? RAZORING_MARGIN : DELTA_MARGIN;
    const int start_alpha = alpha;
    Move child_line[LINE_SIZE];
    entry.stage = depth >= 0 ? PICK_QUIET_CHECKS : 0;
    entry.alpha = static_cast<std::int16_t>(alpha);
    entry.beta = static_cast<std::int16_t>(beta);
    entry.move_count = 0;

    while (const MoveEntry* picked = next_move(thread)) {
        // Step 3. Delta pruning, then moves that lose material, then illegal ones.
        const MoveEntry& move = *picked;
        entry.move_class = static_cast<std::uint16_t>(move_flags(position, side, move));
        if (stand_pat + gain_estimate(move, entry.move_class) <= alpha - margin) continue;
        if (!see_ok(position, move.move)) continue;
        if (!is_legal(position, side, move.move, false)) continue;

        // Step 4. Search the move as a node of the main search.
        make_move(position, move.move);
        const int score = -search(thread, side ^ 1, ply + 1, depth - 1, -beta, -alpha, -node_type, child_line);
        unmake_move(position);
        if (search_control.stop) return 0;
        ++entry.move_count;

        // Step 5. Best move and line; a fail high ends the loop.
        if (score > alpha) {
            best = std::max(best, score);
            best_move = move.move;
            line[ply] = best_move;
            line[ply + 1] = NULL_MOVE;
            if (best >= beta) break;
            copy_line(line, child_line, ply);
            alpha = score;
        }
    }

    // Step 6. Only a fail high is worth an entry of the table.
    if (best >= beta && depth >= MIN_HASH_DEPTH) {
        hash_store(position, ply, std::min(depth, 0), best_move, entry.eval, best, start_alpha, beta);
    }
    return best;
}
