// The draw test, where it depends on the root. What making and unmaking do is proved by perft and movegen_test.cpp,
// what senseless moves from outside do by fuzz/uci.cpp, draws in a game by frontend/uci_test.cpp.
#include "board.h"

#include <gtest/gtest.h>

TEST(Draw, one_repetition_counts_below_the_root) {
    Board shuffled;
    shuffled.play("g1f3 g8f6 f3g1 f6g8");
    EXPECT_FALSE(is_draw(shuffled.position, 4)) << "the first occurrence is the root itself";
    EXPECT_TRUE(is_draw(shuffled.position, 5));
    Board late("4k3/8/8/8/8/8/8/4K2R w - - 255");
    EXPECT_TRUE(is_draw(late.play("h1h2").position, 0)) << "the clock stops at 255";
}
