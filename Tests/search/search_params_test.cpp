// Margins and reductions follow the settings, and the settings' extremes stay inside the tables.
#include "search/search_params.h"

#include "frontend/settings.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class SearchParams : public testing::Test {
protected:
    void SetUp() override { settings = Settings{}; }
    void TearDown() override { settings = Settings{}; }
};

// Step sizes by hand: 90 and 60 times 1.5 / (s / 100 + 0.5), cut to whole centipawns: at 20 192.86 and 128.57,
// at 200 54 and 36.
TEST_F(SearchParams, margins_grow_up_to_their_depth_limit) {
    const struct {
        int selectivity, fp_depth, sep_depth;
        std::vector<int> fp, sep;  // up to the limit; beyond it no ordinary score reaches 1500
    } cases[] = {
        {100, 4, 3, {50, 140, 230, 320, 410}, {0, 60, 120, 180}},
        {20, 2, 2, {50, 242, 434}, {0, 128, 256}},
        {0, 1, 1, {50, 242}, {0, 128}},
        {500, 1, 0, {50, 104}, {0}},
        {200, 99, -7, {50, 104, 158, 212, 266, 320, 374, 428, 482, 536, 590, 644}, {0}},
    };
    for (const auto& c : cases) {
        settings.selectivity = static_cast<std::int16_t>(c.selectivity);
        settings.fp_depth = static_cast<std::int16_t>(c.fp_depth);
        settings.sep_depth = static_cast<std::int16_t>(c.sep_depth);
        init_search_parameters();
        for (std::size_t depth = 0; depth < 12; ++depth) {
            EXPECT_EQ(FP_margins[depth], depth < c.fp.size() ? c.fp[depth] : 1500) << c.selectivity << ' ' << depth;
            EXPECT_EQ(SEP_margins[depth], depth < c.sep.size() ? c.sep[depth] : 1500) << c.selectivity << ' ' << depth;
        }
        EXPECT_EQ(FP_depth, c.fp.size() - 1);
        EXPECT_EQ(SEP_depth, c.sep.size() - 1);
    }
}

// What they are at full selectivity is shown in clients/test_console.py.
TEST_F(SearchParams, reductions_grow_with_depth_and_move_count) {
    for (const int selectivity : {20, 100, 200}) {
        settings.selectivity = static_cast<std::int16_t>(selectivity);
        init_search_parameters();
        for (int d = 3; d < 32; ++d) {
            for (int m = 1; m < 32; ++m) {
                EXPECT_TRUE(lmr_pv[d][m] >= lmr_pv[d][m - 1] && lmr_pv[d][m] <= 3);
                EXPECT_TRUE(lmr_non_pv[d][m] >= lmr_non_pv[d][m - 1] && lmr_non_pv[d][m] <= 5);
                EXPECT_LE(lmr_pv[d][m], lmr_non_pv[d][m]);
            }
        }
    }
}

}  // namespace
