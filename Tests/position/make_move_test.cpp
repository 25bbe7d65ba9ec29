// Making and unmaking: no move from outside, however senseless, leaves board, bitboards, counts, king squares and keys
// in disagreement, and unmaking restores every byte. What legal moves do to the board is proved by perft.
#include "board.h"

#include <gtest/gtest.h>

namespace {

// Sequences of arbitrary 16-bit moves, one in four aimed at pieces so that something happens.
TEST(MakeMove, senseless_moves_keep_the_record_whole) {
    std::mt19937 random(7);
    std::vector<std::string> fens = read_lines(data_file("badinput/fen.txt"));
    for (const char* file : {"perft/standard.epd", "perft/chess960.epd"}) {
        for (const std::string& line : read_lines(data_file(file))) fens.push_back(line.substr(0, line.find(" ;")));
    }
    for (const std::string& fen : fens) {
        Board board(fen);
        Position& p = board.position;
        std::vector<std::string> history;
        std::string trail = fen;
        for (int ply = 0; ply < 60; ++ply) {
            history.push_back(bytes_of(p));
            Move move = static_cast<Move>(random());
            const Bitboard movers = random() % 2 ? p.pieces[p.side][KING] | p.pieces[p.side][PAWN] : occupancy(p);
            if (ply % 4 && movers) {
                const int from = random() % 4 ? msb(movers & (~0ULL >> random() % 64)) : lsb(movers);
                const int to =
                    random() % 3 ? static_cast<int>(random() & 63) : (from + 8 - static_cast<int>(random() % 17)) & 63;
                move = make_move_word(from, to, random() % 2 ? static_cast<int>(random()) & MOVE_FLAGS : 0);
            }
            trail += ' ' + std::to_string(move);
            make_move(p, move);
            ASSERT_EQ(inconsistency(p), "") << trail;
            const std::string bytes = bytes_of(p);
            make_null_move(p);
            ASSERT_EQ(inconsistency(p), "") << trail << " and a null move";
            unmake_null_move(p);
            ASSERT_EQ(bytes_of(p), bytes) << trail << " and a null move";
            if (ply % 7 == 0) board.pseudo_legal();  // generation must stay inside its tables on any board
        }
        while (!history.empty()) {
            unmake_move(p);
            ASSERT_EQ(bytes_of(p), history.back()) << trail << " at ply " << history.size();
            history.pop_back();
        }
        EXPECT_EQ(board.game->game_ply, 0);
    }
}

TEST(Draw, repetitions_and_fifty_moves) {
    constexpr const char* SHUFFLE = "g1f3 g8f6 f3g1 f6g8";
    EXPECT_FALSE(is_draw(Board().play(SHUFFLE).position, 4)) << "the first occurrence is the root itself";
    EXPECT_TRUE(is_draw(Board().play(SHUFFLE).position, 5)) << "the first occurrence is below the root";
    EXPECT_TRUE(is_draw(Board().play(SHUFFLE).play(SHUFFLE).position, 0)) << "the third one, whenever";
    Board passed;
    passed.play(SHUFFLE);
    make_null_move(passed.position);
    make_null_move(passed.position);
    EXPECT_FALSE(is_draw(passed.position, 5)) << "null moves were between";
    EXPECT_TRUE(is_draw(Board("4k3/8/8/8/8/8/8/4K2R w - - 100").play("").position, 0));
    EXPECT_TRUE(is_draw(Board("4k3/8/8/8/8/8/8/4K2R w - - 255").play("h1h2").position, 0)) << "the clock stops there";
    EXPECT_FALSE(is_draw(Board("R3k3/8/4K3/8/8/8/8/8 b - - 100").play("").position, 0)) << "checkmate";
}

}  // namespace
