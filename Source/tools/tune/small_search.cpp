// Alpha-beta that brings the leaf of its best line back.
#include "tools/tune/small_search.h"

#include "eval/evaluate.h"
#include "position/make_move.h"
#include "position/movegen.h"
#include "position/see.h"

#include <algorithm>

namespace {

constexpr int INFINITE_SCORE = 30000;
constexpr int EVASION_DEPTH = -3;   // below it a check is no reason to look at every move
constexpr int LAST_DEPTH = -8;      // no line is longer
constexpr int PLY_IN_SEARCH = 2;    // for the evaluation: not the root, where nothing is remembered
constexpr int FLIP_RANKS = 0x3838;  // of a move's origin and destination
constexpr int CAPTURE_KEY = 100, PROMOTION_KEY = 80;

struct OrderedMove {
    Move move;
    int key;  // 0: neither takes nor promotes
};

int order_key(const Position& position, Move move) {
    const int from = move_from(move), to = move_to(move);
    const int type = type_of(position.board[from]);
    if (type == KING && (move & MOVE_FLAGS)) return 0;  // castling
    int victim = type_of(position.board[to]);
    if (type == PAWN && file_of(from) != file_of(to) && !victim) victim = PAWN;  // en passant
    const int capture = victim ? CAPTURE_KEY + 10 * CAPTURE_ORDER[victim] - type : 0;
    return capture + (move & MOVE_FLAGS ? PROMOTION_KEY : 0);
}

class SmallSearch {
public:
    SmallSearch(HceState& state, Position& position) : state_(state), position_(position) {}

    int search(int depth, int alpha, int beta, Leaf& leaf) {
        const bool in_check = is_attacked(position_, position_.king_square[position_.side], position_.side ^ 1);
        const bool stands = depth <= 0 && (!in_check || depth < EVASION_DEPTH);
        int best = -INFINITE_SCORE;
        if (stands) {
            best = static_score(leaf);
            if (best >= beta || depth <= LAST_DEPTH) return best;
            alpha = std::max(alpha, best);
        }
        Leaf below;
        bool any_move = false;
        OrderedMove moves[MAX_MOVES];
        for (const OrderedMove *m = moves, *end = order_moves(stands, moves); m != end; ++m) {
            if (stands && !see_ok(position_, m->move)) continue;
            if (!is_legal(position_, position_.side, m->move, in_check)) continue;
            any_move = true;
            make_move(position_, m->move);
            const int score = -search(depth - 1, -beta, -alpha, below);
            unmake_move(position_);
            if (score <= best) continue;
            best = score;
            if (score > alpha) {
                alpha = score;
                leaf = below;
            }
            if (score >= beta) return score;
        }
        if (stands || any_move) return best;
        leaf = {position_, false};
        return in_check ? -SMALL_SEARCH_MATE : 0;
    }

private:
    int static_score(Leaf& leaf) {
        int score = 0;
        leaf = {position_, !known_endgame(position_, position_.side, score)};
        return leaf.evaluated ? hce_evaluate(state_, position_, PLY_IN_SEARCH) : score;
    }

    OrderedMove* order_moves(bool loud_only, OrderedMove* moves) {
        OrderedMove* end = moves;
        for (const MoveEntry* entry = gen_all(position_); entry->move != END_OF_LIST; ++entry) {
            const int key = order_key(position_, entry->move);
            if (key || !loud_only) *end++ = {entry->move, key};
        }
        // Among equals the mover's own view decides, so that either colour finds the same line.
        const int view = position_.side == WHITE ? 0 : FLIP_RANKS;
        std::sort(moves, end, [view](const OrderedMove& a, const OrderedMove& b) {
            return a.key != b.key ? a.key > b.key : (a.move ^ view) < (b.move ^ view);
        });
        return end;
    }

    HceState& state_;
    Position& position_;
};

}  // namespace

int small_search(HceState& state, Position& position, Leaf& leaf) {
    return SmallSearch(state, position).search(1, -INFINITE_SCORE, INFINITE_SCORE, leaf);
}
