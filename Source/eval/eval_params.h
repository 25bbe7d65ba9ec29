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

// The scalar weights in the order of the records, with the value of both halves until text is loaded.
// clang-format off
#define TARN_SCALAR_PARAMS(X) \
    X(mtl_pawn, 100) X(mtl_knight, 335) X(mtl_bishop, 335) X(mtl_rook, 535) X(mtl_queen, 1000) X(bishop_pair, 0) \
    X(knight_mobility, 0) X(bishop_mobility, 0) X(rook_mobility, 0) X(queen_mobility, 0) \
    X(ppawn_base, 0) X(ppawn_mobile, 0) X(ppawn_free, 0) X(ppawn_connected, 0) \
    X(ppawn_fkprox, 0) X(ppawn_ekprox, 0) X(ppawn_candidate, 0) \
    X(pawn_isolated, 0) X(pawn_weak, 0) X(pawn_blocked, 0) X(pawn_doubled, 0) \
    X(knight_outpost, 0) X(bishop_infiltration, 0) X(bishop_outpost, 0) X(bishop_rampawns, 0) \
    X(rook_infiltration, 0) X(rook_openfile, 0) X(rook_7th, 0) \
    X(pawn_shield, 0) X(enemy_checks, 0) X(king_danger1, 0) X(king_danger2, 0) X(king_trapped, 0) X(king_pawn_dist, 0) \
    X(hung_pawn, 0) X(attacked_pawn, 0) X(hung_minor, 0) X(attacked_minor, 0) X(hung_major, 0) \
    X(ppush_threat, 0) X(pinned_piece, 0) X(mtl_imbalance, 0) X(stm_bonus, 0)
// clang-format on

#define TARN_INDEX(name, provisional) INDEX_##name,
enum : int { TARN_SCALAR_PARAMS(TARN_INDEX) SCALAR_PARAMS };
#undef TARN_INDEX
constexpr int TABLE_PARAMS = 9;   // piece-square tables of 64 records
constexpr int SPARE_PARAMS = 32;  // named "ttune": loaded but read by no term
constexpr int MAX_EVAL_PARAMS = SCALAR_PARAMS + TABLE_PARAMS * 64 + SPARE_PARAMS;

extern EvalParams eval_params[MAX_EVAL_PARAMS];
extern int eval_param_count;                      // 0 before registration
constexpr int first_table_param = SCALAR_PARAMS;  // index of the first piece-square record

// Handles into the registry, by the names of the weights.
namespace eval_param {
using Handle = const EvalParams*;
#define TARN_HANDLE(name, provisional) inline constexpr Handle name = eval_params + INDEX_##name;
TARN_SCALAR_PARAMS(TARN_HANDLE)
#undef TARN_HANDLE
// The first of 64 records in square order from White's point of view, its king on files e-h. P1: pawns with both kings
// on one wing, P2: on different wings, CP: beside an own pawn, DP: defended by an own pawn.
inline constexpr Handle PST_P1 = eval_params + first_table_param, PST_P2 = PST_P1 + 64, PST_CP = PST_P2 + 64,
                        PST_DP = PST_CP + 64, PST_N = PST_DP + 64, PST_B = PST_N + 64, PST_R = PST_B + 64,
                        PST_Q = PST_R + 64, PST_K = PST_Q + 64, ttune = PST_K + 64;
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
