// The main search: entry work of a node (search), then its move loop (search_moves).
#include "search/search.h"

#include "eval/evaluate.h"
#include "platform/clock.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "position/see.h"
#include "search/hash_table.h"
#include "search/move_picker.h"
#include "search/search_params.h"
#include "search/time_manager.h"
#include "syzygy/tbprobe.h"

#include <algorithm>

namespace {

constexpr int LAST_PLY = 79;          // deeper nodes are not searched
constexpr int NO_DEPTH_LIMIT = 256;   // for tablebase probes below a tablebase position
constexpr int TB_EVAL_BIAS = 4000;    // moves static scores of won and lost tablebase positions
constexpr int NULL_MOVE_MARGIN = 14;  // the static score must exceed beta by more than this
constexpr int IMPROVING_BONUS = 3;    // further late moves allowed when the static score rises
constexpr int MAX_LMR_INDEX = 30;
constexpr std::uint64_t CLOCK_NODES = 256;       // nodes between two looks of the main thread at the clock
constexpr std::uint64_t NODE_SPARE = 1'000'000;  // nodes beyond the limit for a first result, or to stop failing low

// Playing below full strength: the main thread sleeps until its speed falls to the target. The first iteration
// is never slowed down.
void throttle_speed(const SearchThread& thread) {
    while (search_control.throttle && search_control.iteration_depth > 1 && !search_control.stop &&
           static_cast<double>(thread.nodes) / (search_control.elapsed + 0.0001) > search_control.target_nps) {
        sleep_milliseconds(1);
        update_clock();
    }
}

// A player's search looks at the clock itself: the input loop only wakes for what it knows. A tool's search ends when
// its caller says so.
void watch_clock() {
    if (search_control.think_flags.load(std::memory_order_relaxed) & (THINK_CLOCK | THINK_PONDER)) update_clock();
}

// Past its node limit the main thread goes on while it has no result yet or is failing low, but not for ever: where
// queens check each other, either can explode.
[[gnu::cold]] bool ends_on_node_limit(const SearchThread& thread) {
    if (thread.result_depth <= 1) return thread.nodes >= thread.node_limit + NODE_SPARE;
    if (thread.root_state == ROOT_FAILING_LOW) return thread.nodes >= 2 * thread.node_limit + NODE_SPARE;
    return true;
}

void init_stack_entry(SearchThread& thread, int ply, int alpha, int beta, int node_type) {
    StackEntry& entry = thread.stack[ply];
    entry.alpha = static_cast<std::int16_t>(alpha);
    entry.beta = static_cast<std::int16_t>(beta);
    entry.node_type = static_cast<std::int16_t>(node_type);
    entry.eval = 0;
    entry.in_check = 0;
    entry.checker_square = NO_SQUARE;
    entry.hash_move = NULL_MOVE;
    entry.improving = 0;
    entry.tb_result = -1;
    StackEntry& child = thread.stack[ply + 1];
    child.killer1 = child.killer2 = child.check_killer = NULL_MOVE;
}

// False if the move that led here cannot give check. Its class knows all checks but those on lines opened by castling
// or by a pawn taken en passant.
bool may_be_in_check(const SearchThread& thread, int ply) {
    const int move_class = thread.stack[ply - 1].move_class;
    const MoveEntry& move = *thread.game.current[ply - 1];
    if (move_class & MOVE_IS_CHECK) return true;
    const bool en_passant = (move_class & MOVE_IS_CAPTURE) && move.captured == 0;
    const bool castling = (move.move & MOVE_FLAGS) && type_of(move.piece) == KING;
    return en_passant || castling;
}

// Remaining depth after extensions for checks, for the capture of the last piece and for a pawn that has
// reached its seventh rank near the horizon.
int extended_depth(const SearchThread& thread, int side, int ply, int depth) {
    if (thread.stack[ply].in_check) return std::max(depth + 1, 0);
    const int captured = type_of(thread.game.current[ply - 1]->captured);
    if (!has_pieces(thread.position, side) && captured != NO_PIECE_TYPE && captured != PAWN) return depth + 1;
    if ((thread.stack[ply - 1].move_class & MOVE_TO_SEVENTH) && depth <= 2) return depth + 1;
    return depth;
}

// Tablebase result of the node (-1 for none). Below a probed position every reply is probed; elsewhere only
// positions after a capture or pawn move, subject to the configured probe depth.
int probe_tablebases(SearchThread& thread, int ply, int depth) {
    const bool parent_known = thread.stack[ply - 1].tb_result != -1;
    int result = -1;
    if (parent_known) {
        result = tb_probe_search(thread.position, NO_DEPTH_LIMIT);
    } else if (thread.position.rule50 == 0) {
        result = tb_probe_search(thread.position, depth);
    }
    thread.stack[ply].tb_result = result;
    if (result != -1) ++thread.tb_hits;
    return result;
}

int static_eval(SearchThread& thread, int side, int ply, bool in_check, int tb_result) {
    const int eval = evaluate(thread.eval, thread.position, side, ply, in_check);
    switch (tb_result) {
        case 0: return eval - TB_EVAL_BIAS;
        case 2: return eval / 4;
        case 4: return eval + TB_EVAL_BIAS;
        default: return eval;
    }
}

// True when the opponent threatens to bring the static score below beta: by an exchange on one of our pieces
// or by a pawn that can safely step towards promotion.
bool has_threat(const SearchThread& thread, int side, int eval, int beta) {
    const Position& position = thread.position;
    const int enemy = side ^ 1;
    const Bitboard occ = occupancy(position);
    for (Bitboard pieces = position.pieces[side][0]; pieces;) {
        if (see_reaches(position, enemy, NO_SQUARE, pop_lsb(pieces), eval - beta + 1)) return true;
    }
    const Bitboard far_ranks = enemy == WHITE ? 0x00FFFF0000000000ULL : 0x0000000000FFFF00ULL;
    for (Bitboard pawns = position.pieces[enemy][PAWN] & far_ranks; pawns;) {
        const int square = pop_lsb(pawns);
        const int ahead = square + pawn_push(enemy);
        if (!(occ & bit(ahead)) && see_reaches(position, enemy, square, ahead, 0)) return true;
    }
    return false;
}

// Plies by which a null-move search is shallower than a normal one.
int null_move_reduction(int depth) {
    const int reduction = depth <= 23 ? 5 : 3 + depth / 8;
    return depth <= reduction ? depth - 1 : reduction;
}

bool null_move_allowed(const SearchThread& thread, int ply) {
    return thread.game.current[ply - 1]->move != NULL_MOVE && thread.game.current[ply - 2]->move != NULL_MOVE;
}

int null_move_score(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, Move* line) {
    make_null_move(thread.position);
    thread.stack[ply].move_class = 0;
    const int score =
        -search(thread, side ^ 1, ply + 1, depth - null_move_reduction(depth) - 1, -beta, -alpha, NODE_ALL, line);
    unmake_null_move(thread.position);
    return score;
}

enum class LateMove { SKIP, SEARCH };

// Late-move pruning and reduction of a move after the first; on SEARCH `reduction` says by how much.
LateMove judge_late_move(const SearchThread& thread, int depth, int node_type, const StackEntry& entry,
                         const MoveEntry& move, int& reduction) {
    const Position& position = thread.position;
    const int row = std::min(depth, MAX_LMR_INDEX);
    const int column = std::min<int>(entry.move_count, MAX_LMR_INDEX);
    enum { UNKNOWN, LOSES, HOLDS } exchange = UNKNOWN;
    const auto exchange_holds = [&] {
        if (exchange == UNKNOWN) exchange = see_ok(position, move.move) ? HOLDS : LOSES;
        return exchange == HOLDS;
    };

    // Late-move pruning.
    if (depth <= LMP_depth && node_type != NODE_PV) {
        if (entry.move_class == 0) {
            const int limit = move.score / 8 + 2 * depth + 1 + (entry.improving ? IMPROVING_BONUS : 0);
            if (entry.move_count >= limit || !exchange_holds()) return LateMove::SKIP;
        } else if (depth <= 1 && !exchange_holds()) {
            return LateMove::SKIP;
        }
    }

    // Late-move reduction.
    if (depth < LMR_depth) return LateMove::SEARCH;
    if (node_type == NODE_PV) {
        reduction = entry.move_class == 0 ? lmr_pv[row][column] : 0;
    } else {
        reduction = lmr_non_pv[row][column];
        if (entry.move_class != 0) reduction = move.score <= GOOD_SCORE ? std::min(reduction, 1) : 0;
    }
    if (!exchange_holds()) ++reduction;
    if (reduction >= row) reduction = row - 1;
    return LateMove::SEARCH;
}

}  // namespace

int search(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, int node_type, Move* line) {
    Position& position = thread.position;
    StackEntry& entry = thread.stack[ply];

    // Step 1. Count the node; the main thread watches its speed, its clock and its node limit.
    ++thread.nodes;
    if (thread.thread_index == 0) {
        if (search_control.throttle) throttle_speed(thread);
        if (thread.nodes % CLOCK_NODES == 0) watch_clock();
        if (thread.nodes > thread.node_limit && ends_on_node_limit(thread)) search_control.stop = 1;
    }
    if (search_control.stop) return 0;
    if (thread.seldepth < ply) thread.seldepth = static_cast<std::int8_t>(ply);
    if (depth >= MIN_HASH_DEPTH) hash_prefetch(position.key);

    // Step 2. Initialise the node.
    init_stack_entry(thread, ply, alpha, beta, node_type);
    line[ply] = line[ply + 1] = NULL_MOVE;

    // Step 3. Mate distance: being mated here is the worst, mating with the next move the best that can happen.
    alpha = std::max(alpha, ply - MATE);
    beta = std::min(beta, MATE - 1 - ply);
    if (alpha >= beta) return alpha;

    // Step 4. Checks, draws and the end of the stack.
    if (may_be_in_check(thread, ply)) {
        const int king = position.king_square[side];
        entry.checker_square = static_cast<std::uint8_t>(least_attacker(position, king, side ^ 1, occupancy(position)));
    }
    const bool in_check = entry.checker_square != NO_SQUARE;
    entry.in_check = in_check;
    if (is_draw(position, ply)) return 0;
    if (ply > LAST_PLY) return in_check ? 0 : evaluate(thread.eval, position, side, ply, false);

    // Step 5. Fifty-move horizon: nothing above a draw can be reached in time.
    if (node_type != NODE_PV && position.rule50 + depth > 100) beta = 0;

    // Step 6. Extensions.
    depth = extended_depth(thread, side, ply, depth);
    entry.depth = static_cast<std::int16_t>(depth);

    // Step 7. Transposition table.
    HashHit hit{};
    bool tt_fail_low = false;
    bool tt_fail_high = false;
    const bool tt_hit = (in_check || depth >= MIN_HASH_DEPTH) && hash_probe(thread, hit);
    if (tt_hit) {
        int score = hit.score;
        if (score < -MATE_BOUND) {
            score += ply;
        } else if (score > MATE_BOUND - 1) {
            score -= ply;
        }
        if (position.rule50 + hit.depth >= 101) score = 0;
        tt_fail_low = score <= alpha && hit.bound != BOUND_LOWER;
        tt_fail_high = score >= beta && hit.bound != BOUND_UPPER;
        if (hit.depth >= depth && node_type != NODE_PV) {
            if (hit.bound == BOUND_EXACT) return score;
            if (tt_fail_low) return alpha;
            if (tt_fail_high) return beta;
        }
        entry.hash_move = hit.move;
    }

    // Step 8. Tablebases: bounds on won and lost positions, and a refutation of moves that spoil the parent's.
    const int tb_result = probe_tablebases(thread, ply, depth);
    if (tb_result != -1) {
        const int parent = thread.stack[ply - 1].tb_result;
        if (parent != -1 && tb_result > 4 - parent) return beta;
        if (tb_result == 4 && beta <= TB_BOUND) return beta;
        if (tb_result == 0 && alpha >= -TB_BOUND) return alpha;
    }

    // Step 9. Static evaluation.
    const int eval = tt_hit && hit.eval != NO_SCORE ? hit.eval : static_eval(thread, side, ply, in_check, tb_result);
    entry.eval = static_cast<std::int16_t>(eval);
    entry.improving = entry.eval > thread.stack[ply - 2].eval;
    if (in_check) return search_moves(thread, side, ply, depth, alpha, beta, node_type, line);
    if (depth <= 0) return quiesce(thread, side, ply, depth, alpha, beta, node_type, line);

    // Step 10. Futility razoring: far below alpha near the horizon, only tactics can help.
    if (depth <= FP_depth && eval <= alpha - FP_margins[depth] && !tt_fail_high && node_type != NODE_PV) {
        const int score = quiesce(thread, side, ply, depth, alpha, beta, node_type, line);
        if (score <= alpha) return alpha;
        if (score >= beta) return beta;
    }

    const bool pieces_left = has_pieces(position, side);
    bool try_null_move =
        depth >= NMP_depth && eval > beta + NULL_MOVE_MARGIN && !tt_fail_low && node_type == NODE_CUT && pieces_left;

    // Step 11. Static-evaluation pruning: far above beta near the horizon with nothing threatened. A threat
    // leaves the decision to the null move, at any depth.
    if (depth <= SEP_depth && eval >= beta + SEP_margins[depth] && !tt_fail_low && node_type == NODE_CUT) {
        if (pieces_left && !has_threat(thread, side, eval, beta)) return beta;
        try_null_move = pieces_left;
    }

    // Step 12. Null move: if passing still fails high, so will a move; deep nodes verify at a reduced depth.
    if (try_null_move && null_move_allowed(thread, ply)) {
        if (null_move_score(thread, side, ply, depth, alpha, beta, line) >= beta) {
            if (depth <= 5) return beta;
            depth -= 5;
        }
    }

    // Step 13. Internal deepening: a shallower search finds the move to try first.
    const int shallow_depth = node_type == NODE_PV ? depth - 3 : depth / 2 - 1;
    if (shallow_depth > 0 && hit.depth < shallow_depth) {
        search_moves(thread, side, ply, shallow_depth, alpha, beta, node_type, line);
        if (search_control.stop) return 0;
        entry.hash_move = line[ply];
    }

    return search_moves(thread, side, ply, depth, alpha, beta, node_type, line);
}

int search_moves(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, int node_type, Move* line) {
    Position& position = thread.position;
    StackEntry& entry = thread.stack[ply];
    const int start_alpha = alpha;
    const bool in_check = entry.in_check;
    Move child_line[LINE_SIZE];
    int best = NO_SCORE;
    Move best_move = NULL_MOVE;
    bool hash_move_seen = false;

    // Step 1. Start the list of moves; nothing is generated before the hash move has been tried.
    line[ply] = NULL_MOVE;
    entry.alpha = static_cast<std::int16_t>(alpha);
    entry.beta = static_cast<std::int16_t>(beta);
    entry.move_count = 0;
    entry.stage = PICK_HASH_MOVE | PICK_MAIN;

    while (const MoveEntry* picked = next_move(thread)) {
        // Step 2. The next legal move, the hash move only once.
        const MoveEntry& move = *picked;
        if (move.move == entry.hash_move) {
            if (hash_move_seen) continue;
            hash_move_seen = true;
        }
        // Memory answers while the move is judged and made.
        if (depth > MIN_HASH_DEPTH) hash_prefetch(expected_key_after(position, move.move));
        if (!is_legal(position, side, move.move, in_check)) continue;
        entry.move_class = static_cast<std::uint16_t>(move_flags(position, side, move));

        // Step 3. Late-move pruning and reductions, once a move has been found that does not lose to a mate.
        int reduction = 0;
        if (best >= -MATE_BOUND &&
            judge_late_move(thread, depth, node_type, entry, move, reduction) == LateMove::SKIP) {
            continue;
        }

        // Step 4. Search the move: the first one with the whole window, later ones with a null window first.
        make_move(position, move.move);
        int score;
        if (entry.move_count == 0 || depth <= 1) {
            score = -search(thread, side ^ 1, ply + 1, depth - 1, -beta, -alpha, -node_type, child_line);
        } else {
            score = -search(thread, side ^ 1, ply + 1, depth - reduction - 1, -alpha - 1, -alpha, NODE_CUT, child_line);
            if (score > alpha) {
                const int type = node_type == NODE_PV ? NODE_PV : NODE_ALL;
                score = -search(thread, side ^ 1, ply + 1, depth - 1, -beta, -alpha, type, child_line);
            }
        }
        unmake_move(position);
        if (search_control.stop) return 0;
        ++entry.move_count;

        // Step 5. History, best move and line; a fail high ends the loop.
        if (move.captured == 0 && depth > 0) update_history(thread, ply, move, depth, score > alpha);

        if (score > best) {
            best = score;
            best_move = move.move;
            line[ply] = best_move;
            line[ply + 1] = NULL_MOVE;
            if (score > alpha) {
                if (score >= beta) break;
                copy_line(line, child_line, ply);
                alpha = score;
            }
        }
    }

    // Step 6. Mate, stalemate (or everything pruned), and the table.
    if (best_move == NULL_MOVE) best = in_check ? ply - MATE : 0;
    if (depth >= MIN_HASH_DEPTH) hash_store(position, ply, depth, best_move, entry.eval, best, start_alpha, beta);
    return best;
}
