// The key table and the computation of both keys from scratch; make_move.cpp updates them incrementally.
#include "frontend/base/output.h"
#include "position/position.h"

std::uint64_t zobrist[1024];

namespace {

// Marsaglia's pair of multiply-with-carry generators.
struct MultiplyWithCarry {
    std::uint32_t z = 1;
    std::uint32_t w = 1;

    std::uint32_t next() {
        z = 36969 * (z & 65535) + (z >> 16);
        w = 18000 * (w & 65535) + (w >> 16);
        return (z << 16) + w;
    }
    std::uint64_t next64() {
        const std::uint64_t high = next();
        return high << 32 | next();
    }
};

// Keys this sparse would make unrelated positions collide too easily.
constexpr int MIN_KEY_BITS = 24;
// Two keys this close are reported.
constexpr int MIN_KEY_DISTANCE = 6;

bool close_to_earlier_key(int index) {
    for (int i = 0; i < index; ++i) {
        if (popcount(zobrist[i] ^ zobrist[index]) < MIN_KEY_DISTANCE) return true;
    }
    return false;
}

}  // namespace

void init_zobrist() {
    MultiplyWithCarry generator;
    for (int i = 0; i < 1024; ++i) {
        do zobrist[i] = generator.next64();
        while (popcount(zobrist[i]) < MIN_KEY_BITS);
        if (close_to_earlier_key(i)) print_line("bad hashcode");
    }
}

void compute_keys(Position& position) {
    std::uint64_t key = 0;
    std::uint64_t pawn_key = 0;
    for (Bitboard occ = occupancy(position); occ;) {
        const int s = pop_lsb(occ);
        const int piece = position.board[s];
        key ^= zobrist[piece * 64 + s];
        if (type_of(piece) == PAWN) pawn_key ^= zobrist[piece * 64 + s];
    }
    if (position.ep_square != NO_SQUARE) key ^= zobrist[position.ep_square];
    key ^= zobrist[position.castling];
    position.key = (key & ~std::uint64_t{1}) | position.side;
    position.pawn_key = pawn_key;
}
