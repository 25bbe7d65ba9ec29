// Putting pieces on the board and taking them off, with everything that mirrors the board except the keys and the
// king squares.
#pragma once

#include "position/position.h"

inline void put_piece(Position& position, int piece, int square) {
    const int c = colour_of(piece);
    position.board[square] = static_cast<std::uint8_t>(piece);
    position.pieces[c][0] |= bit(square);
    position.pieces[c][type_of(piece)] |= bit(square);
    position.piece_counts[c] += PIECE_UNIT[type_of(piece)];
}

inline void remove_piece(Position& position, int piece, int square) {
    const int c = colour_of(piece);
    position.board[square] = 0;
    position.pieces[c][0] &= ~bit(square);
    position.pieces[c][type_of(piece)] &= ~bit(square);
    position.piece_counts[c] -= PIECE_UNIT[type_of(piece)];
}

// As put_piece; a king also becomes its colour's king.
inline void place(Position& position, int piece, int square) {
    put_piece(position, piece, square);
    if (type_of(piece) == KING) position.king_square[colour_of(piece)] = static_cast<std::uint8_t>(square);
}

// Takes everything off the board and empties the owner's game stack. The side to move and the keys stay.
void clear_position(Position& position);

// The destination must be empty.
inline void move_piece(Position& position, int piece, int from, int to) {
    const Bitboard both = bit(from) ^ bit(to);
    position.board[from] = 0;
    position.board[to] = static_cast<std::uint8_t>(piece);
    position.pieces[colour_of(piece)][0] ^= both;
    position.pieces[colour_of(piece)][type_of(piece)] ^= both;
}
