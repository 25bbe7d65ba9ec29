// Kings: squares, pawn shield, safe checks and the weight of the attack, trapped kings, distance to the pawns.
#include "eval/hce_terms.h"

#include <algorithm>

namespace {

constexpr int FULL_SHIELD = 9;
constexpr float SHIELD_UNIT = 0.111f;        // factor on the weight for each pawn that a full shield lacks
constexpr double KING_DANGER_UNIT = 0.0015;  // factor on the weight for an attack of one unit; grows with the square

// Factors on the weight of a king's distance to the pawns, by king steps.
constexpr int MAX_STEPS = 7;
constexpr float STEPS_TO_PAWNS[MAX_STEPS + 1] = {0, 0.2f, 0.4f, 0.6f, 0.8f, 1.0f, 1.0f, 1.0f};

struct Weights {
    PackedScore square[64];
    PackedScore shield[FULL_SHIELD + 1];  // by pawns in the shield
    PackedScore steps_to_pawns[MAX_STEPS + 1];
};

Weights weights;

// Pawns on the ranks of the king zone moved one rank forward, or up to two ranks behind them.
template <int C>
int shield_pawns(const Position& position, const EvalScratch& s) {
    const Bitboard pawns = position.pieces[C][PAWN];
    const Bitboard cover = pawns | forward<C>(pawns, 1) | forward<C>(pawns, 2);
    return std::min(popcount(cover & forward<C>(s.king_zone[C])), FULL_SHIELD);
}

// Shield, checks and attack on the king of C; only asked for when the enemy has a rook or a queen.
template <int C>
PackedScore king_safety(const Position& position, const EvalScratch& s) {
    constexpr int E = C ^ 1;
    const int king = position.king_square[C];
    const Bitboard zone = s.king_zone[C];
    const int shield = shield_pawns<C>(position, s);
    PackedScore sum = weights.shield[shield];

    // Enemy attacks by piece on squares that C does not cover with something cheaper.
    const Bitboard knights = s.attacks[E][KNIGHT] & ~s.minor_attacks[C];
    const Bitboard bishops = s.attacks[E][BISHOP] & ~s.minor_attacks[C];
    const Bitboard rooks = s.attacks[E][ROOK] & ~s.minor_rook_attacks[C];
    const Bitboard queens = s.attacks[E][QUEEN] & ~s.nonking_attacks[C];

    // Squares from which a piece would give check and not simply be taken.
    const Bitboard safe = ~((s.attacks[C][0] & ~s.double_attacks[E]) | position.pieces[E][0]);
    const Bitboard knight_checks = knight_attacks[king] & safe;
    const Bitboard diagonal_checks = bishop_attacks(king, s.occupied) & safe;
    const Bitboard line_checks = rook_attacks(king, s.occupied) & safe;
    const int queen_checks = ((queens & diagonal_checks) != 0) + ((queens & line_checks) != 0);
    const int checks =
        popcount((rooks & line_checks) | (bishops & diagonal_checks) | (knights & knight_checks)) + queen_checks;
    sum += checks * plain(eval_param::enemy_checks);

    const int units = popcount(s.attacks[E][PAWN] & ~s.attacks[C][PAWN] & zone) - shield - 2 + s.king_attack_units[C] +
                      KING_ATTACK_WEIGHT[KNIGHT] * popcount((knight_checks | zone) & knights) +
                      KING_ATTACK_WEIGHT[BISHOP] * popcount((diagonal_checks | zone) & bishops) +
                      KING_ATTACK_WEIGHT[ROOK] * popcount((line_checks | zone) & rooks) +
                      KING_ATTACK_WEIGHT[QUEEN] * (queen_checks + popcount(zone & queens));
    if (units > 0) {
        const double danger = KING_DANGER_UNIT * (units * units);
        sum += product(danger, position.pieces[E][QUEEN] ? eval_param::king_danger1 : eval_param::king_danger2);
    }
    return sum;
}

// Squares from which a king needs no step, at most one or at most two until it stands on or beside a square in front of
// a pawn of either colour. Most kings stand on one of them.
struct NearPawns {
    Bitboard within[3];
};

NearPawns near_pawns(const Position& position) {
    const Bitboard none =
        grown(front_span<WHITE>(position.pieces[WHITE][PAWN]) | front_span<BLACK>(position.pieces[BLACK][PAWN]));
    const Bitboard one = grown(none);
    return {none, one, grown(one)};
}

int steps_to_pawns(int king, const NearPawns& near) {
    const Bitboard k = bit(king);
    int steps = !(near.within[0] & k) + !(near.within[1] & k) + !(near.within[2] & k);
    if (steps == 3) {
        for (Bitboard b = grown(near.within[2]); !(b & k) && steps < MAX_STEPS; b = grown(b)) ++steps;
    }
    return steps;
}

template <int C>
PackedScore king(const Position& position, const EvalScratch& s, const NearPawns& near) {
    constexpr int E = C ^ 1;
    const int square = position.king_square[C];
    PackedScore sum = weights.square[square ^ s.pst_mirror[C]];
    if (position.pieces[E][ROOK] | position.pieces[E][QUEEN]) sum += king_safety<C>(position, s);
    if (!(s.attacks[C][KING] & ~(s.attacks[E][0] | position.pieces[C][0]))) sum += plain(eval_param::king_trapped);
    if (near.within[0]) sum += weights.steps_to_pawns[steps_to_pawns(square, near)];
    return sum;
}

}  // namespace

void derive_king_weights() {
    using namespace eval_param;
    for (int square = 0; square < 64; ++square) weights.square[square] = plain(PST_K + square);
    for (int pawns = 0; pawns <= FULL_SHIELD; ++pawns) {
        weights.shield[pawns] = product(static_cast<float>(pawns - FULL_SHIELD) * SHIELD_UNIT, pawn_shield);
    }
    multiply_out(weights.steps_to_pawns, STEPS_TO_PAWNS, king_pawn_dist);
}

void eval_kings(const Position& position, EvalScratch& s) {
    const NearPawns near = near_pawns(position);
    s.group[GROUP_KING][WHITE] = king<WHITE>(position, s, near);
    s.group[GROUP_KING][BLACK] = king<BLACK>(position, s, near);
}
