// Set-up of positions: keys, FEN fields in every state of completeness, playability. Texts broken in other ways go
// through frontend/wild_input_test.cpp.
#include "board.h"
#include "shared_data.h"

#include <gtest/gtest.h>

TEST(Keys, table_and_keys_are_the_published_ones) {
    EXPECT_EQ(zobrist[0], 0xE708E34F294DDE49ULL);
    EXPECT_EQ(zobrist[64], 0x8FA1231B66F293BAULL);
    EXPECT_EQ(zobrist[1023], 0x03F2B2C0F6AFA13CULL);
    Board board;
    // Pawn from e2 to e4, en passant on e3; bit 0 is the side to move.
    const std::uint64_t changes = zobrist[PAWN * 64 + 12] ^ zobrist[PAWN * 64 + 28] ^ zobrist[20];
    const std::uint64_t expected = (board.position.key ^ changes) | 1;
    EXPECT_EQ(board.play("e2e4").position.key, expected);
}

// What each text leaves in the record, read back as FEN with counters.
TEST(Fen, fields_are_taken_as_far_as_they_go) {
    const struct {
        const char* name;
        const char* fen;
        const char* expected;
    } rows[] = {
        {"board alone, the side stays", "4k3/8/8/8/8/8/8/R3K2R", "4k3/8/8/8/8/8/8/R3K2R b - - 0 0"},
        {"clock", "4k3/8/8/8/8/8/8/4K3 b - - 73 99", "4k3/8/8/8/8/8/8/4K3 b - - 73 0"},
        {"clock saturates", "4k3/8/8/8/8/8/8/4K3 w - - 300", "4k3/8/8/8/8/8/8/4K3 w - - 255 0"},
        {"no clock", "4k3/8/8/8/8/8/8/4K3 b - -", "4k3/8/8/8/8/8/8/4K3 b - - 0 0"},
        {"negative clock", "4k3/8/8/8/8/8/8/4K3 b - - -5", "4k3/8/8/8/8/8/8/4K3 b - - 0 0"},
        {"no such side", "4k3/8/8/8/8/8/8/4K2R ? K -", "4k3/8/8/8/8/8/8/4K2R b K - 0 0"},
        {"no rook on h1", "r3k2r/8/8/8/8/8/8/R3K3 w KQkq -", "r3k2r/8/8/8/8/8/8/R3K3 w Qkq - 0 0"},
        {"king off its rank", "r3k2r/8/8/8/8/8/4K2R/8 w KQkq -", "r3k2r/8/8/8/8/8/4K2R/8 w kq - 0 0"},
        {"two rooks on one side", "4k3/8/8/8/8/8/8/3K1RR1 w K -", "4k3/8/8/8/8/8/8/3K1RR1 w - - 0 0"},
        {"file letters", "1r1k2r1/8/8/8/8/8/8/1R1K2R1 w GBgb -", "1r1k2r1/8/8/8/8/8/8/1R1K2R1 w KQkq - 0 0"},
        {"en passant as written", "4k3/8/8/8/8/8/8/4K3 w - a7", "4k3/8/8/8/8/8/8/4K3 w - a7 0 0"},
        {"too many ranks", "4k3/8/8/8/8/8/8/4K3/QQQQ w - -", "4k3/8/8/8/8/8/8/4K3 w - - 0 0"},
        {"unknown letters", "x4?k3/8/8/8/8/8/8/9R4K30 w - -", "4k3/8/8/8/8/8/8/R4K2 w - - 0 0"},
        {"many spaces", "4k3/8/8/8/8/8/8/4K2R   b   K   e3   7", "4k3/8/8/8/8/8/8/4K2R b K e3 7 0"},
        {"empty text", "", "8/8/8/8/8/8/8/8 b - - 0 0"},
    };
    for (const auto& row : rows) {
        Board board;
        board.play("e2e4");
        set_position(board.position, row.fen);
        EXPECT_EQ(board.fen(true), row.expected) << row.name;
        EXPECT_EQ(board.game->last_move, NULL_MOVE) << row.name;
        EXPECT_EQ(inconsistency(board.position), "") << row.name;
    }
}

TEST(Playable, only_positions_that_can_be_searched) {
    const struct {
        const char* fen;
        bool playable;
        int ep_square;
    } rows[] = {
        {START_FEN, true, NO_SQUARE},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6", true, 43},           // d7d5 was just played
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d5", true, NO_SQUARE},    // wrong rank
        {"4k3/8/8/4P3/8/8/8/4K3 w - d6", true, NO_SQUARE},     // no pawn on d5
        {"4k3/8/3n4/3pP3/8/8/8/4K3 w - d6", true, NO_SQUARE},  // d6 occupied
        {"4k3/3n4/8/3pP3/8/8/8/4K3 w - d6", true, NO_SQUARE},  // d7 occupied
        {"8/8/8/8/8/8/8/4K3 w - -", false, NO_SQUARE},
        {"4k2k/8/8/8/8/8/8/4K3 w - -", false, NO_SQUARE},
        {"P3k3/8/8/8/8/8/8/4K3 w - -", false, NO_SQUARE},
        {"4k3/pppppppp/p7/8/8/8/8/4K3 w - -", false, NO_SQUARE},       // nine pawns
        {"4k3/8/8/8/8/Q7/QQQQQQQQ/QQQQKQQQ b - -", false, NO_SQUARE},  // seventeen pieces
        {"4k3/8/8/8/8/8/8/4K2r b - -", false, NO_SQUARE},              // side not to move in check
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        EXPECT_EQ(is_playable(board.position), row.playable) << row.fen;
        EXPECT_EQ(board.position.ep_square, row.ep_square) << row.fen;
        EXPECT_EQ(inconsistency(board.position), "") << row.fen;
    }
}
