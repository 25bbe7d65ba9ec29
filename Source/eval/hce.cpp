// The hand-crafted evaluation's entry: set-up, the groups of terms in order, their sum, and the blend of middle game
// and end game. Each group has a file:
//   hce_pawns    pawn structure, pawn hash, outpost squares
//   hce_pieces   mobility, outposts, and the terms of knights, bishops, rooks and queens
//   hce_king     shield, safe checks, attack on the king, distance to the pawns
//   hce_passed   passed pawns and candidates
//   hce_threats  attacked and hanging pieces, threats by pawn pushes, pins
//   hce_endings  factor on the score of drawish endings
// Material and piece-square tables are part of the group of each piece.
#include "eval/hce.h"

#include "eval/hce_terms.h"

#include <algorithm>

namespace {

// 1 for the middle game (59 points of material or more, both sides together) to 0 for two bare kings.
float phase_of(const Position& position) {
    const auto both = [&](int type) { return count_of(position, WHITE, type) + count_of(position, BLACK, type); };
    const int material = 3 * (both(KNIGHT) + both(BISHOP)) + 5 * both(ROOK) + both(PAWN) + 10 * both(QUEEN);
    return std::min(1.0f, 0.017f * static_cast<float>(material));
}

// Centre of the king zone for a king on a file or rank.
constexpr int off_the_edge(int index) {
    return std::clamp(index, 1, 6);
}

void set_up_king(const Position& position, EvalScratch& s, int c) {
    const int king = position.king_square[c];
    const int centre = make_square(off_the_edge(file_of(king)), off_the_edge(rank_of(king)));
    s.king_zone[c] = king_attacks[centre] | bit(centre);
    s.attacks[c][0] = s.attacks[c][KING] = king_attacks[king];
    s.double_attacks[c] = 0;
    s.pst_mirror[c] = static_cast<std::uint8_t>((on_queen_side(king) ? 7 : 0) + c * 56);
}

void set_up(const Position& position, EvalScratch& s) {
    s.occupied = occupancy(position);
    s.phase = phase_of(position);
    for (const int c : {WHITE, BLACK}) set_up_king(position, s, c);
    s.same_wing = on_queen_side(position.king_square[WHITE]) == on_queen_side(position.king_square[BLACK]);
}

void sum_up(const Position& position, EvalScratch& s) {
    s.score[WHITE] = s.score[BLACK] = 0;
    s.score[position.side] = plain(eval_param::stm_bonus);
    for (const auto& group : s.group) {
        s.score[WHITE] += group[WHITE];
        s.score[BLACK] += group[BLACK];
    }
}

// Centipawns from White's view.
int blend(const Position& position, EvalScratch& s) {
    const int score = taper(s.score[WHITE] - s.score[BLACK], s.phase);
    s.scale = ending_scale(position, score);
    return static_cast<int>(static_cast<float>(score) * s.scale);
}

}  // namespace

void derive_hce_weights() {
    derive_pawn_weights();
    derive_piece_weights();
    derive_king_weights();
    derive_passer_weights();
}

int hce_evaluate(HceState& state, const Position& position, int ply) {
    EvalScratch& s = state.scratch;
    set_up(position, s);
    eval_pawns(state, position, ply);
    eval_knights(position, s);
    eval_bishops(position, s);
    eval_rooks(position, s);
    eval_queens(position, s);
    eval_kings(position, s);
    eval_passers(position, s);
    eval_threats(position, s);
    eval_pins(position, s);
    sum_up(position, s);
    return (1 - 2 * position.side) * blend(position, s);
}
