// Attack, ray and line tables, filled once from rank and file arithmetic.
#include "position/bitboard.h"

// Index: top six bits of the folded product in lsb().
const std::uint8_t lsb_table[64] = {63, 30, 3,  32, 25, 41, 22, 33, 15, 50, 42, 13, 11, 53, 19, 34,
                                    61, 29, 2,  51, 21, 43, 45, 10, 18, 47, 1,  54, 9,  57, 0,  35,
                                    62, 31, 40, 4,  49, 5,  52, 26, 60, 6,  23, 44, 46, 27, 56, 16,
                                    7,  39, 48, 24, 59, 14, 12, 55, 38, 28, 58, 20, 37, 17, 36, 8};
std::uint32_t msb_table[256];

Bitboard knight_attacks[65];
Bitboard king_attacks[65];
Bitboard pawn_attacks[2][65];
Bitboard ray_north[64], ray_south[64], ray_east[64], ray_west[64];
Bitboard ray_north_east[64], ray_north_west[64], ray_south_east[64], ray_south_west[64];
Bitboard diagonal_rays[65];
Bitboard orthogonal_rays[65];
Bitboard file_line[64], diagonal_line[64], antidiagonal_line[64];
Bitboard queen_rays[65];
Bitboard between[64][64];

namespace {

struct Step {
    int files, ranks;
};

constexpr Step KNIGHT_STEPS[8] = {{1, 2}, {2, 1}, {2, -1}, {1, -2}, {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
constexpr Step KING_STEPS[8] = {{0, 1}, {1, 1}, {1, 0}, {1, -1}, {0, -1}, {-1, -1}, {-1, 0}, {-1, 1}};

// The bit of the square one step away, 0 beyond the board's edge.
Bitboard step_from(int square, Step step) {
    const int file = file_of(square) + step.files;
    const int rank = rank_of(square) + step.ranks;
    return file >= 0 && file < 8 && rank >= 0 && rank < 8 ? bit(make_square(file, rank)) : 0;
}

template <int N>
Bitboard steps_from(int square, const Step (&steps)[N]) {
    Bitboard squares = 0;
    for (const Step step : steps) squares |= step_from(square, step);
    return squares;
}

Bitboard ray_from(int square, Step step) {
    Bitboard ray = 0;
    for (Bitboard next = step_from(square, step); next; next = step_from(lsb(next), step)) ray |= next;
    return ray;
}

void fill_square(int s) {
    knight_attacks[s] = steps_from(s, KNIGHT_STEPS);
    king_attacks[s] = steps_from(s, KING_STEPS);
    pawn_attacks[WHITE][s] = step_from(s, {-1, 1}) | step_from(s, {1, 1});
    pawn_attacks[BLACK][s] = step_from(s, {-1, -1}) | step_from(s, {1, -1});
    ray_north[s] = ray_from(s, {0, 1});
    ray_south[s] = ray_from(s, {0, -1});
    ray_east[s] = ray_from(s, {1, 0});
    ray_west[s] = ray_from(s, {-1, 0});
    ray_north_east[s] = ray_from(s, {1, 1});
    ray_north_west[s] = ray_from(s, {-1, 1});
    ray_south_east[s] = ray_from(s, {1, -1});
    ray_south_west[s] = ray_from(s, {-1, -1});
    diagonal_rays[s] = ray_north_east[s] | ray_north_west[s] | ray_south_east[s] | ray_south_west[s];
    orthogonal_rays[s] = ray_north[s] | ray_south[s] | ray_east[s] | ray_west[s];
    file_line[s] = ray_north[s] | ray_south[s];
    diagonal_line[s] = ray_north_east[s] | ray_south_west[s];
    antidiagonal_line[s] = ray_north_west[s] | ray_south_east[s];
    queen_rays[s] = diagonal_rays[s] | orthogonal_rays[s];
}

// Walks each ray of a: the squares passed before b lie between the two.
void fill_between(int a) {
    for (const Step step : KING_STEPS) {
        Bitboard passed = 0;
        for (Bitboard next = step_from(a, step); next; next = step_from(lsb(next), step)) {
            between[a][lsb(next)] = passed;
            passed |= next;
        }
    }
}

}  // namespace

void init_tables() {
    for (int s = 0; s < 64; ++s) {
        fill_square(s);
        fill_between(s);
    }
    for (std::uint32_t i = 2; i < 256; ++i) msb_table[i] = msb_table[i - 1] + ((i & (i - 1)) == 0 ? 1 : 0);
}
