// Leaf counts against published sets: the proof of generation, legality, making and unmaking together.
#include "position/perft.h"
#include "board.h"
#include "shared_data.h"

#include <gtest/gtest.h>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t MOST_LEAVES = 30'000;
#else
constexpr std::uint64_t MOST_LEAVES = 1'000'000;
#endif

struct PerftCase {
    std::string fen;
    int depth;
    std::uint64_t leaves;
};

// Lines "FEN ;D1 n ;D2 n ..."; counts above the limit are left out.
std::vector<PerftCase> read_cases(const std::string& file, std::uint64_t most_leaves) {
    std::vector<PerftCase> cases;
    for (const std::string& line : read_lines(data_file("perft/" + file))) {
        const std::string fen = line.substr(0, line.find(" ;"));
        for (std::size_t at = line.find(";D"); at != std::string::npos; at = line.find(";D", at + 1)) {
            const std::uint64_t leaves = std::stoull(line.substr(line.find(' ', at)));
            if (leaves <= most_leaves) cases.push_back({fen, std::stoi(line.substr(at + 2)), leaves});
        }
    }
    return cases;
}

class PerftSets : public testing::TestWithParam<const char*> {};

TEST_P(PerftSets, every_published_count_is_met) {
    const std::vector<PerftCase> cases = read_cases(GetParam(), MOST_LEAVES);
    ASSERT_GE(cases.size(), 20u);
    for (const PerftCase& expected : cases) {
        Board board(expected.fen);
        ASSERT_TRUE(is_playable(board.position)) << expected.fen;
        ASSERT_EQ(perft(board.position, expected.depth), expected.leaves)
            << expected.fen << " depth " << expected.depth;
    }
}

INSTANTIATE_TEST_SUITE_P(Perft, PerftSets, testing::Values("standard.epd", "random.epd", "chess960.epd"));

// A locked position whose kings have only one square each never runs out of moves: depth is cut to what the game
// stack holds instead of overrunning it.
TEST(PerftLimits, depth_beyond_the_game_stack_is_cut) {
    Board board("k7/8/p1p5/P1P5/5p1p/5P1P/8/7K w - -");
    board.game->game_ply = GAME_STACK_SIZE - 2;
    Board fresh("k7/8/p1p5/P1P5/5p1p/5P1P/8/7K w - -");
    EXPECT_EQ(perft(board.position, 50), perft(fresh.position, 2));
}

}  // namespace
