// Where king and rook stand before and after castling, in Chess960 too.
#pragma once

#include "position/position.h"

struct CastlingSquares {
    int king_from, king_to, rook_from, rook_to;
};

// Of the right with this index, for a king on king_from. rook_from is NO_SQUARE when the right was never granted.
inline CastlingSquares castling_squares(const Position& position, int index, int king_from) {
    const bool king_side = (index & 1) == CASTLE_K;
    const int rank = rank_of(king_from);
    return {king_from, make_square(king_side ? 6 : 2, rank), position.castle_rook[index],
            make_square(king_side ? 5 : 3, rank)};
}

// Index of the right that a castling move of colour c uses.
inline int castling_index(int c, Move move) {
    return c * 2 + (move & MOVE_KING_SIDE ? CASTLE_K : CASTLE_Q);
}

// True for a flagged move of a king, castling; other flagged moves are promotions.
inline bool is_castling(const Position& position, Move move) {
    return (move & MOVE_FLAGS) && type_of(position.board[move_from(move)]) == KING;
}
