// Threats: pieces that the enemy attacks or could attack with a pawn push, and pins. The weights are negative and count
// for the side whose pieces are threatened.
#include "eval/hce_terms.h"

namespace {

using namespace eval_param;

constexpr Bitboard FOURTH_RANK[2] = {0x00000000FF000000ULL, 0x000000FF00000000ULL};

// Pieces of C that the enemy attacks; enters those that are as good as lost into `hung`.
template <int C>
PackedScore attacked_pieces(const Position& position, EvalScratch& s) {
    constexpr int E = C ^ 1;
    const Bitboard by_pawn = s.attacks[E][PAWN];
    const Bitboard defended_by_pawn = s.attacks[C][PAWN];
    // Squares where the enemy's attack outweighs the defence.
    const Bitboard lost =
        (~(defended_by_pawn | s.double_attacks[C]) & s.double_attacks[E]) | (~s.attacks[C][0] & s.attacks[E][0]);

    const Bitboard pawns = position.pieces[C][PAWN] & s.attacks[E][0] & ~(defended_by_pawn | by_pawn);
    const Bitboard minors = (position.pieces[C][KNIGHT] | position.pieces[C][BISHOP]) & s.attacks[E][0];
    const Bitboard majors = (position.pieces[C][ROOK] | position.pieces[C][QUEEN]) & s.minor_attacks[E];
    const Bitboard hung_pawns = pawns & lost;
    const Bitboard hung_minors = minors & (lost | by_pawn);
    s.hung |= hung_pawns | hung_minors | majors;
    return popcount(hung_pawns) * plain(hung_pawn) + popcount(pawns & ~lost) * plain(attacked_pawn) +
           popcount(hung_minors) * plain(hung_minor) +
           popcount(minors & ~(lost | defended_by_pawn)) * plain(attacked_minor) + popcount(majors) * plain(hung_major);
}

// Pieces of C, the king too, that an enemy pawn could attack by a safe push and that are not hung already.
template <int C>
PackedScore push_threats(const Position& position, const EvalScratch& s) {
    constexpr int E = C ^ 1;
    const Bitboard empty = ~s.occupied;
    const Bitboard single = forward<E>(position.pieces[E][PAWN]) & empty;
    const Bitboard twice = forward<E>(single) & FOURTH_RANK[E] & empty;
    const Bitboard covered = s.attacks[C][PAWN] | (s.attacks[C][0] & ~s.attacks[E][PAWN]);
    const Bitboard threatened = beside(forward<E>((single | twice) & ~covered));
    const Bitboard targets = position.pieces[C][0] & ~position.pieces[C][PAWN] & ~s.hung;
    return popcount(threatened & targets) * plain(ppush_threat);
}

}  // namespace

void eval_threats(const Position& position, EvalScratch& s) {
    s.hung = 0;
    s.group[GROUP_THREATS][WHITE] = attacked_pieces<WHITE>(position, s);
    s.group[GROUP_THREATS][BLACK] = attacked_pieces<BLACK>(position, s);
    s.group[GROUP_THREATS][WHITE] += push_threats<WHITE>(position, s);
    s.group[GROUP_THREATS][BLACK] += push_threats<BLACK>(position, s);
}

void eval_pins(const Position& position, EvalScratch& s) {
    for (const int c : {WHITE, BLACK}) {
        const Bitboard pinned = pinned_pieces(position, c) & ~position.pieces[c][PAWN];
        s.group[GROUP_SPECIAL][c] = popcount(pinned) * plain(pinned_piece);
    }
}
