// Leaf counts against published sets: the proof of generation, legality, making and unmaking together.
#include "position/perft.h"
#include "board.h"

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t MOST_LEAVES = 30'000;
#else
constexpr std::uint64_t MOST_LEAVES = 1'000'000;
#endif

// Lines "FEN ;D1 n ;D2 n ..."; counts above the limit are left out.
TEST(Perft, every_published_count_is_met) {
    for (const char* file : {"standard.epd", "random.epd", "chess960.epd"}) {
        int met = 0;
        for (const std::string& line : read_lines(data_file(std::string("perft/") + file))) {
            Board board(line.substr(0, line.find(" ;")));
            ASSERT_TRUE(is_playable(board.position)) << line;
            for (std::size_t at = line.find(";D"); at != std::string::npos; at = line.find(";D", at + 1)) {
                const int depth = std::stoi(line.substr(at + 2));
                const std::uint64_t leaves = std::stoull(line.substr(line.find(' ', at)));
                if (leaves > MOST_LEAVES) continue;
                ASSERT_EQ(perft(board.position, depth), leaves) << line << ": depth " << depth;
                ++met;
            }
        }
        EXPECT_GE(met, 20) << file;
    }
}

// A locked position whose kings have only one square each never runs out of moves: depth is cut to what the game
// stack holds instead of overrunning it.
TEST(Perft, depth_beyond_the_game_stack_is_cut) {
    Board board("k7/8/p1p5/P1P5/5p1p/5P1P/8/7K w - -");
    const std::uint64_t leaves = perft(board.position, 2);
    board.game->game_ply = GAME_STACK_SIZE - 2;
    EXPECT_EQ(perft(board.position, 50), leaves);
}
