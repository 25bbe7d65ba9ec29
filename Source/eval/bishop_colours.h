// Colours of squares, and bishops that cannot meet on them.
#pragma once

#include "position/position.h"

constexpr Bitboard LIGHT_SQUARES = 0x55AA55AA55AA55AAULL;  // b1 is one
constexpr Bitboard DARK_SQUARES = ~LIGHT_SQUARES;          // a1 is one

// Each side has exactly one bishop, and they stand on squares of different colours. Other pieces do not matter.
inline bool opposite_bishops(const Position& position) {
    const Bitboard bishops = position.pieces[WHITE][BISHOP] | position.pieces[BLACK][BISHOP];
    return count_of(position, WHITE, BISHOP) == 1 && count_of(position, BLACK, BISHOP) == 1 &&
           (bishops & LIGHT_SQUARES) && (bishops & DARK_SQUARES);
}
