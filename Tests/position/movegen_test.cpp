// What moves do beside getting made: checks, keys, and nothing left when they are taken back. Which moves there are is
// proved by perft, with the attacks behind them.
#include "board.h"

#include <gtest/gtest.h>

namespace {

// A check is seen from the piece that arrives or uncovered by the piece that leaves; neither the castling rook nor
// the line behind a pawn taken en passant counts.
bool plainly_checks(const Position& position, const MoveEntry& entry) {
    Position after = position;
    const int c = position.side;
    const int to = move_to(entry.move);
    const int type =
        type_of(entry.piece) == PAWN && (entry.move & MOVE_FLAGS) ? promotion_type(entry.move) : type_of(entry.piece);
    if (move_from(entry.move) == to) return false;
    after.pieces[c][0] ^= bit(move_from(entry.move)) | bit(to);
    after.pieces[c][type_of(entry.piece)] &= ~bit(move_from(entry.move));
    after.pieces[c][type] |= bit(to);
    const Bitboard* own = after.pieces[c];
    const Bitboard occ = occupancy(after);
    const int king = position.king_square[c ^ 1];
    return (pawn_attacks[c ^ 1][king] & own[PAWN]) | (knight_attacks[king] & own[KNIGHT]) |
           (king_attacks[king] & own[KING]) | (bishop_attacks(king, occ) & (own[BISHOP] | own[QUEEN])) |
           (rook_attacks(king, occ) & (own[ROOK] | own[QUEEN]));
}

TEST(Moves, give_check_by_the_plain_rule_and_leave_no_trace) {
    int moves = 0, checks = 0;
    visit_random_positions(30, [&](Board& board) {
        Position& p = board.position;
        const bool in_check = is_attacked(p, p.king_square[p.side], p.side ^ 1);
        for (const MoveEntry& entry : board.pseudo_legal()) {
            const std::string where = board.fen() + ' ' + move_to_text(p, p.side, entry.move);
            const bool check = plainly_checks(p, entry);
            ASSERT_EQ((move_flags(p, p.side, entry) & MOVE_IS_CHECK) != 0, check) << where;
            ASSERT_EQ(is_legal(p, p.side, entry.move), is_legal(p, p.side, entry.move, in_check)) << where;
            // No castling, en passant or promotion; castling rights are looked at below.
            const bool ordinary = !(entry.move & MOVE_FLAGS) && move_to(entry.move) != p.ep_square;
            // Castling and en passant; the search looks for checks after those, and otherwise trusts the class.
            const bool opens_unseen_line = type_of(entry.piece) == KING
                                               ? (entry.move & MOVE_FLAGS) != 0
                                               : (move_flags(p, p.side, entry) & MOVE_IS_CAPTURE) && !entry.captured;
            const std::uint64_t foreseen = expected_key_after(p, entry.move);
            const int castling = p.castling;
            const std::string bytes = bytes_of(p);
            make_move(p, entry.move);
            ASSERT_EQ(inconsistency(p), "") << where;
            if (ordinary && p.castling == castling) { ASSERT_EQ(p.key, foreseen) << where; }
            if (!opens_unseen_line) { ASSERT_EQ(is_attacked(p, p.king_square[p.side], p.side ^ 1), check) << where; }
            unmake_move(p);
            ASSERT_EQ(bytes_of(p), bytes) << where;
            ++moves;
            checks += check;
        }
    });
    EXPECT_GT(moves, 200000);
    EXPECT_GT(checks, 5000);
}

// In a long game search_ply can stand anywhere; the per-ply records must not be left.
TEST(Moves, are_generated_inside_the_ply_records) {
    Board board;
    for (const int ply : {0, PLY_RECORDS - 1, PLY_RECORDS, 5000}) {
        board.game->search_ply = ply;
        const MoveEntry* list = gen_all(board.position);
        EXPECT_GE(list, board.game->move_lists);
        EXPECT_LT(list, std::end(board.game->move_lists) - MAX_MOVES);
    }
}

TEST(Moves, have_their_classes) {
    const struct {
        const char* fen;
        const char* move;
        int flags;
    } rows[] = {
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5d6", MOVE_IS_CAPTURE | MOVE_TO_SIXTH},  // onto an empty square
        {"4k3/8/1p6/P7/8/8/8/4K3 w - -", "a5b6", MOVE_IS_CAPTURE},                   // not to the sixth by capture
        {"4k3/1p6/P7/8/8/8/8/4K3 w - -", "a6b7", MOVE_IS_CAPTURE | MOVE_TO_SEVENTH},
        {"4k3/P7/8/8/8/8/8/4K3 w - -", "a7a8b", MOVE_IS_PROMOTION},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const Move move = parse_uci_move(board.position, row.move);
        const MoveEntry entry = {move, 0, board.position.board[move_from(move)], board.position.board[move_to(move)]};
        EXPECT_EQ(move_flags(board.position, WHITE, entry), row.flags) << row.fen << ' ' << row.move;
    }
}

}  // namespace
