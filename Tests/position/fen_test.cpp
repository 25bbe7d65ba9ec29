// Set-up of positions: FEN fields in every state of completeness, playability. Texts broken in other ways go through
// fuzz/fen.cpp.
#include "board.h"

#include <gtest/gtest.h>

// What each text leaves in the record, read back as FEN with counters.
TEST(Fen, fields_are_taken_as_far_as_they_go) {
    for (const auto& row : read_rows(data_file("position/fen.tsv"))) {
        Board board;
        board.play("e2e4");
        set_position(board.position, row[1]);
        EXPECT_EQ(board.fen(true), row[2]) << row[0];
        EXPECT_EQ(board.game->last_move, NULL_MOVE) << row[0];
        EXPECT_EQ(inconsistency(board.position), "") << row[0];
    }
    EXPECT_EQ(zobrist[1023], 0x03F2B2C0F6AFA13CULL) << "the last number that the generator is known to give";
}

TEST(Fen, only_positions_that_can_be_searched_are_playable) {
    for (const auto& row : read_rows(data_file("position/playable.tsv"))) {
        Board board(row[1]);
        EXPECT_EQ(is_playable(board.position), row[2] == "yes") << row[0];
        EXPECT_EQ(square_names[board.position.ep_square], row[3]) << row[0];
        EXPECT_EQ(inconsistency(board.position), "") << row[0];
    }
}
