// What moves do beside getting made: checks, keys, and nothing left when they are taken back. Which moves there are is
// proved by perft, with the attacks behind them; their classes decide the search's signature.
#include "board.h"
#include "frontend/base/settings.h"

#include <gtest/gtest.h>

TEST(Moves, are_foreseen_rightly_and_leave_no_trace) {
    int moves = 0, checks = 0;
    settings.chess960 = 1;
    visit_random_positions(30, [&](Board& board) {
        Position& p = board.position;
        const bool in_check = is_attacked(p, p.king_square[p.side], p.side ^ 1);
        for (const MoveEntry* list = gen_all(p); list->move != END_OF_LIST; ++list) {
            const MoveEntry& entry = *list;
            const std::string text = move_to_text(p, p.side, entry.move), where = board.fen() + ' ' + text;
            ASSERT_EQ(is_legal(p, p.side, entry.move), is_legal(p, p.side, entry.move, in_check)) << where;
            const int type = type_of(entry.piece);
            const bool en_passant = type == PAWN && move_to(entry.move) == p.ep_square;
            const bool flagged = (entry.move & MOVE_FLAGS) != 0;  // castling or promotion
            // Castling is written as the king on its rook's square.
            const Move read = parse_uci_move(p, text), differing = read ^ entry.move;
            ASSERT_EQ(flagged && type == KING ? differing & MOVE_FLAGS : differing, 0) << where;
            const bool check = (move_flags(p, p.side, entry) & MOVE_IS_CHECK) != 0;
            const std::uint64_t foreseen = expected_key_after(p, entry.move);
            const int castling = p.castling;
            const std::string bytes = bytes_of(p);
            make_move(p, entry.move);
            ASSERT_EQ(inconsistency(p), "") << where;
            // The check by a castling rook, or past a pawn taken en passant, is not seen.
            if (!en_passant && !(flagged && type == KING)) {
                ASSERT_EQ(check, is_attacked(p, p.king_square[p.side], p.side ^ 1)) << where;
            }
            if (!en_passant && !flagged && p.castling == castling) { ASSERT_EQ(p.key, foreseen) << where; }
            unmake_move(p);
            ASSERT_EQ(bytes_of(p), bytes) << where;
            ++moves;
            checks += check;
        }
    });
    settings.chess960 = 0;
    EXPECT_TRUE(moves > 200000 && checks > 5000) << moves << ' ' << checks;
}
