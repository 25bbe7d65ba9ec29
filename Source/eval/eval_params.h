// The registry of evaluation weights: every weight is a named pair of a middle-game and an end-game value,
// registered at start-up and then loaded from text. Written only while no search runs.
#pragma once

#include <cstdint>
#include <string_view>

// One weight in centipawns. It counts for the side that the term is about, so a weakness has a negative weight.
struct EvalParams {
    std::int32_t packed;  // both values, as PackedScore of hce.h
    float mg;             // middle game
    float eg;             // end game
    std::int32_t unused[5];
    char name[24];
};

constexpr int SCALAR_PARAMS = 43;
constexpr int TABLE_PARAMS = 9;   // piece-square tables of 64 records
constexpr int SPARE_PARAMS = 32;  // loaded but read by no term
constexpr int MAX_EVAL_PARAMS = SCALAR_PARAMS + TABLE_PARAMS * 64 + SPARE_PARAMS;

extern EvalParams eval_params[MAX_EVAL_PARAMS];
extern int eval_param_count;
constexpr int first_table_param = SCALAR_PARAMS;  // index of the first piece-square record

// Handles into the registry, set by registration; null before. In the order of the records.
namespace eval_param {
using Handle = const EvalParams*;
// clang-format off
inline Handle mtl_pawn, mtl_knight, mtl_bishop, mtl_rook, mtl_queen, bishop_pair,
    knight_mobility, bishop_mobility, rook_mobility, queen_mobility,
    ppawn_base, ppawn_mobile, ppawn_free, ppawn_connected, ppawn_fkprox, ppawn_ekprox, ppawn_candidate,
    pawn_isolated, pawn_weak, pawn_blocked, pawn_doubled,
    knight_outpost, bishop_infiltration, bishop_outpost, bishop_rampawns,
    rook_infiltration, rook_openfile, rook_7th,
    pawn_shield, enemy_checks, king_danger1, king_danger2, king_trapped, king_pawn_dist,
    hung_pawn, attacked_pawn, hung_minor, attacked_minor, hung_major, ppush_threat, pinned_piece,
    mtl_imbalance, stm_bonus;
// Tables in square order from White's point of view, its king on files e-h. P1: pawns with both kings on one
// wing, P2: on different wings, CP: beside an own pawn, DP: defended by an own pawn.
inline Handle PST_P1[64], PST_P2[64], PST_CP[64], PST_DP[64], PST_N[64], PST_B[64], PST_R[64], PST_Q[64], PST_K[64];
inline Handle ttune[SPARE_PARAMS];
// clang-format on
}  // namespace eval_param

// Empties the registry and registers everything with provisional values.
void register_params();

// Reads parameter text into the registry, record by record: lines "name,mg,eg", or a table's name with all its
// pairs. The order counts, not the name: a name out of place prints "error <name>  <registered name>" and its
// values are stored all the same. A number that is missing or malformed is 0. The line "mtl_pawn" starts
// again at the first record; what goes beyond the last record is ignored.
void load_params_text(std::string_view text);

// Reads the text that the build puts into the program.
void load_default_params();

// Reads a parameter file, at most 64 KiB of it. False, with nothing changed, when it cannot be opened or does not begin
// with "start".
bool load_params_file(const char* name);

// Start-up: registration, the default text, then the file that settings.param_file names, if there is one.
void init_eval_params();

// The image of default_params.txt.
extern const char default_params[];
extern const char default_params_end[];
