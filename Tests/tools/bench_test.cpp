// The benchmark: its positions, its depth, its early end.
#include "tools/bench.h"

#include "search/engine_fixture.h"
#include "shared_data.h"

#include <algorithm>
#include <string>

namespace {

class Bench : public EngineTest {
protected:
    static std::string report_of_run(InputPoller poll) {
        testing::internal::CaptureStdout();
        run_bench(poll);
        settings.quit = 0;
        return testing::internal::GetCapturedStdout();
    }
    static std::ptrdiff_t lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }
};

TEST_F(Bench, positions_are_the_published_twenty) {
    const std::vector<std::string> fens = read_lines(std::string(TARN_SOURCE_DIR) + "/Benchmarks/positions.epd");
    ASSERT_EQ(fens.size(), std::size(BENCH_POSITIONS));
    for (std::size_t i = 0; i < fens.size(); ++i) {
        set_game(std::string(BENCH_POSITIONS[i]));
        EXPECT_EQ(position_to_fen(game_record->position, false), fens[i]);
    }
}

TEST_F(Bench, depth_is_17_unless_a_smaller_one_is_wanted) {
    const struct { int limit, used; } cases[] = {{80, 17}, {51, 17}, {50, 50}, {5, 5}};
    settings.node_limit = 20;
    for (const auto& c : cases) {
        settings.depth_limit = static_cast<std::int8_t>(c.limit);
        settings.noise = 0;
        EXPECT_EQ(lines(report_of_run([] { return InputState::UNWATCHED; })), 22) << "info lines among the report";
        EXPECT_EQ(settings.depth_limit, c.used) << c.limit;
        EXPECT_EQ(settings.level_time, 99.0f);
    }
}

TEST_F(Bench, quit_ends_it_after_whole_positions) {
    settings.depth_limit = 30;
    const std::string report = report_of_run([] {
        settings.quit = 1;
        return InputState::UNWATCHED;
    });
    EXPECT_EQ(lines(report), 2) << report;
    EXPECT_NE(report.find("nodes= 0, nps= 0\n"), std::string::npos) << report;
}

}  // namespace
