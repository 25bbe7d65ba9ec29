// Attacks, generation order, legality and move classes. The engine's shortcuts are compared with the plain rules,
// written here a second time without them.
#include "board.h"
#include "frontend/settings.h"

#include <gtest/gtest.h>

namespace {

Bitboard squares(std::initializer_list<const char*> names) {
    Bitboard set = 0;
    for (const char* name : names) set |= bit((name[0] - 'a') + (name[1] - '1') * 8);
    return set;
}

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
    EXPECT_EQ(popcount(bishop_attacks(27, 0)), 13);
    EXPECT_EQ(bishop_attacks(27, squares({"f6", "b2"})),
              squares({"c5", "b6", "a7", "e5", "f6", "c3", "b2", "e3", "f2", "g1"}));
    EXPECT_EQ(rook_attacks(A1, bit(A1)), rook_attacks(A1, 0));
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
    EXPECT_EQ(msb(0), 0);
    EXPECT_EQ(msb(1), 0);
    EXPECT_EQ(msb(bit(63)), 63);
    EXPECT_EQ(lsb(bit(63)), 63);
}

TEST(Attacks, lines_between_squares) {
    EXPECT_EQ(between[A1][H8], squares({"b2", "c3", "d4", "e5", "f6", "g7"}));
    EXPECT_EQ(between[A1][17], 0u);  // a1-b3
    EXPECT_EQ(between[E1][E1], 0u);
    for (int a = 0; a < 64; ++a) {
        for (int b = 0; b < 64; ++b) EXPECT_EQ(between[a][b], between[b][a]);
    }
}

TEST(Attacks, least_attacker_is_the_cheapest_then_the_lowest) {
    Board board("4k3/8/8/4p3/3P1N2/2N2Q2/4R3/4K3 w - -");
    const Position& p = board.position;
    const int e5 = 36;
    Bitboard occ = occupancy(p);
    // Onto e5: pawn d4, then the rook once the pawn is gone; the king stands behind the rook, too far.
    EXPECT_EQ(least_attacker(p, e5, WHITE, occ), 27);
    EXPECT_EQ(least_attacker(p, e5, WHITE, occ & ~bit(27)), 12);
    EXPECT_EQ(least_attacker(p, e5, WHITE, occ & ~bit(27) & ~bit(12)), NO_SQUARE);
    // Onto d5: knights c3 and f4, the queen behind neither.
    EXPECT_EQ(least_attacker(p, 35, WHITE, occ), 18);
    EXPECT_EQ(least_attacker(p, 35, WHITE, occ & ~bit(18)), 29);
    EXPECT_EQ(least_attacker(p, D1, WHITE, occ & ~bit(18) & ~bit(12) & ~bit(21)), E1);
}

TEST(Attacks, pins_to_king_and_queen) {
    const struct {
        const char* fen;
        int colour;
        Bitboard pinned;
    } rows[] = {
        {"4k3/4r3/8/8/8/4N3/8/4K3 w - -", WHITE, squares({"e3"})},
        {"4k3/4r3/8/4N3/8/4N3/8/4K3 w - -", WHITE, 0},
        {"4k3/8/8/b7/8/2P5/8/4K3 w - -", WHITE, squares({"c3"})},
        {"4k3/8/8/b7/1n6/8/8/4K3 w - -", WHITE, 0},                   // the blocker is theirs
        {"4k3/6b1/8/4P3/8/8/1Q6/6K1 w - -", WHITE, squares({"e5"})},  // bishop to queen
        {"4k3/6q1/8/4P3/8/8/1Q6/6K1 w - -", WHITE, 0},                // queens do not pin to a queen
        {"4k3/1r6/8/1P6/8/8/1Q6/6K1 w - -", WHITE, squares({"b5"})},
        {"8/1r6/8/1P6/8/8/1Q6/8 w - -", WHITE, squares({"b5"})},  // no king at all
    };
    for (const auto& row : rows) EXPECT_EQ(pinned_pieces(Board(row.fen).position, row.colour), row.pinned) << row.fen;
}

std::string text_of(const Position& position, const MoveEntry* list, const MoveEntry* end) {
    std::string text;
    for (; list != end; ++list) {
        if (!text.empty()) text += ' ';
        text += move_to_text(position, position.side, list->move);
    }
    return text;
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
        const MoveEntry* list = gen_all(board.position);
        const MoveEntry* end = list;
        while (end->move != END_OF_LIST) ++end;
        EXPECT_EQ(text_of(board.position, list, end), row.moves);
        EXPECT_EQ(board.game->list_start[2], end + 1);
        EXPECT_EQ(board.game->list_start[3], end + 2);
    }
}

TEST(Generation, single_generators_keep_to_their_kind) {
    MoveEntry list[MAX_MOVES];
    Board promoting("7r/6P1/8/8/8/8/8/K6k w - -");
    EXPECT_EQ(text_of(promoting.position, list, gen_promotions(promoting.position, WHITE, false, list)), "g7g8q g7h8q");
    Board checked("4k3/8/8/8/8/3n1N1q/4P3/R3K2R w KQ -");  // knight d3 checks
    const int d3 = 19;
    EXPECT_EQ(text_of(checked.position, list, gen_captures(checked.position, WHITE, list, d3)), "e2d3");
    EXPECT_EQ(text_of(checked.position, list, gen_quiets(checked.position, WHITE, list, d3)),
              "e1d1 e1f1 e1d2 e1f2 e1g1 e1c1");  // castling is generated in check too
    Board ep("4k3/8/8/3pP3/8/8/8/4K3 w - d6");
    const MoveEntry entry = gen_captures(ep.position, WHITE, list, NO_SQUARE)[-1];
    EXPECT_EQ(entry.captured, 0);
    EXPECT_EQ(entry.piece, PAWN);
    EXPECT_EQ(move_flags(ep.position, WHITE, entry) & MOVE_IS_CAPTURE, MOVE_IS_CAPTURE);
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

TEST(Legality, castling_checks_and_pins) {
    settings.chess960 = 1;  // castling is written as king takes rook
    const struct {
        const char* fen;
        const char* move;
        bool legal;
    } rows[] = {
        {"4k3/8/8/8/8/8/4r3/R3K2R w KQ -", "e1h1", false},  // in check
        {"4k3/8/8/8/8/8/5r2/R3K2R w KQ -", "e1h1", false},  // through f1
        {"4k3/8/8/8/8/8/6r1/R3K2R w KQ -", "e1h1", false},  // onto g1
        {"4k3/8/8/8/8/8/7r/R3K2R w KQ -", "e1h1", true},    // h1 may be attacked
        {"4k3/8/8/8/8/8/1r6/R3K2R w KQ -", "e1a1", true},   // so may b1
        {"4k3/8/8/8/8/8/8/1R1K4 w Q -", "d1b1", true},
        {"4k3/8/8/8/8/8/8/rR1K4 w Q -", "d1b1", false},  // the rook leaves b1: a1 sees the king on c1
        {"4k3/8/8/8/8/8/1r6/1R1K4 w Q -", "d1b1", true},
        {"4k3/4r3/8/8/8/4N3/8/4K3 w - -", "e3d5", false},  // pinned
        {"4k3/4r3/8/8/8/4R3/8/4K3 w - -", "e3e7", true},   // along the pin line
        {"4k3/4r3/8/8/8/4R3/8/4K3 w - -", "e3d3", false},
        {"8/8/8/K2pP2r/8/8/8/7k w - d6", "e5d6", false},  // both pawns leave the rank
        {"8/8/8/3pP2r/8/8/K7/7k w - d6", "e5d6", true},
        {"8/k7/8/8/3Pp3/8/8/K5B1 b - d3", "e4d3", false},  // the pawn taken was the king's shield
        {"8/8/8/8/3k4/8/8/K2r4 w - -", "a1b1", false},     // along the checking line
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        const Position& p = board.position;
        const bool in_check = is_attacked(p, p.king_square[p.side], p.side ^ 1);
        bool found = false;
        for (const MoveEntry& entry : board.pseudo_legal()) {
            if (move_to_text(p, p.side, entry.move) != row.move) continue;
            found = true;
            EXPECT_EQ(is_legal(p, p.side, entry.move), row.legal) << row.fen << ' ' << row.move;
            EXPECT_EQ(is_legal(p, p.side, entry.move, in_check), row.legal) << row.fen << ' ' << row.move;
        }
        EXPECT_TRUE(found) << row.fen << ' ' << row.move;
    }
    EXPECT_FALSE(is_legal(Board().position, WHITE, NULL_MOVE));
    EXPECT_FALSE(is_legal(Board().position, WHITE, NULL_MOVE, false));
    settings.chess960 = 0;
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
    visit_random_positions(30, [&](Board& board) {
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
    });
    EXPECT_GT(moves, 200000);
    EXPECT_GT(illegal, 5000);
    EXPECT_GT(checks, 5000);
}

TEST(Attacks, queries_equal_the_attack_sets) {
    std::mt19937_64 random(3);
    visit_random_positions(8, [&](Board& board) {
        const Position& p = board.position;
        for (int s = 0; s < 64; ++s) {
            for (int c = 0; c < 2; ++c) {
                ASSERT_EQ(is_attacked(p, s, c), plain_attackers(p, s, c, occupancy(p)) != 0) << board.fen() << ' ' << s;
                const Bitboard occ = occupancy(p) & (random() | random());
                const Bitboard attackers = plain_attackers(p, s, c, occ) & occ;
                int least = NO_SQUARE;
                for (int type = KING; type >= PAWN; --type) {
                    if (attackers & p.pieces[c][type]) least = lsb(attackers & p.pieces[c][type]);
                }
                ASSERT_EQ(least_attacker(p, s, c, occ), least) << board.fen() << ' ' << s;
            }
        }
    });
}

TEST(MoveFlags, classes_of_moves) {
    const struct {
        const char* fen;
        const char* move;
        int flags;
    } rows[] = {
        {"4k3/8/8/8/8/8/8/4K2R w K -", "h1h8", MOVE_IS_CHECK},
        {"4k2r/8/8/8/8/8/8/4K2R w K -", "h1h8", MOVE_IS_CHECK | MOVE_IS_CAPTURE},
        {"4k3/8/8/8/8/4N3/4R3/4K3 w - -", "e3c4", MOVE_IS_CHECK},  // uncovered
        {"4k3/8/8/4p3/8/8/8/4K3 w - -", "e1e2", 0},
        {"4k3/P7/8/8/8/8/8/4K3 w - -", "a7a8q", MOVE_IS_CHECK | MOVE_IS_PROMOTION},
        {"4k3/P7/8/8/8/8/8/4K3 w - -", "a7a8b", MOVE_IS_PROMOTION},
        {"4k3/8/P7/8/8/8/8/4K3 w - -", "a6a7", MOVE_TO_SEVENTH},
        {"4k3/8/8/P7/8/8/8/4K3 w - -", "a5a6", MOVE_TO_SIXTH},
        {"4k3/8/1p6/P7/8/8/8/4K3 w - -", "a5b6", MOVE_IS_CAPTURE},  // not by capture
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
