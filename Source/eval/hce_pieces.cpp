// Knights, bishops, rooks and queens: material, squares, mobility, outposts, and what is special to each. The attacks
// of the cheaper pieces are complete before the mobility of the dearer ones is measured against them.
#include "eval/bishop_colours.h"
#include "eval/hce_terms.h"

namespace {

constexpr Bitboard CENTRE_BOX = 0x00003C3C3C3C0000ULL;  // c3-f6
constexpr Bitboard ENEMY_HALF[2] = {0xFFFFFFFF00000000ULL, 0x00000000FFFFFFFFULL};
constexpr int SEVENTH_RANK = 6;

// Factors on the mobility weights, by the number of squares that are safe from cheaper pieces.
constexpr float KNIGHT_MOBILITY[9] = {-0.53f, -0.16f, 0, 0.12f, 0.22f, 0.31f, 0.39f, 0.47f, 0.47f};
constexpr float SLIDER_MOBILITY[15] = {-0.47f, -0.14f, 0,     0.11f, 0.20f, 0.27f, 0.35f, 0.41f,
                                       0.47f,  0.53f,  0.53f, 0.53f, 0.53f, 0.53f, 0.53f};
constexpr float QUEEN_MOBILITY[30] = {-0.47f, -0.24f, -0.14f, -0.06f, 0,     0.06f, 0.11f, 0.15f, 0.20f, 0.24f,
                                      0.27f,  0.31f,  0.35f,  0.38f,  0.41f, 0.41f, 0.41f, 0.41f, 0.41f, 0.41f,
                                      0.41f,  0.41f,  0.41f,  0.41f,  0.41f, 0.41f, 0.41f, 0.41f, 0.41f, 0.41f};

// A piece on an outpost, defended by a pawn or not; beside one; neither.
enum OutpostKind : int { DEFENDED, HELD, REACHED, NO_OUTPOST };
constexpr float OUTPOST[4] = {1.0f, 0.67f, 0.33f, 0};

struct Weights {
    PackedScore knight[64], bishop[64], rook[64], queen[64];  // material and square
    PackedScore knight_mobility[9], bishop_mobility[15], rook_mobility[15], queen_mobility[30];
    PackedScore knight_outpost[4], bishop_outpost[4];  // by OutpostKind
};

Weights weights;

// Enters attacks of a piece into the sets of its colour and into the attack on the enemy king. `reach` goes beyond
// the attacks where the piece attacks through others.
template <int C>
void add_attacks(EvalScratch& s, int type, Bitboard attacks, Bitboard reach) {
    s.double_attacks[C] |= reach & s.attacks[C][0];
    s.attacks[C][type] |= attacks;
    s.attacks[C][0] |= attacks;
    s.king_attack_units[C ^ 1] += KING_ATTACK_WEIGHT[type] * ((reach & s.king_zone[C ^ 1]) != 0);
}

template <int C>
PackedScore outpost(const EvalScratch& s, int square, Bitboard attacks, const PackedScore (&bonus)[4]) {
    const int on_outpost = s.attacks[C][PAWN] & bit(square) ? DEFENDED : HELD;
    const int beside_it = attacks & s.outposts[C] ? REACHED : NO_OUTPOST;
    return bonus[s.outposts[C] & bit(square) ? on_outpost : beside_it];
}

template <int C>
PackedScore knights(const Position& position, EvalScratch& s) {
    const Bitboard unsafe = s.attacks[C ^ 1][PAWN] | position.pieces[C][0];
    PackedScore sum = 0;
    s.attacks[C][KNIGHT] = 0;
    for (Bitboard b = position.pieces[C][KNIGHT]; b;) {
        const int square = pop_lsb(b);
        const Bitboard attacks = knight_attacks[square];
        add_attacks<C>(s, KNIGHT, attacks, attacks);
        sum += weights.knight[square ^ s.pst_mirror[C]];
        sum += weights.knight_mobility[popcount(attacks & ~unsafe)];
        sum += outpost<C>(s, square, attacks, weights.knight_outpost);
    }
    return sum;
}

// Bishop pair, and own pawns that enemy pawns block on squares of a bishop's colour.
template <int C>
PackedScore bishops_and_pawns(const Position& position) {
    const Bitboard bishops = position.pieces[C][BISHOP];
    const Bitboard rammed = position.pieces[C][PAWN] & forward<C ^ 1>(position.pieces[C ^ 1][PAWN]);
    const unsigned light = (bishops & LIGHT_SQUARES) != 0;
    const unsigned dark = (bishops & DARK_SQUARES) != 0;
    const Bitboard counted = rammed & (light * LIGHT_SQUARES | dark * DARK_SQUARES);
    return popcount(counted) * plain(eval_param::bishop_rampawns) + (light & dark) * plain(eval_param::bishop_pair);
}

template <int C>
PackedScore bishops(const Position& position, EvalScratch& s) {
    const Bitboard unsafe = s.attacks[C ^ 1][PAWN] | position.pieces[C][0];
    const Bitboard blockers = s.occupied & ~both_colours(position, QUEEN);
    PackedScore sum = bishops_and_pawns<C>(position);
    s.attacks[C][BISHOP] = 0;
    for (Bitboard b = position.pieces[C][BISHOP]; b;) {
        const int square = pop_lsb(b);
        const Bitboard attacks = bishop_attacks(square, blockers);
        add_attacks<C>(s, BISHOP, attacks, attacks);
        sum += weights.bishop[square ^ s.pst_mirror[C]];
        sum += weights.bishop_mobility[popcount(attacks & ~unsafe)];
        sum += popcount(attacks & CENTRE_BOX) * plain(eval_param::bishop_infiltration);
        sum += outpost<C>(s, square, attacks, weights.bishop_outpost);
    }
    s.minor_attacks[C] = s.attacks[C][PAWN] | s.attacks[C][KNIGHT] | s.attacks[C][BISHOP];
    return sum;
}

template <int C>
PackedScore rooks(const Position& position, EvalScratch& s) {
    const Bitboard unsafe = s.minor_attacks[C ^ 1] | position.pieces[C][0];
    const Bitboard blockers = s.occupied & ~(both_colours(position, QUEEN) | position.pieces[C][ROOK]);
    const bool king_behind = relative_rank(C, position.king_square[C ^ 1]) >= SEVENTH_RANK;
    PackedScore sum = 0;
    s.attacks[C][ROOK] = 0;
    for (Bitboard b = position.pieces[C][ROOK]; b;) {
        const int square = pop_lsb(b);
        const Bitboard file = FILE_A << file_of(square);
        const Bitboard attacks = rook_attacks(square, blockers);
        add_attacks<C>(s, ROOK, attacks, attacks);
        sum += weights.rook[square ^ s.pst_mirror[C]];
        sum += weights.rook_mobility[popcount(attacks & ~unsafe)];
        sum += popcount(attacks & file & ENEMY_HALF[C]) * plain(eval_param::rook_infiltration);
        if (!(s.all_pawns & file)) sum += plain(eval_param::rook_openfile);
        if (king_behind && relative_rank(C, square) == SEVENTH_RANK) sum += plain(eval_param::rook_7th);
    }
    s.minor_rook_attacks[C] = s.minor_attacks[C] | s.attacks[C][ROOK];
    return sum;
}

template <int C>
PackedScore queens(const Position& position, EvalScratch& s) {
    const Bitboard unsafe = s.minor_rook_attacks[C ^ 1] | position.pieces[C][0];
    const Bitboard own_bishops = position.pieces[C][BISHOP];
    const Bitboard own_rooks = position.pieces[C][ROOK];
    PackedScore sum = 0;
    s.attacks[C][QUEEN] = 0;
    for (Bitboard b = position.pieces[C][QUEEN]; b;) {
        const int square = pop_lsb(b);
        const Bitboard diagonals = bishop_attacks(square, s.occupied);
        const Bitboard lines = rook_attacks(square, s.occupied);
        // Through an own bishop or rook that moves the same way.
        Bitboard reach = diagonals | lines;
        if (diagonals & own_bishops) reach |= bishop_attacks(square, s.occupied & ~own_bishops);
        if (lines & own_rooks) reach |= rook_attacks(square, s.occupied & ~own_rooks);
        add_attacks<C>(s, QUEEN, diagonals | lines, reach);
        sum += weights.queen[square ^ s.pst_mirror[C]];
        sum += weights.queen_mobility[popcount((diagonals | lines) & ~unsafe)];
    }
    s.nonking_attacks[C] = s.minor_rook_attacks[C] | s.attacks[C][QUEEN];
    return sum;
}

}  // namespace

void derive_piece_weights() {
    namespace param = eval_param;
    add_material(weights.knight, param::mtl_knight, param::PST_N);
    add_material(weights.bishop, param::mtl_bishop, param::PST_B);
    add_material(weights.rook, param::mtl_rook, param::PST_R);
    add_material(weights.queen, param::mtl_queen, param::PST_Q);
    multiply_out(weights.knight_mobility, KNIGHT_MOBILITY, param::knight_mobility);
    multiply_out(weights.bishop_mobility, SLIDER_MOBILITY, param::bishop_mobility);
    multiply_out(weights.rook_mobility, SLIDER_MOBILITY, param::rook_mobility);
    multiply_out(weights.queen_mobility, QUEEN_MOBILITY, param::queen_mobility);
    multiply_out(weights.knight_outpost, OUTPOST, param::knight_outpost);
    multiply_out(weights.bishop_outpost, OUTPOST, param::bishop_outpost);
}

void eval_knights(const Position& position, EvalScratch& s) {
    s.group[GROUP_KNIGHTS][WHITE] = knights<WHITE>(position, s);
    s.group[GROUP_KNIGHTS][BLACK] = knights<BLACK>(position, s);
}

void eval_bishops(const Position& position, EvalScratch& s) {
    s.group[GROUP_BISHOPS][WHITE] = bishops<WHITE>(position, s);
    s.group[GROUP_BISHOPS][BLACK] = bishops<BLACK>(position, s);
}

void eval_rooks(const Position& position, EvalScratch& s) {
    s.group[GROUP_ROOKS][WHITE] = rooks<WHITE>(position, s);
    s.group[GROUP_ROOKS][BLACK] = rooks<BLACK>(position, s);
}

void eval_queens(const Position& position, EvalScratch& s) {
    s.group[GROUP_QUEENS][WHITE] = queens<WHITE>(position, s);
    s.group[GROUP_QUEENS][BLACK] = queens<BLACK>(position, s);
}
