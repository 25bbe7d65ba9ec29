// The benchmark's early end. Its reports are in clients/test_epd_analysis.py.
#include "tools/bench.h"

#include "search/engine_fixture.h"

#include <algorithm>
#include <string>

namespace {

using Bench = EngineTest;

TEST_F(Bench, quit_ends_it_after_whole_positions) {
    settings.depth_limit = 60;
    const std::string report = printed([] { run_bench([] { return settings.quit = 1, InputState::UNWATCHED; }); });
    settings.quit = 0;
    EXPECT_EQ(std::ranges::count(report, '\n'), 2) << report;
    EXPECT_NE(report.find("nodes= 0, nps= 0\n"), std::string::npos) << report;
    EXPECT_EQ(settings.depth_limit, 17) << "unless one of at most 50 is wanted";
}

}  // namespace
