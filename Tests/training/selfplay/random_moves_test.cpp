// A random way down the tree of a search.
#include "training/selfplay/random_moves.h"

#include "position/board.h"
#include "search/engine.h"
#include "search/game_stack.h"
#include "search/hash_table.h"
#include "search/search_thread.h"
#include "training/selfplay/judged_search.h"

#include <gtest/gtest.h>

TEST(SearchedMoves, lead_through_positions_of_the_table_as_far_as_it_goes) {
    ASSERT_EQ(bring_up({.hash_mb = 1, .network = true}), BringUp::READY);
    set_game_position(START_FEN);
    Random random{3};
    EXPECT_EQ(make_searched_moves(random, 16), 0) << "the table is empty";

    set_search_limits(500);
    Statistics statistics;
    search_position(statistics);
    HashHit hit;
    for (int i = 0; i < 50; ++i) {
        int made = make_searched_moves(random, 16);
        EXPECT_GT(made, 0);
        EXPECT_EQ(make_searched_moves(random, 1), 0) << "it goes on";
        for (; made > 0; --made) {
            EXPECT_TRUE(hash_probe(*game_record, hit)) << position_to_fen(game_record->position, false);
            unmake_game_move();
        }
        EXPECT_EQ(position_to_fen(game_record->position, true), std::string(START_FEN) + " 0 0");
    }
}
