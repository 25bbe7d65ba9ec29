// The position key of the Polyglot book format; the random numbers are in book_randoms.cpp.
#include "book/book_key.h"

std::uint64_t book_key(const Position& position) {
    std::uint64_t key = 0;
    for (int type = PAWN; type <= KING; ++type) {
        for (int colour = WHITE; colour <= BLACK; ++colour) {
            const int kind = (type - 1) * 2 + (colour == WHITE);
            for (Bitboard pieces = position.pieces[colour][type]; pieces;) {
                key ^= book_randoms[kind * 64 + pop_lsb(pieces)];
            }
        }
    }
    for (int right = 0; right < 4; ++right) {
        if (position.castling & 1 << right) key ^= book_randoms[BOOK_CASTLING + right];
    }
    const int side = position.side;
    const int ep = position.ep_square;
    if (ep != NO_SQUARE && (pawn_attacks[side ^ 1][ep] & position.pieces[side][PAWN])) {
        key ^= book_randoms[BOOK_EN_PASSANT + file_of(ep)];
    }
    if (side == WHITE) key ^= book_randoms[BOOK_WHITE_TO_MOVE];
    return key;
}
