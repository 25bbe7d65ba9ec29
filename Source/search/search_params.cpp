// Margins and reductions of the main search: one setting, selectivity, scales them all.
#include "search/search_params.h"

#include "frontend/base/output.h"
#include "frontend/base/settings.h"

#include <algorithm>
#include <cmath>

std::int16_t FP_margins[MARGIN_DEPTHS];
std::int16_t SEP_margins[MARGIN_DEPTHS];
int FP_depth, SEP_depth, NMP_depth, LMP_depth, LMR_depth;
std::int8_t lmr_pv[32][32];
std::int8_t lmr_non_pv[32][32];

namespace {

constexpr int MIN_SELECTIVITY = 20;
constexpr int MAX_SELECTIVITY = 200;

// Centipawns at full selectivity (100).
constexpr int FP_BASE = 50;
constexpr float FP_STEP = 90.0f;
constexpr float SEP_STEP = 60.0f;
constexpr int NO_PRUNING = 1500;  // beyond the depth limit: a margin that no ordinary score reaches

constexpr int MIN_REDUCED_DEPTH = 3;
constexpr float LMR_SLOPE = 0.23f;  // plies per square root of depth * move count
constexpr float LMR_PV_OFFSET = -0.5f;
constexpr float LMR_NON_PV_OFFSET = 0.6f;
constexpr int MAX_PV_REDUCTION = 3;
constexpr int MAX_NON_PV_REDUCTION = 5;

void init_margins(int selectivity) {
    // The more selective, the smaller the margins: 1 at 100, 2.14 at 20, 0.6 at 200.
    const float scale = static_cast<float>(1.5 / (selectivity * 0.01 + 0.5));
    const int fp_step = static_cast<int>(scale * FP_STEP);
    const int sep_step = static_cast<int>(scale * SEP_STEP);
    for (int depth = 0; depth < MARGIN_DEPTHS; ++depth) {
        FP_margins[depth] = static_cast<std::int16_t>(depth <= FP_depth ? FP_BASE + depth * fp_step : NO_PRUNING);
        SEP_margins[depth] = static_cast<std::int16_t>(depth <= SEP_depth ? depth * sep_step : NO_PRUNING);
    }
}

std::int8_t reduction(int depth, int move_count, float offset, int limit, int selectivity) {
    if (move_count < 1 || depth < MIN_REDUCED_DEPTH) return 0;
    const float root = std::sqrt(static_cast<float>(depth * move_count));
    const float percent = (root * LMR_SLOPE + offset) * static_cast<float>(selectivity);
    if (percent < 0.0f) return 0;
    if (percent > static_cast<float>(100 * limit)) return static_cast<std::int8_t>(limit);
    return static_cast<std::int8_t>(std::lround(percent / 100.0f));
}

// The selectivity rarely changes; 2,048 square roots would be a twentieth of the time of a search of 150 nodes.
void init_reductions(int selectivity) {
    static int made_for = 0;  // no selectivity
    if (selectivity == made_for) return;
    made_for = selectivity;
    for (int depth = 0; depth < 32; ++depth) {
        for (int count = 0; count < 32; ++count) {
            lmr_pv[depth][count] = reduction(depth, count, LMR_PV_OFFSET, MAX_PV_REDUCTION, selectivity);
            lmr_non_pv[depth][count] = reduction(depth, count, LMR_NON_PV_OFFSET, MAX_NON_PV_REDUCTION, selectivity);
        }
    }
}

void print_margins(const char* name, const std::int16_t* margins) {
    print_raw("%s= ", name);
    for (int depth = 1; depth <= 7; ++depth) print_raw(" %d", margins[depth]);
    print_raw("\n");
}

void print_reductions(const std::int8_t (&table)[32][32]) {
    for (int depth = MIN_REDUCED_DEPTH; depth < 32; ++depth) {
        print_raw("%2d  ", depth);
        for (const std::int8_t plies : table[depth]) print_raw("%d ", plies);
        print_raw("\n");
    }
}

}  // namespace

void init_search_parameters() {
    const int selectivity = std::clamp<int>(settings.selectivity, MIN_SELECTIVITY, MAX_SELECTIVITY);
    FP_depth = std::clamp<int>(settings.fp_depth, 0, MARGIN_DEPTHS - 1);
    SEP_depth = std::clamp<int>(settings.sep_depth, 0, MARGIN_DEPTHS - 1);
    NMP_depth = settings.nmp_depth;
    LMP_depth = settings.lmp_depth;
    LMR_depth = settings.lmr_depth;
    init_margins(selectivity);
    init_reductions(selectivity);
}

void print_search_parameters() {
    print_margins("FP_margins", FP_margins);
    print_margins("SEP_margins", SEP_margins);
    print_raw("NMP_depth= %d\n", NMP_depth);
    print_raw("LMR_depth= %d\n", LMR_depth);
    print_raw("LMR table:\n");
    print_reductions(lmr_pv);
    print_raw("\n\n");
    print_reductions(lmr_non_pv);
}
