// The attack test behind the legality and check tests: who attacks a square, given which pieces take part.
#pragma once

#include "position/position.h"

// True if a slider of the set has a clear line to s. The set must lie on the rays of s that it moves along.
inline bool any_clear_line(Bitboard sliders, int s, Bitboard occ) {
    while (sliders) {
        if (!(between[pop_lsb(sliders)][s] & occ)) return true;
    }
    return false;
}

// Sliders of colour c that would attack s on an empty board.
inline Bitboard sliders_towards(const Position& position, int s, int c) {
    const Bitboard* own = position.pieces[c];
    return (diagonal_rays[s] & (own[BISHOP] | own[QUEEN])) | (orthogonal_rays[s] & (own[ROOK] | own[QUEEN]));
}

// True if a piece of colour c in `attackers` attacks s while occ blocks the lines. A captured piece is left out of
// `attackers` although its square stays in occ, where the capturing piece now stands.
inline bool attacked_by(const Position& position, int s, int c, Bitboard occ, Bitboard attackers) {
    const Bitboard* own = position.pieces[c];
    const Bitboard steps =
        (pawn_attacks[c ^ 1][s] & own[PAWN]) | (knight_attacks[s] & own[KNIGHT]) | (king_attacks[s] & own[KING]);
    return (steps & attackers) || any_clear_line(sliders_towards(position, s, c) & attackers, s, occ);
}
