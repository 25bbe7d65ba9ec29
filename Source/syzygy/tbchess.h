// The probe position: a board of bitboards that is cheap to copy, with its own small move generator.
// Castling does not exist here, positions with castling rights are never probed.
#pragma once

#include "position/position.h"

struct ProbePosition {
    Bitboard colours[2];
    Bitboard types[7];       // both colours, index PAWN to KING; [0] unused
    std::uint8_t ep_square;  // 0: none
    std::uint8_t side;       // to move

    bool operator==(const ProbePosition&) const = default;
};

// Destination in bits 0-5, origin in bits 6-11, promotion in bits 12-14 (1 queen, 2 rook, 3 bishop, 4 knight).
using ProbeMove = std::uint16_t;

constexpr int probe_move_to(ProbeMove move) {
    return move & 63;
}
constexpr int probe_move_from(ProbeMove move) {
    return (move >> 6) & 63;
}
constexpr int probe_move_promotion(ProbeMove move) {
    return move >> 12;
}

struct ProbeMoveList {
    ProbeMove moves[MAX_MOVES];
    int count = 0;

    const ProbeMove* begin() const { return moves; }
    const ProbeMove* end() const { return moves + count; }
};

ProbePosition make_probe_position(const Position& position);

// Pseudo-legal moves by what they do to the fifty-move counter. Captures (en passant and capturing promotions
// included) and pawn advances (other promotions included) reset it, the other moves of pieces do not.
void gen_probe_captures(const ProbePosition& position, ProbeMoveList& list);
void gen_probe_pawn_advances(const ProbePosition& position, ProbeMoveList& list);
void gen_probe_piece_quiets(const ProbePosition& position, ProbeMoveList& list);

// All three; the order of this list decides between equal moves at the root.
void gen_probe_moves(const ProbePosition& position, ProbeMoveList& list);

bool is_probe_en_passant(const ProbePosition& position, ProbeMove move);
bool is_probe_capture(const ProbePosition& position, ProbeMove move);
bool is_probe_pawn_move(const ProbePosition& position, ProbeMove move);

// Plays a pseudo-legal move from `position` into `child`; false if the mover's king is then attacked.
bool play_probe_move(const ProbePosition& position, ProbeMove move, ProbePosition& child);

bool in_check(const ProbePosition& position);
bool is_checkmate(const ProbePosition& position);

// The same move in the engine's encoding.
Move to_engine_move(ProbeMove move);
