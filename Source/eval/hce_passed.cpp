// Passed pawns (no enemy pawn ahead on their file or the adjacent ones) and candidates (none ahead on their own file).
// hce_pawns.cpp has found both.
#include "eval/hce_terms.h"
#include "position/see.h"

#include <algorithm>

namespace {

constexpr Bitboard FROM_FOURTH_RANK[2] = {0xFFFFFFFFFF000000ULL, 0x000000FFFFFFFFFFULL};

// Distances of kings are cut at a maximum and, for passed pawns, counted from an offset.
constexpr int MAX_KING_DISTANCE = 6;
constexpr int KING_DISTANCE_OFFSET = 2;
constexpr int MAX_CANDIDATE_DISTANCE = 5;

// Factors on the weights, by relative rank except for the last.
constexpr float BASE[8] = {0, 0.09f, 0.09f, 0.24f, 0.40f, 0.64f, 1.0f, 0};
constexpr float KING_DISTANCE[8] = {0, 0.2f, 0.2f, 0.4f, 0.6f, 0.8f, 1.0f, 0};
constexpr float KING_DISTANCE_UNIT = 0.25f;
constexpr float CONNECTED[8] = {0, 0, 0, 0.4f, 0.8f, 1.0f, 0, 0};
constexpr float CANDIDATE[8] = {0, 0, 0, 0.4f, 0.7f, 1.0f, 0, 0};
constexpr float CANDIDATE_KING_DISTANCE[MAX_CANDIDATE_DISTANCE + 1] = {0.5f, 0.6f, 0.7f, 0.8f, 0.9f, 1.0f};

// A passed pawn that cannot advance, that can, and whose whole way is free.
enum PasserKind : int { HELD, MOBILE, FREE };

struct Weights {
    PackedScore base[3][8];  // [PasserKind][relative rank]
    PackedScore own_king[8][MAX_KING_DISTANCE + 1], enemy_king[8][MAX_KING_DISTANCE + 1];  // [relative rank][distance]
    PackedScore connected[8];
    PackedScore candidate[MAX_CANDIDATE_DISTANCE + 1][8];  // [distance of the enemy king][relative rank]
};

Weights weights;

void derive_king_distances(int rank) {
    const float unit = KING_DISTANCE[rank] * KING_DISTANCE_UNIT;
    for (int distance = 0; distance <= MAX_KING_DISTANCE; ++distance) {
        const int steps = distance - KING_DISTANCE_OFFSET;
        // A king that stands in the way of its own pawn is no nearer than one beside the way.
        const int own_steps = std::max(steps, -1);
        weights.own_king[rank][distance] = product(static_cast<float>(own_steps) * unit, eval_param::ppawn_fkprox);
        weights.enemy_king[rank][distance] = product(static_cast<float>(steps) * unit, eval_param::ppawn_ekprox);
    }
}

template <int C>
Bitboard file_ahead(int square) {
    return C == WHITE ? ray_north[square] : ray_south[square];
}

// Nothing cheap covers the way, and every square on it that the enemy holds is held more firmly by C.
template <int C>
bool way_is_free(const Position& position, const EvalScratch& s, Bitboard ahead) {
    constexpr int E = C ^ 1;
    const Bitboard contested = ahead & (s.attacks[E][0] | position.pieces[E][0]);
    return !(ahead & s.minor_attacks[E]) && !(contested & ~(s.attacks[C][0] & ~s.double_attacks[E]));
}

// No exchange on the empty square `stop` costs anything. An enemy piece that could capture there attacks it already,
// or attacks the pawn from behind.
template <int C>
bool can_advance(const Position& position, const EvalScratch& s, int square, int stop) {
    return !(s.attacks[C ^ 1][0] & (bit(stop) | bit(square))) || see(position, C, square, stop) == 0;
}

template <int C>
PasserKind kind_of(const Position& position, const EvalScratch& s, int square, int stop) {
    if ((s.occupied & bit(stop)) || !can_advance<C>(position, s, square, stop)) return HELD;
    return way_is_free<C>(position, s, file_ahead<C>(square)) ? FREE : MOBILE;
}

template <int C>
PackedScore passer(const Position& position, EvalScratch& s, int square) {
    constexpr int push = pawn_push(C);
    if (file_ahead<C>(square) & s.all_pawns) return 0;

    const int rank = relative_rank(C, square);
    int stop = square + push;
    if (rank == 1 && !(s.occupied & bit(stop))) stop += push;
    const PasserKind kind = kind_of<C>(position, s, square, stop);
    if (kind == FREE) s.free_passers |= bit(square);

    const int target = rank < 6 ? stop + push : stop;
    const int own_king = std::min(king_distance(position.king_square[C], target), MAX_KING_DISTANCE);
    const int enemy_king = std::min(king_distance(position.king_square[C ^ 1], target), MAX_KING_DISTANCE);
    PackedScore sum = weights.base[kind][rank];
    sum += weights.own_king[rank][own_king];
    sum += weights.enemy_king[rank][enemy_king];
    if (s.attacks[C][PAWN] & bit(stop)) sum += weights.connected[rank];
    return sum;
}

// A candidate counts when the pawns beside it are enough against the attacks on its way.
template <int C>
PackedScore candidate(const Position& position, const EvalScratch& s, int square) {
    constexpr int E = C ^ 1;
    const Bitboard ahead = file_ahead<C>(square);
    const int supporters = popcount(beside(bit(square)) & position.pieces[C][PAWN]);
    const int attackers = popcount(ahead & s.attacks[E][0]) + ((ahead & s.double_attacks[E]) != 0);
    if (attackers > supporters) return 0;
    const int before_promotion = make_square(file_of(square), C == WHITE ? 6 : 1);
    const int distance = std::min(king_distance(position.king_square[E], before_promotion), MAX_CANDIDATE_DISTANCE);
    return weights.candidate[distance][relative_rank(C, square)];
}

template <int C>
PackedScore passers(const Position& position, EvalScratch& s) {
    PackedScore sum = 0;
    for (Bitboard b = s.passers & position.pieces[C][PAWN]; b;) sum += passer<C>(position, s, pop_lsb(b));
    // Candidates count from the fourth rank on, with nothing at all before them.
    const Bitboard behind_pieces = front_span<C ^ 1>(s.occupied);
    const Bitboard candidates = s.candidates & position.pieces[C][PAWN] & FROM_FOURTH_RANK[C] & ~behind_pieces;
    for (Bitboard b = candidates; b;) sum += candidate<C>(position, s, pop_lsb(b));
    return sum;
}

}  // namespace

void derive_passer_weights() {
    using namespace eval_param;
    multiply_out(weights.base[HELD], BASE, ppawn_base);
    multiply_out(weights.base[MOBILE], BASE, ppawn_mobile);
    multiply_out(weights.base[FREE], BASE, ppawn_free);
    multiply_out(weights.connected, CONNECTED, ppawn_connected);
    for (int rank = 0; rank < 8; ++rank) {
        derive_king_distances(rank);
        for (int distance = 0; distance <= MAX_CANDIDATE_DISTANCE; ++distance) {
            const float factor = CANDIDATE_KING_DISTANCE[distance] * CANDIDATE[rank];
            weights.candidate[distance][rank] = product(factor, ppawn_candidate);
        }
    }
}

void eval_passers(const Position& position, EvalScratch& s) {
    s.free_passers = 0;
    s.group[GROUP_PASSERS][WHITE] = passers<WHITE>(position, s);
    s.group[GROUP_PASSERS][BLACK] = passers<BLACK>(position, s);
}
