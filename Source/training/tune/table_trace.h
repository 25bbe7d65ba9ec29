// How the hand-crafted evaluation of one position depends on the piece-square tables: the table entries that it
// adds, and what a centipawn of each is worth after phase and scale factor.
#pragma once

#include "eval/eval_params.h"
#include "eval/hce.h"
#include "position/position.h"

#include <cstdint>

// The tables in registry order; entry = table * 64 + square.
enum TableId : int { TABLE_P1, TABLE_P2, TABLE_CP, TABLE_DP, TABLE_N, TABLE_B, TABLE_R, TABLE_Q, TABLE_K };
constexpr int TABLE_ENTRIES = TABLE_PARAMS * 64;

constexpr int table_entry(int table, int square) {
    return table * 64 + square;
}

// All from White's view. With values that differ from the registry's by mg[entry] and eg[entry], the evaluation
// is score + the sum over entries of count * (mg_factor * mg + eg_factor * eg), as long as the sign of the score
// (which the scale factor of drawish endings depends on) stays the same.
struct TableTrace {
    float score;                       // centipawns with the registry's values, before the evaluation truncates
    float mg_factor;                   // phase times scale
    float eg_factor;                   // (1 - phase) times scale
    std::int8_t count[TABLE_ENTRIES];  // uses by White less uses by Black: -1, 0 or 1
};

// Evaluates the position afresh and traces it. The position must have both kings.
void trace_tables(HceState& state, const Position& position, TableTrace& trace);
