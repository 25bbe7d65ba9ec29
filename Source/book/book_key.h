// The position key of the Polyglot book format.
#pragma once

#include "position/position.h"

#include <cstdint>

// The format's published random numbers. Pieces take 64 each, from the black pawn, the white pawn, the black
// knight ... to the white king; then come the castling rights, the en-passant files and White to move.
constexpr int BOOK_CASTLING = 768;
constexpr int BOOK_EN_PASSANT = 772;
constexpr int BOOK_WHITE_TO_MOVE = 780;
constexpr int BOOK_RANDOMS = 781;
extern const std::uint64_t book_randoms[BOOK_RANDOMS];

// Unlike Position::key it depends on nothing of this program. An en-passant square counts only when a pawn of
// the side to move stands beside the pawn that has just stepped.
std::uint64_t book_key(const Position& position);
