// Attacks, generation order, legality and move classes. The engine's shortcuts are compared with the plain rules,
// written here a second time without them.
#include "board.h"

#include <gtest/gtest.h>

namespace {

// Steps along the board from a square until the edge or a blocker, which is included.
Bitboard walk(int square, int files, int ranks, Bitboard occ) {
    Bitboard seen = 0;
    for (int f = file_of(square) + files, r = rank_of(square) + ranks; f >= 0 && f < 8 && r >= 0 && r < 8;
         f += files, r += ranks) {
        seen |= bit(make_square(f, r));
        if (occ & bit(make_square(f, r))) break;
    }
    return seen;
}

TEST(Attacks, sliders_equal_a_walk_over_the_board) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 20000; ++i) {
        const int s = i & 63;
        const Bitboard occ = random() & random() & (i & 64 ? random() : ~0ULL);
        ASSERT_EQ(bishop_attacks(s, occ),
                  walk(s, 1, 1, occ) | walk(s, 1, -1, occ) | walk(s, -1, 1, occ) | walk(s, -1, -1, occ))
            << s << ' ' << occ;
        ASSERT_EQ(rook_attacks(s, occ),
                  walk(s, 1, 0, occ) | walk(s, -1, 0, occ) | walk(s, 0, 1, occ) | walk(s, 0, -1, occ))
            << s << ' ' << occ;
        ASSERT_EQ(occ >> lsb(occ | bit(63)) & 1, occ ? 1u : 0u);
        ASSERT_TRUE(occ == 0 || (occ >> msb(occ)) == 1);
        int count = 0;
        for (Bitboard rest = occ; rest; pop_lsb(rest)) ++count;
        ASSERT_EQ(popcount(occ), count);
    }
}

TEST(Generation, order_of_every_group) {
    const struct {
        const char* fen;
        const char* moves;
    } rows[] = {
        {START_FEN,
         "a2a3 b2b3 c2c3 d2d3 e2e3 f2f3 g2g3 h2h3 a2a4 b2b4 c2c4 d2d4 e2e4 f2f4 g2g4 h2h4 b1a3 b1c3 g1f3 g1h3"},
        // Captures: pawns to the a-side, then to the h-side; pieces by type; then promotions, pushes to the seventh
        // rank, quiet moves and castling.
        {"7r/6P1/P3k3/1p1p4/2P5/8/8/4K2R w K -",
         "c4b5 c4d5 h1h8 g7g8q g7g8n g7g8b g7g8r g7h8q g7h8n g7h8b g7h8r a6a7 c4c5 h1f1 h1g1 h1h2 h1h3 h1h4 h1h5 h1h6 "
         "h1h7 e1d1 e1f1 e1d2 e1e2 e1f2 e1g1"},
        {"4k3/8/8/8/2pPp3/8/p7/4K3 b - d3", "e4d3 c4d3 a2a1q a2a1n a2a1b a2a1r c4c3 e4e3 e8d7 e8e7 e8f7 e8d8 e8f8"},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        std::string moves;
        for (const MoveEntry& entry : board.pseudo_legal()) {
            if (!moves.empty()) moves += ' ';
            moves += move_to_text(board.position, board.position.side, entry.move);
        }
        EXPECT_EQ(moves, row.moves);
    }
}

// In a long game search_ply can stand anywhere; the per-ply records must not be left.
TEST(Generation, stays_inside_the_ply_records) {
    Board board;
    for (const int ply : {0, PLY_RECORDS - 2, PLY_RECORDS - 1, PLY_RECORDS, 5000}) {
        board.game->search_ply = static_cast<std::int16_t>(ply);
        const MoveEntry* list = gen_all(board.position);
        EXPECT_GE(list, board.game->move_lists);
        EXPECT_LT(list, std::end(board.game->move_lists) - MAX_MOVES);
    }
}

// Legal means: made, the king is not attacked; castling besides: no square that the king crosses is attacked before.
bool plainly_legal(Board& board, Move move) {
    Position& p = board.position;
    const int c = p.side;
    const int from = move_from(move);
    if ((move & MOVE_FLAGS) && type_of(p.board[from]) == KING) {
        for (int s = std::min<int>(from, move_to(move)); s <= std::max<int>(from, move_to(move)); ++s) {
            if (plain_attackers(p, s, c ^ 1, occupancy(p))) return false;
        }
    }
    make_move(p, move);
    const bool safe = !plain_attackers(p, p.king_square[c], c ^ 1, occupancy(p));
    unmake_move(p);
    return safe;
}

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
    return plain_attackers(after, position.king_square[c ^ 1], c, occupancy(after));
}

TEST(Legality, shortcuts_equal_the_plain_rules) {
    int moves = 0;
    int illegal = 0;
    int checks = 0;
    const auto check_all_moves = [&](Board& board) {
        const Position& p = board.position;
        const int c = p.side;
        const int checker = least_attacker(p, p.king_square[c], c ^ 1, occupancy(p));
        const bool in_check = checker != NO_SQUARE;
        MoveEntry evasions[MAX_MOVES];
        MoveEntry* end = gen_captures(p, c, evasions, checker);
        end = gen_promotions(p, c, true, end);
        end = gen_pushes_to_seventh(p, c, end);
        end = gen_quiets(p, c, end, checker);
        for (const MoveEntry& entry : board.pseudo_legal()) {
            const bool legal = plainly_legal(board, entry.move);
            const std::string where = board.fen() + ' ' + move_to_text(p, c, entry.move);
            ASSERT_EQ(is_legal(p, c, entry.move), legal) << where;
            ASSERT_EQ(is_legal(p, c, entry.move, in_check), legal) << where;
            const bool check = plainly_checks(p, entry);
            ASSERT_EQ((move_flags(p, c, entry) & MOVE_IS_CHECK) != 0, check) << where;
            if (legal) {
                ASSERT_TRUE(std::any_of(evasions, end, [&](const MoveEntry& e) { return e.move == entry.move; }))
                    << where;
            }
            ++moves;
            illegal += !legal;
            checks += check;
        }
    };
    visit_random_positions(30, check_all_moves);
    for (const char* fen : {
             "4k3/8/8/8/8/8/8/rR1K4 w Q -",    // the castling rook leaves b1: a1 sees the king on c1
             "8/8/8/K2pP2r/8/8/8/7k w - d6",   // both pawns leave the rank
             "8/k7/8/8/3Pp3/8/8/K5B1 b - d3",  // the pawn taken was the king's shield
         }) {
        Board board(fen);
        check_all_moves(board);
    }
    EXPECT_GT(moves, 200000);
    EXPECT_GT(illegal, 5000);
    EXPECT_GT(checks, 5000);
}

// Checks are proved above; the rest by hand.
TEST(MoveFlags, classes_of_moves) {
    const struct {
        const char* fen;
        const char* move;
        int flags;
    } rows[] = {
        {"4k2r/8/8/8/8/8/8/4K2R w K -", "h1h8", MOVE_IS_CHECK | MOVE_IS_CAPTURE},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5d6", MOVE_IS_CAPTURE | MOVE_TO_SIXTH},  // onto an empty square
        {"4k3/P7/8/8/8/8/8/4K3 w - -", "a7a8b", MOVE_IS_PROMOTION},
        {"4k3/8/P7/8/8/8/8/4K3 w - -", "a6a7", MOVE_TO_SEVENTH},
        {"4k3/8/8/P7/8/8/8/4K3 w - -", "a5a6", MOVE_TO_SIXTH},
        {"4k3/8/1p6/P7/8/8/8/4K3 w - -", "a5b6", MOVE_IS_CAPTURE},  // not to the sixth by capture
        {"4k3/1p6/P7/8/8/8/8/4K3 w - -", "a6b7", MOVE_IS_CAPTURE | MOVE_TO_SEVENTH},
        {"4k3/8/8/8/8/7p/8/4K3 b - -", "h3h2", MOVE_TO_SEVENTH},
        {"5k2/8/8/8/8/8/8/4K2R w K -", "e1g1", 0},  // the rook's check is not seen
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const Move move = parse_uci_move(board.position, row.move);
        const MoveEntry entry = {move, 0, board.position.board[move_from(move)], board.position.board[move_to(move)]};
        EXPECT_EQ(move_flags(board.position, board.position.side, entry), row.flags) << row.fen << ' ' << row.move;
    }
}

}  // namespace
