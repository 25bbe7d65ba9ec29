// Margins and reductions of the main search, derived from the settings at the start of every search.
#pragma once

#include <cstdint>

constexpr int MARGIN_DEPTHS = 12;

// Written by init_search_parameters before the search threads start, read-only while they run.
extern std::int16_t FP_margins[MARGIN_DEPTHS];   // futility razoring, by remaining depth, centipawns
extern std::int16_t SEP_margins[MARGIN_DEPTHS];  // static-evaluation pruning
extern int FP_depth, SEP_depth, NMP_depth, LMP_depth, LMR_depth;
extern std::int8_t lmr_pv[32][32];  // late-move reduction in PV nodes, [depth][move count]
extern std::int8_t lmr_non_pv[32][32];

void init_search_parameters();
// Diagnostic print of all of the above to standard output.
void print_search_parameters();
