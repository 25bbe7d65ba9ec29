// Margins and reductions follow the settings, and the settings' extremes stay inside the tables.
#include "search/search_params.h"

#include "frontend/settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

namespace {

class SearchParams : public testing::Test {
protected:
    void SetUp() override { settings = Settings{}; }
    void TearDown() override { settings = Settings{}; }
};

// Step sizes by hand: 90 and 60 times 1.5 / (s / 100 + 0.5), cut to whole centipawns: at 20 192.86 and 128.57,
// at 200 54 and 36.
TEST_F(SearchParams, margins_grow_up_to_their_depth_limit) {
    constexpr int FAR = 1500;
    const struct {
        int selectivity, fp_depth, sep_depth;
        std::array<int, 12> fp, sep;
    } cases[] = {
        {100,
         4,
         3,
         {50, 140, 230, 320, 410, FAR, FAR, FAR, FAR, FAR, FAR, FAR},
         {0, 60, 120, 180, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR}},
        {20,
         2,
         2,
         {50, 242, 434, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR},
         {0, 128, 256, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR}},
        {0,
         1,
         1,
         {50, 242, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR},
         {0, 128, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR}},
        {500,
         1,
         0,
         {50, 104, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR},
         {0, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR}},
        {200,
         99,
         -7,
         {50, 104, 158, 212, 266, 320, 374, 428, 482, 536, 590, 644},
         {0, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR, FAR}},
    };
    for (const auto& c : cases) {
        settings.selectivity = static_cast<std::int16_t>(c.selectivity);
        settings.fp_depth = static_cast<std::int16_t>(c.fp_depth);
        settings.sep_depth = static_cast<std::int16_t>(c.sep_depth);
        init_search_parameters();
        for (std::size_t depth = 0; depth < 12; ++depth) {
            EXPECT_EQ(FP_margins[depth], c.fp[depth]) << c.selectivity << " depth " << depth;
            EXPECT_EQ(SEP_margins[depth], c.sep[depth]) << c.selectivity << " depth " << depth;
        }
        EXPECT_EQ(FP_depth, std::clamp(c.fp_depth, 0, 11));
        EXPECT_EQ(SEP_depth, std::clamp(c.sep_depth, 0, 11));
    }
}

TEST_F(SearchParams, reductions_grow_with_depth_and_move_count) {
    settings.nmp_depth = 99;
    settings.lmr_depth = 98;
    settings.lmp_depth = 0;
    init_search_parameters();
    EXPECT_EQ(NMP_depth, 99);
    EXPECT_EQ(LMR_depth, 98);
    EXPECT_EQ(LMP_depth, 0);
    // Row 3, by solving sqrt(3 m) * 0.23 - 0.5 and + 0.6 for the half-way points: PV 0.5 at m = 6.3, 1.5 at 25.2;
    // non-PV 1.5 at 5.1, 2.5 at 22.8.
    for (int m = 0; m < 32; ++m) {
        EXPECT_EQ(lmr_pv[3][m], m <= 6 ? 0 : m <= 25 ? 1 : 2) << m;
        EXPECT_EQ(lmr_non_pv[3][m], m == 0 ? 0 : m <= 5 ? 1 : m <= 22 ? 2 : 3) << m;
        EXPECT_EQ(lmr_pv[2][m], 0);
        EXPECT_EQ(lmr_non_pv[2][m], 0);
    }
    EXPECT_EQ(lmr_non_pv[16][17], 4);
    EXPECT_EQ(lmr_non_pv[16][18], 5);
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
    EXPECT_EQ(lmr_pv[31][31], 3);
    EXPECT_EQ(lmr_non_pv[31][31], 5);
}

TEST_F(SearchParams, print_shows_margins_and_both_tables) {
    init_search_parameters();
    testing::internal::CaptureStdout();
    print_search_parameters();
    const std::string text = testing::internal::GetCapturedStdout();
    const std::string start =
        "FP_margins=  140 230 320 410 1500 1500 1500\n"
        "SEP_margins=  60 120 180 1500 1500 1500 1500\n"
        "NMP_depth= 3\nLMR_depth= 3\nLMR table:\n"
        " 3  0 0 0 0 0 0 0 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 2 2 2 2 2 2 \n"
        " 4  ";
    EXPECT_EQ(text.substr(0, start.size()), start);
    EXPECT_NE(text.find(" 3 \n\n\n 3  0 1 1 1 1 1 2 2"), std::string::npos) << "two empty lines between the tables";
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5 + 29 + 2 + 29);
}

}  // namespace
