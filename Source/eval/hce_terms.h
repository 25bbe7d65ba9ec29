// What the groups of terms of the hand-crafted evaluation share: their entry points in the order of evaluation,
// products of weights and factors, and bitboards as a colour sees them. Only hce*.cpp include it; others include hce.h.
//
// The scratch record belongs to the HceState of one search thread. hce_evaluate rebuilds it with each call and passes
// it from group to group: a group writes the fields named at its declaration and reads what the groups before it left.
// Nothing else writes it. It keeps its values until the next evaluation by that thread, which is what the trace shows.
#pragma once

#include "eval/eval_params.h"
#include "eval/hce.h"

#include <cstddef>

// ---- The groups, in the order of evaluation ----

// Each group evaluates both colours and stores their packed scores as its entry of `group`. A score counts for the
// colour that it is stored under, so a weakness has a negative weight.

// hce_pawns.cpp. Material, squares and structure of the pawns, from the pawn hash where `ply` allows it. Writes
// all_pawns, outposts, passers, candidates, the pawn attacks, and the first units of king_attack_units.
void eval_pawns(HceState& state, const Position& position, int ply);

// hce_pieces.cpp. Material, squares, mobility, outposts and the terms of one kind of piece. Each adds its attacks to
// attacks, double_attacks and king_attack_units; the last three also write minor_attacks, minor_rook_attacks and
// nonking_attacks.
void eval_knights(const Position& position, EvalScratch& s);
void eval_bishops(const Position& position, EvalScratch& s);
void eval_rooks(const Position& position, EvalScratch& s);
void eval_queens(const Position& position, EvalScratch& s);

// hce_king.cpp. Squares, shield, checks and attackers, trapped kings, distance to the pawns.
void eval_kings(const Position& position, EvalScratch& s);

// hce_passed.cpp. Passed pawns and candidates. Writes free_passers.
void eval_passers(const Position& position, EvalScratch& s);

// hce_threats.cpp. Attacked and hanging pieces, threats by pawn pushes; then pins. The first writes hung.
void eval_threats(const Position& position, EvalScratch& s);
void eval_pins(const Position& position, EvalScratch& s);

// hce_endings.cpp. Factor from 0.05 to 1 on a blended score in centipawns from White's view, below 1 for endings that
// are drawn more often than their score says.
float ending_scale(const Position& position, int score);

// ---- Weights ----

// Groups keep the products of their weights and factors; these functions compute them from the registry.
void derive_pawn_weights();
void derive_piece_weights();
void derive_king_weights();
void derive_passer_weights();

inline PackedScore plain(eval_param::Handle param) {
    return static_cast<PackedScore>(param->packed);
}

// A weight times a factor. Each half is truncated toward zero on its own.
inline PackedScore product(float factor, eval_param::Handle param) {
    return pack(static_cast<int>(factor * param->mg), static_cast<int>(factor * param->eg));
}
inline PackedScore product(double factor, eval_param::Handle param) {
    return pack(static_cast<int>(factor * static_cast<double>(param->mg)),
                static_cast<int>(factor * static_cast<double>(param->eg)));
}

template <std::size_t N>
void multiply_out(PackedScore (&products)[N], const float (&factors)[N], eval_param::Handle param) {
    for (std::size_t i = 0; i < N; ++i) products[i] = product(factors[i], param);
}

// Material and a piece-square table in one.
inline void add_material(PackedScore (&squares)[64], eval_param::Handle material, eval_param::Handle table) {
    for (int square = 0; square < 64; ++square) squares[square] = plain(material) + plain(table + square);
}

// Units that a piece's attack adds to the attack on the enemy king, by piece type.
constexpr int KING_ATTACK_WEIGHT[7] = {0, 2, 4, 3, 4, 5, 0};

// ---- Bitboards as a colour sees them ----

inline Bitboard both_colours(const Position& position, int type) {
    return position.pieces[WHITE][type] | position.pieces[BLACK][type];
}

constexpr bool on_queen_side(int square) {
    return file_of(square) < 4;
}

template <int C>
constexpr Bitboard forward(Bitboard b, int ranks = 1) {
    return C == WHITE ? b << 8 * ranks : b >> 8 * ranks;
}

// The squares and everything in front of them.
template <int C>
constexpr Bitboard forward_fill(Bitboard b) {
    b |= forward<C>(b, 1);
    b |= forward<C>(b, 2);
    return b | forward<C>(b, 4);
}

// Everything strictly in front of the squares.
template <int C>
constexpr Bitboard front_span(Bitboard b) {
    return forward<C>(forward_fill<C>(b));
}

constexpr Bitboard west_of(Bitboard b) {
    return (b & ~FILE_A) >> 1;
}
constexpr Bitboard east_of(Bitboard b) {
    return (b & ~FILE_H) << 1;
}
constexpr Bitboard beside(Bitboard b) {
    return west_of(b) | east_of(b);
}

// The squares and those one king step away.
constexpr Bitboard grown(Bitboard b) {
    b |= beside(b);
    return b | b << 8 | b >> 8;
}
