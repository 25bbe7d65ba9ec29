// The benchmark: its positions, its limits, its report, and that its two forms search the same.
#include "tools/bench.h"

#include "search/engine_fixture.h"
#include "shared_data.h"
#include "tools/pollers.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

class Bench : public EngineTest {
protected:
    void TearDown() override { settings.quit = 0; }

    static std::vector<std::string> lines_of_run(InputPoller poll) {
        settings.quit = 0;
        search_control.hash_age = 0;
        testing::internal::CaptureStdout();
        run_bench(poll);
        std::istringstream text(testing::internal::GetCapturedStdout());
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) lines.push_back(line);
        return lines;
    }

    static std::uint64_t total_nodes(const std::vector<std::string>& lines) {
        std::smatch match;
        const std::regex total(R"(total time= \d+\.\d\d seconds, nodes= (\d+), nps= \d+)");
        return !lines.empty() && std::regex_match(lines.back(), match, total) ? std::stoull(match[1]) : 0;
    }
};

}  // namespace

TEST_F(Bench, positions_are_the_published_twenty) {
    const std::vector<std::string> fens = read_lines(std::string(TARN_SOURCE_DIR) + "/Benchmarks/positions.epd");
    ASSERT_EQ(fens.size(), 20u);
    for (std::size_t i = 0; i < 20; ++i) {
        EXPECT_EQ(BENCH_POSITIONS[i], fens[i] + (i == 10 ? " " : "")) << i;
        set_game(fens[i]);
        EXPECT_TRUE(is_playable(game_record->position)) << fens[i];
        EXPECT_EQ(position_to_fen(game_record->position, false), fens[i]);
    }
}

TEST_F(Bench, reports_every_position_and_the_totals) {
    settings.depth_limit = 4;
    settings.threads = 1;
    const std::vector<std::string> lines = lines_of_run(do_not_poll);
    ASSERT_EQ(lines.size(), 22u);
    EXPECT_EQ(lines[0], "Tarn 7.00 running benchmark using 1 threads");
    for (int i = 0; i < 20; ++i) {
        const std::regex expected("pos " + std::string(i < 10 ? " " : "") + std::to_string(i) +
                                  R"(: {2,}\d+\.\d\d seconds)");
        EXPECT_TRUE(std::regex_match(lines[i + 1], expected)) << lines[i + 1];
    }
    EXPECT_TRUE(settings.quit);

    // The same searches one by one, from the published texts.
    std::uint64_t nodes = 0;
    search_control.hash_age = 0;
    settings.quit = 0;
    for (const std::string& fen : read_lines(std::string(TARN_SOURCE_DIR) + "/Benchmarks/positions.epd")) {
        hash_clear();
        set_game(fen);
        search_to_depth(4);
        nodes += search_threads[0]->nodes;
    }
    EXPECT_GT(nodes, 1000u);
    EXPECT_EQ(total_nodes(lines), nodes);
    EXPECT_EQ(total_nodes(lines_of_run(nullptr)), nodes) << "on the calling thread";
}

TEST_F(Bench, depth_is_17_unless_a_smaller_one_is_wanted) {
    const struct { int limit, used; } cases[] = {{80, 17}, {51, 17}, {50, 50}, {5, 5}};
    settings.node_limit = 20;
    for (const auto& c : cases) {
        settings.depth_limit = static_cast<std::int8_t>(c.limit);
        settings.noise = 0;
        const std::vector<std::string> lines = lines_of_run(do_not_poll);
        EXPECT_EQ(settings.depth_limit, c.used) << c.limit;
        EXPECT_EQ(settings.level_time, 99.0f);
        EXPECT_EQ(lines.size(), 22u) << "info lines among the report";
    }
}

TEST_F(Bench, quit_ends_it_after_whole_positions) {
    settings.depth_limit = 30;
    const std::vector<std::string> lines = lines_of_run(poll_a_quit);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(total_nodes(lines), 0u);
    EXPECT_NE(lines[1].find("nodes= 0, nps= 0"), std::string::npos) << lines[1];
}
