// Static exchange evaluation. Works on an occupancy from which used capturers are removed; no move is made.
#include "position/see.h"

#include <algorithm>

int swap_gain(const Position& position, int c, int s, int victim, Bitboard occ) {
    // Play the captures out, then let each side, from the last capture back, choose between capturing and not.
    int victims[64];
    int depth = 0;
    int result = 0;
    for (;; c ^= 1) {
        const int attacker = least_attacker(position, s, c, occ);
        if (attacker == NO_SQUARE) break;
        if (victim == KING) {
            result = KING_CAPTURE_VALUE;
            break;
        }
        victims[depth++] = EXCHANGE_VALUE[victim];
        victim = type_of(position.board[attacker]);
        occ &= ~bit(attacker);
    }
    while (depth > 0) result = std::max(0, victims[--depth] - result);
    return result;
}

int see(const Position& position, int c, int from, int to) {
    const int victim = type_of(position.board[to]);
    const Bitboard occ = occupancy(position);
    if (from == NO_SQUARE) return swap_gain(position, c, to, victim, occ);
    return EXCHANGE_VALUE[victim] - swap_gain(position, c ^ 1, to, type_of(position.board[from]), occ & ~bit(from));
}

bool see_ok(const Position& position, Move move) {
    constexpr int MAX_LOSS = 70;
    const int from = move_from(move);
    const int to = move_to(move);
    const int mover = type_of(position.board[from]);
    if (CAPTURE_ORDER[mover] <= CAPTURE_ORDER[type_of(position.board[to])]) return true;
    if (mover == PAWN && to == position.ep_square) return true;
    return see(position, position.side, from, to) >= -MAX_LOSS;
}
