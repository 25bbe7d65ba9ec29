// The draw test. What making and unmaking do is proved by perft and movegen_test.cpp, what senseless moves from outside
// do by fuzz/uci.cpp.
#include "board.h"

#include <gtest/gtest.h>

TEST(Draw, repetitions_and_fifty_moves) {
    constexpr const char* SHUFFLE = "g1f3 g8f6 f3g1 f6g8";
    constexpr const char* TWICE = "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8";
    const struct {
        const char *name, *fen, *moves;
        int plies_since_root;
        bool draw;
    } rows[] = {
        {"the first occurrence is the root itself", START_FEN, SHUFFLE, 4, false},
        {"the first occurrence is below the root", START_FEN, SHUFFLE, 5, true},
        {"the third one, whenever", START_FEN, TWICE, 0, true},
        {"a ply before fifty moves", "4k3/8/8/8/8/8/8/4K2R w - - 98", "h1h2", 0, false},
        {"fifty moves", "4k3/8/8/8/8/8/8/4K2R w - - 99", "h1h2", 0, true},
        {"the clock stops at 255", "4k3/8/8/8/8/8/8/4K2R w - - 255", "h1h2", 0, true},
        {"checkmate on the fiftieth", "R3k3/8/4K3/8/8/8/8/8 b - - 100", "", 0, false},
    };
    for (const auto& row : rows) {
        Board board(row.fen);
        EXPECT_EQ(is_draw(board.play(row.moves).position, row.plies_since_root), row.draw) << row.name;
    }
}
