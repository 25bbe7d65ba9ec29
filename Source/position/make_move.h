// Making and unmaking moves, and the draw test that walks the game stack. Board, bitboards, counts, king
// squares and keys are always updated together; the network reads the bitboards by itself.
#pragma once

#include "position/position.h"

// Plays a pseudo-legal move of the side to move without testing it. Any 16-bit value keeps the record
// consistent; an empty origin only passes the turn. The caller keeps game_ply below GAME_STACK_SIZE.
void make_move(Position& position, Move move);

// Takes back the move of the top UndoRecord.
void unmake_move(Position& position);

// The key that the position will have after the move, if the move is no castling, en passant or promotion and leaves
// the castling rights alone. Cheap: it lets table entries be fetched before the move is made.
inline std::uint64_t expected_key_after(const Position& position, Move move) {
    const int from = move_from(move);
    const int to = move_to(move);
    const int mover = position.board[from];
    std::uint64_t key = position.key ^ zobrist[mover * 64 + from] ^ zobrist[mover * 64 + to];
    if (const int captured = position.board[to]) key ^= zobrist[captured * 64 + to];
    if (position.ep_square != NO_SQUARE) key ^= zobrist[position.ep_square];
    if (type_of(mover) == PAWN && (from ^ to) == 16) key ^= zobrist[(from + to) / 2];  // double push
    return (key & ~std::uint64_t{1}) | (static_cast<unsigned>(position.side) ^ 1U);
}

// Passes the turn: a one-move list is written at the current ply so that the plies below see a null move.
void make_null_move(Position& position);
void unmake_null_move(Position& position);

// True for a draw by the fifty-move rule (a legal move must exist) or by repetition: one earlier occurrence
// inside the last `plies_since_root` plies, or two anywhere since set-up. May overwrite the move list of
// the current search_ply.
bool is_draw(Position& position, int plies_since_root);
