// Bit scans, attack tables and slider attacks without occupancy-indexed tables or processor-specific instructions.
// Tables are filled once by init_tables and read-only afterwards.
#pragma once

#include "position/types.h"

#include <cstdint>

#if defined(TARN_NATIVE_BITS)
#include <bit>
#endif

extern const std::uint8_t lsb_table[64];
extern std::uint32_t msb_table[256];

// Tables that are looked up by a king's square have an empty entry for NO_SQUARE, so that a board without
// that king needs no special case.
extern Bitboard knight_attacks[65];
extern Bitboard king_attacks[65];
extern Bitboard pawn_attacks[2][65];  // [colour][square]: squares that a pawn standing there attacks
extern Bitboard ray_north[64], ray_south[64], ray_east[64], ray_west[64];
extern Bitboard ray_north_east[64], ray_north_west[64], ray_south_east[64], ray_south_west[64];
extern Bitboard diagonal_rays[65];                                        // union of the four diagonal rays
extern Bitboard orthogonal_rays[65];                                      // union of the four rank and file rays
extern Bitboard file_line[64], diagonal_line[64], antidiagonal_line[64];  // both rays of each, without the square
extern Bitboard queen_rays[65];                                           // union of all eight rays
extern Bitboard between[64][64];  // squares strictly between two squares on one line, else 0

// Fills every table above. Must run before any position is set up.
void init_tables();

// Square of the lowest set bit; b must not be 0.
inline int lsb(Bitboard b) {
#if defined(TARN_NATIVE_BITS)
    return std::countr_zero(b);
#else
    const Bitboard below = b ^ (b - 1);
    const std::uint32_t folded = static_cast<std::uint32_t>(below) ^ static_cast<std::uint32_t>(below >> 32);
    return lsb_table[(folded * 0x783A9B23u) >> 26];
#endif
}

// Square of the highest set bit; 0 for b = 0.
inline int msb(Bitboard b) {
#if defined(TARN_NATIVE_BITS)
    return 63 - std::countl_zero(b | 1);
#else
    int n = 0;
    std::uint32_t v;
    if (b > 0xFFFFFFFFULL) {
        v = static_cast<std::uint32_t>(b >> 32);
        n = 32;
    } else {
        v = static_cast<std::uint32_t>(b) | 1;
    }
    if (v > 0xFFFF) {
        v >>= 16;
        n += 16;
    }
    if (v > 0xFF) {
        v >>= 8;
        n += 8;
    }
    return n + static_cast<int>(msb_table[v]);
#endif
}

// Number of set bits.
inline int popcount(Bitboard b) {
#if defined(TARN_NATIVE_BITS)
    return std::popcount(b);
#else
    b -= (b >> 1) & 0x5555555555555555ULL;
    b = (b & 0x3333333333333333ULL) + ((b >> 2) & 0x3333333333333333ULL);
    b = (b + (b >> 4)) & 0x0F0F0F0F0F0F0F0FULL;
    // The last step in 32 bits: compilers know the 64-bit form and replace it by a slower library call.
    const auto bytes = static_cast<std::uint32_t>(b) + static_cast<std::uint32_t>(b >> 32);
    return static_cast<int>((bytes * 0x01010101u) >> 24);
#endif
}

// Takes the lowest square off the set and returns it; b must not be 0.
inline int pop_lsb(Bitboard& b) {
    const int square = lsb(b);
    b &= b - 1;
    return square;
}

// Attacks along a whole line (its squares without `square`) in both directions. Subtracting the slider's bit from the
// blockers flips every bit up to the first blocker above it; on the board turned upside down by a byte swap the
// same subtraction finds the first blocker below. Not for ranks, which the byte swap leaves as they are.
inline Bitboard line_attacks(Bitboard line, int square, Bitboard occ) {
    const Bitboard blockers = occ & line;
    const Bitboard upward = blockers - bit(square);
    const Bitboard downward = __builtin_bswap64(__builtin_bswap64(blockers) - __builtin_bswap64(bit(square)));
    return (upward ^ downward) & line;
}

// East by the same subtraction; west by the ray method: what lies behind the highest blocker is taken off the ray.
inline Bitboard rank_attacks(int square, Bitboard occ) {
    const Bitboard east_blockers = occ & ray_east[square];
    const Bitboard east = (east_blockers ^ (east_blockers - 2 * bit(square))) & ray_east[square];
    const int rank_start = square & 56;
    const Bitboard west_blockers = (occ & ray_west[square]) >> rank_start;
    return east | (ray_west[square] ^ ray_west[rank_start + static_cast<int>(msb_table[west_blockers])]);
}

// Attacks of a bishop on `square`: the first blocker in each direction is included, nothing behind it.
inline Bitboard bishop_attacks(int square, Bitboard occ) {
    return line_attacks(diagonal_line[square], square, occ) | line_attacks(antidiagonal_line[square], square, occ);
}

inline Bitboard rook_attacks(int square, Bitboard occ) {
    return line_attacks(file_line[square], square, occ) | rank_attacks(square, occ);
}

inline Bitboard queen_attacks(int square, Bitboard occ) {
    return bishop_attacks(square, occ) | rook_attacks(square, occ);
}

// The larger of the rank and file differences of two squares: king moves between them on an empty board.
inline int king_distance(int a, int b) {
    const int files = file_of(a) > file_of(b) ? file_of(a) - file_of(b) : file_of(b) - file_of(a);
    const int ranks = rank_of(a) > rank_of(b) ? rank_of(a) - rank_of(b) : rank_of(b) - rank_of(a);
    return files > ranks ? files : ranks;
}
