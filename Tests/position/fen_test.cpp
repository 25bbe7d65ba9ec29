// Set-up of positions: FEN fields in every state of completeness, castling fields, playability, display, keys.
#include "board.h"
#include "shared_data.h"

#include <gtest/gtest.h>

namespace {

TEST(Zobrist, table_matches_its_published_values) {
    EXPECT_EQ(zobrist[0], 0xE708E34F294DDE49ULL);
    EXPECT_EQ(zobrist[1], 0x6338AB3E8B29B46DULL);
    EXPECT_EQ(zobrist[64], 0x8FA1231B66F293BAULL);
    EXPECT_EQ(zobrist[1023], 0x03F2B2C0F6AFA13CULL);
    testing::internal::CaptureStdout();
    init_zobrist();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // no "bad hashcode"
}

TEST(Fen, start_position_fills_the_record) {
    Board board;
    const Position& p = board.position;
    EXPECT_EQ(p.castle_path[0], bit(F1) | bit(G1));
    EXPECT_EQ(p.castle_path[1], bit(B1) | bit(C1) | bit(D1));
    EXPECT_EQ(p.castle_path[2], bit(F8) | bit(G8));
    EXPECT_EQ(p.castle_path[3], bit(B8) | bit(C8) | bit(D8));
    EXPECT_EQ(p.castle_mask[3], bit(E8) | bit(A8));
    EXPECT_EQ(std::vector<int>(p.castle_rook, p.castle_rook + 4), (std::vector<int>{H1, A1, H8, A8}));
    // 8 pawns, 2 knights, 2 bishops, 2 rooks, 1 queen in four bits each.
    EXPECT_EQ(p.piece_counts[WHITE], 0x12228u);
    EXPECT_EQ(p.piece_counts[BLACK], 0x12228u);
    EXPECT_EQ(board.fen(true), "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0");
    EXPECT_EQ(inconsistency(p), "");
}

// What each text leaves in the record, read back as FEN with counters.
TEST(Fen, fields_are_taken_as_far_as_they_go) {
    const struct {
        const char* name;
        const char* fen;
        const char* expected;
    } rows[] = {
        {"clock", "4k3/8/8/8/8/8/8/4K3 b - - 73 99", "4k3/8/8/8/8/8/8/4K3 b - - 73 0"},
        {"clock saturates", "4k3/8/8/8/8/8/8/4K3 w - - 300", "4k3/8/8/8/8/8/8/4K3 w - - 255 0"},
        {"huge clock", "4k3/8/8/8/8/8/8/4K3 w - - 99999999999999999999", "4k3/8/8/8/8/8/8/4K3 w - - 255 0"},
        {"no clock", "4k3/8/8/8/8/8/8/4K3 b - -", "4k3/8/8/8/8/8/8/4K3 b - - 0 0"},
        {"negative clock", "4k3/8/8/8/8/8/8/4K3 b - - -5", "4k3/8/8/8/8/8/8/4K3 b - - 0 0"},
        {"board alone", "4k3/8/8/8/8/8/8/R3K2R", "4k3/8/8/8/8/8/8/R3K2R w - - 0 0"},
        {"no rook on h1", "r3k2r/8/8/8/8/8/8/R3K3 w KQkq -", "r3k2r/8/8/8/8/8/8/R3K3 w Qkq - 0 0"},
        {"king off its rank", "r3k2r/8/8/8/8/8/4K3/R6R w KQkq -", "r3k2r/8/8/8/8/8/4K3/R6R w kq - 0 0"},
        {"two rooks on one side", "4k3/8/8/8/8/8/8/3K1RR1 w K -", "4k3/8/8/8/8/8/8/3K1RR1 w - - 0 0"},
        {"file letters", "1r1k2r1/8/8/8/8/8/8/1R1K2R1 w GBgb -", "1r1k2r1/8/8/8/8/8/8/1R1K2R1 w KQkq - 0 0"},
        {"en passant as written", "4k3/8/8/8/8/8/8/4K3 w - a7", "4k3/8/8/8/8/8/8/4K3 w - a7 0 0"},
        {"one letter, one digit", "4k3/8/8/8/8/8/8/4K3 w - e3d6", "4k3/8/8/8/8/8/8/4K3 w - e3 0 0"},
        {"wide rank", "4k3pp/8/8/8/8/8/8/44K4 w - -", "4k3/8/8/8/8/8/8/8 w - - 0 0"},
        {"too many ranks", "4k3/8/8/8/8/8/8/4K3/QQQQ w - -", "4k3/8/8/8/8/8/8/4K3 w - - 0 0"},
        {"unknown letters", "x4?k3/8/8/8/8/8/8/9R4K30 w - -", "4k3/8/8/8/8/8/8/R4K2 w - - 0 0"},
        {"many spaces", "4k3/8/8/8/8/8/8/4K2R   b   K   e3   7", "4k3/8/8/8/8/8/8/4K2R b K e3 7 0"},
        {"empty text", "", "8/8/8/8/8/8/8/8 w - - 0 0"},
    };
    for (const auto& row : rows) {
        Board board("4k3/8/8/8/8/8/8/4K3 w - -");
        set_position(board.position, row.fen);
        EXPECT_EQ(board.fen(true), row.expected) << row.name;
        EXPECT_EQ(inconsistency(board.position), "") << row.name;
    }
}

TEST(Fen, missing_side_keeps_the_side_to_move) {
    Board board("4k3/8/8/8/8/8/8/4K3 b - -");
    set_position(board.position, "4k3/8/8/8/8/8/8/4K2R");
    EXPECT_EQ(board.position.side, BLACK);
    EXPECT_EQ(set_position(board.position, "4k3/8/8/8/8/8/8/4K2R ? K -"), 0);
    EXPECT_EQ(board.fen(), "4k3/8/8/8/8/8/8/4K2R b K -");
}

TEST(Fen, chess960_paths_leave_out_king_and_rook) {
    Board board("1r1k2r1/8/8/8/8/8/8/1R1K2R1 w KQ -");
    const Position& p = board.position;
    EXPECT_EQ(p.castle_rook[0], G1);
    EXPECT_EQ(p.castle_rook[1], B1);
    EXPECT_EQ(p.castle_path[0], bit(E1) | bit(F1));  // d1-g1 between is e1 f1; g1 is the rook itself
    EXPECT_EQ(p.castle_path[1], bit(C1));            // rook goes b1-d1 over c1, king d1-c1
}

TEST(Fen, set_up_forgets_the_game_before) {
    Board board;
    board.play("e2e4 e7e5 g1f3");
    set_position(board.position, START_FEN);
    EXPECT_EQ(board.game->game_ply, 0);
    EXPECT_EQ(board.game->search_ply, 1);
    EXPECT_EQ(board.game->last_move, NULL_MOVE);
    EXPECT_EQ(board.position.touched, 0u);
}

TEST(Keys, two_sides_to_move_differ_in_bit_0) {
    Board white("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
    Board black("r3k2r/8/8/8/8/8/8/R3K2R b KQkq -");
    EXPECT_EQ(white.position.key ^ black.position.key, 1u);
    EXPECT_EQ(white.position.key & 1, 0u);
}

TEST(Playable, only_positions_that_can_be_searched) {
    const struct {
        const char* fen;
        bool playable;
        int ep_square;
    } rows[] = {
        {START_FEN, true, NO_SQUARE},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", true, 43},  // d7d5 was just played
        {"4k3/8/8/8/4P3/8/8/4K3 b - e3", true, 20},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d5", true, NO_SQUARE},  // wrong rank
        {"4k3/8/8/8/8/4p3/8/4K3 w - e4", true, NO_SQUARE},
        {"4k3/8/8/8/8/8/8/4K3 w - a1", true, NO_SQUARE},
        {"4k3/8/8/4P3/8/8/8/4K3 w - d6", true, NO_SQUARE},     // no pawn on d5
        {"4k3/8/3n4/3pP3/8/8/8/4K3 w - d6", true, NO_SQUARE},  // d6 occupied
        {"4k3/3n4/8/3pP3/8/8/8/4K3 w - d6", true, NO_SQUARE},  // d7 occupied
        {"4k3/8/8/3PP3/8/8/8/4K3 w - d6", true, NO_SQUARE},    // own pawn
        {"8/8/8/8/8/8/8/4K3 w - -", false, NO_SQUARE},
        {"4k2k/8/8/8/8/8/8/4K3 w - -", false, NO_SQUARE},
        {"4k3/8/8/8/8/8/8/4K2p w - -", false, NO_SQUARE},
        {"P3k3/8/8/8/8/8/8/4K3 w - -", false, NO_SQUARE},
        {"4k3/pppppppp/p7/8/8/8/8/4K3 w - -", false, NO_SQUARE},       // nine pawns
        {"4k3/8/8/8/8/Q7/QQQQQQQQ/QQQQKQQQ b - -", false, NO_SQUARE},  // seventeen pieces
        {"4k3/8/8/8/8/8/8/4K2r w - -", true, NO_SQUARE},               // side to move in check
        {"4k3/8/8/8/8/8/8/4K2r b - -", false, NO_SQUARE},              // side not to move in check
        {"8/8/8/8/8/8/4k3/4K3 w - -", false, NO_SQUARE},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        EXPECT_EQ(is_playable(board.position), row.playable) << row.fen;
        EXPECT_EQ(board.position.ep_square, row.ep_square) << row.fen;
        EXPECT_EQ(inconsistency(board.position), "") << row.fen;
    }
}

// Texts broken in every way leave a consistent record on which moves can be generated and read.
TEST(Playable, broken_texts_do_no_harm) {
    const std::vector<std::string> lines = read_lines(data_file("badinput/fen.txt"));
    ASSERT_GT(lines.size(), 100u);
    for (const std::string& line : lines) {
        Board board(line);
        Move move;
        parse_move(board.position, "Qxd5", move);
        EXPECT_EQ(inconsistency(board.position), "") << line;
        if (is_playable(board.position)) { EXPECT_LT(board.legal().size(), 256u) << line; }
        EXPECT_EQ(inconsistency(board.position), "") << line;
        const std::string fen = board.fen();
        EXPECT_EQ(Board(fen).fen(), fen);
    }
}

TEST(Display, shows_fen_board_and_side) {
    Board board;
    testing::internal::CaptureStdout();
    display_position(board.position);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0\n"
              "  r n b q k b n r\n"
              "  o o o o o o o o\n"
              "  - + - + - + - +\n"
              "  + - + - + - + -\n"
              "  - + - + - + - +\n"
              "  + - + - + - + -\n"
              "  P P P P P P P P\n"
              "  R N B Q K B N R\n"
              "white\n"
              "\n");
}

}  // namespace
