// The hand-crafted evaluation: material, piece-square tables, mobility, pawn structure, passed pawns, king safety,
// threats and pins, blended between middle game and end game. Its weights come from eval_params.h; its terms are in
// hce_*.cpp, a file a group.
#pragma once

#include "platform/relaxed.h"
#include "position/position.h"

#include <cstdint>

// End-game value * 65536 + middle-game value in centipawns, modulo 2^32: sums and multiples stay packed. Read
// back, the end-game half is one too small whenever the middle-game half is negative.
using PackedScore = std::uint32_t;

constexpr PackedScore pack(int mg, int eg) {
    return static_cast<PackedScore>(eg) * 65536u + static_cast<PackedScore>(mg);
}
constexpr int middle_game(PackedScore score) {
    return static_cast<std::int16_t>(score);
}
constexpr int end_game(PackedScore score) {
    return static_cast<std::int32_t>(score) >> 16;
}

// Centipawns of a packed score at a phase, 1 for the middle game to 0 for the pure ending; truncated.
constexpr int taper(PackedScore score, float phase) {
    return static_cast<int>((1.0f - phase) * static_cast<float>(end_game(score)) +
                            static_cast<float>(middle_game(score)) * phase);
}

constexpr int PAWN_HASH_SIZE = 8192;

struct PawnHashEntry {
    std::uint64_t key;
    PackedScore score[2];  // pawn score by colour, material included
};

// The groups of terms that are summed apart, for the trace. Material is part of the piece groups.
enum EvalGroup : int {
    GROUP_PAWNS,
    GROUP_KNIGHTS,
    GROUP_BISHOPS,
    GROUP_ROOKS,
    GROUP_QUEENS,
    GROUP_KING,
    GROUP_PASSERS,  // passed pawns and candidates
    GROUP_THREATS,
    GROUP_SPECIAL,  // pins
    GROUP_COUNT
};

// Everything that the terms share, rebuilt by each evaluation and readable until the next one; hce_terms.h says which
// group writes what. Arrays of two are indexed by colour; attack sets by piece type, [0] being all of them.
struct EvalScratch {
    Bitboard occupied;
    Bitboard all_pawns;
    Bitboard outposts[2];  // advanced squares on files b-g that no enemy pawn can ever attack
    Bitboard passers;
    Bitboard candidates;    // not passed, but without an enemy pawn ahead on the file
    Bitboard king_zone[2];  // 3x3 box around the king, moved off the edge of the board
    Bitboard attacks[2][7];
    Bitboard double_attacks[2];         // attacked at least twice
    Bitboard minor_attacks[2];          // by pawns, knights and bishops
    Bitboard minor_rook_attacks[2];     // those and rooks
    Bitboard nonking_attacks[2];        // those and queens
    Bitboard hung;                      // pieces that are lost or must move
    Bitboard free_passers;              // passed pawns that nothing stops
    std::int32_t king_attack_units[2];  // weight of the attack on that colour's king zone
    PackedScore group[GROUP_COUNT][2];  // subtotals, in favour of the colour
    PackedScore score[2];               // their sums, and the bonus of the side to move
    float phase;                        // 1 for the middle game to 0 for the pure ending
    float scale;                        // factor on the score of a drawish ending, 1 for any other position
    std::uint16_t same_wing;            // 1 when both kings stand on files a-d or both on e-h
    std::uint8_t pst_mirror[2];         // exclusive-or that brings a square into the frame of the tables
};

// What the hand-crafted evaluation keeps per search thread; only its thread writes it.
struct HceState {
    PawnHashEntry pawn_hash[PAWN_HASH_SIZE];
    EvalScratch scratch;
    Relaxed<std::uint64_t> pawn_probes;
    Relaxed<std::uint64_t> pawn_hits;
};

// Centipawns for the side to move. `ply` is the distance from the root: at 0 and 1 everything is computed afresh,
// later the pawn score may come from the pawn hash. The position must have both kings. Allocates nothing.
int hce_evaluate(HceState& state, const Position& position, int ply);

// Rebuilds the products of weights and factors that the evaluation reads; to be called whenever the parameter
// registry has changed, while no search runs.
void derive_hce_weights();
