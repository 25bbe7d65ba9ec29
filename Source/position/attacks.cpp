// Attack queries on a position. Lines are tested with the `between` table instead of generating attacks.
#include "position/attack_scan.h"

namespace {

// The first of the sliders, from the lowest square up, with a clear line to s; NO_SQUARE if none.
int first_clear_line(Bitboard sliders, int s, Bitboard occ) {
    while (sliders) {
        const int square = pop_lsb(sliders);
        if (!(between[square][s] & occ)) return square;
    }
    return NO_SQUARE;
}

// Squares of all single (or missing) blockers between s and the candidates.
Bitboard lone_blockers(Bitboard candidates, int s, Bitboard occ) {
    Bitboard blockers = 0;
    while (candidates) {
        const Bitboard blocking = between[pop_lsb(candidates)][s] & occ;
        if (!(blocking & (blocking - 1))) blockers |= blocking;
    }
    return blockers;
}

}  // namespace

int least_attacker(const Position& position, int s, int c, Bitboard occ) {
    const Bitboard* own = position.pieces[c];
    if (const Bitboard pawns = pawn_attacks[c ^ 1][s] & own[PAWN] & occ) return lsb(pawns);
    if (const Bitboard knights = knight_attacks[s] & own[KNIGHT] & occ) return lsb(knights);
    const Bitboard diagonals = diagonal_rays[s] & occ;
    const Bitboard lines = orthogonal_rays[s] & occ;
    int square = first_clear_line(diagonals & own[BISHOP], s, occ);
    if (square != NO_SQUARE) return square;
    square = first_clear_line(lines & own[ROOK], s, occ);
    if (square != NO_SQUARE) return square;
    square = first_clear_line((diagonals | lines) & own[QUEEN], s, occ);
    if (square != NO_SQUARE) return square;
    if (const Bitboard king = king_attacks[s] & own[KING] & occ) return lsb(king);
    return NO_SQUARE;
}

bool is_attacked(const Position& position, int s, int c) {
    return attacked_by(position, s, c, occupancy(position), position.pieces[c][0]);
}

Bitboard pinned_pieces(const Position& position, int c) {
    const Bitboard* own = position.pieces[c];
    const Bitboard* enemy = position.pieces[c ^ 1];
    const Bitboard occ = occupancy(position);
    const int king = position.king_square[c];
    Bitboard pinned = lone_blockers(sliders_towards(position, king, c ^ 1), king, occ);
    if (own[QUEEN]) {
        const int queen = lsb(own[QUEEN]);
        const Bitboard candidates = (diagonal_rays[queen] & enemy[BISHOP]) | (orthogonal_rays[queen] & enemy[ROOK]);
        pinned |= lone_blockers(candidates, queen, occ);
    }
    return pinned & own[0];
}
