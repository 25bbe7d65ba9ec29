// Static exchange evaluation. Works on an occupancy from which used capturers are removed; no move is made.
#include "position/see.h"

#include <algorithm>

namespace {

// What colour c can win (>= 0) by starting captures on s, where a piece of `victim` type stands (0: empty),
// with only the pieces in occ taking part.
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

// The same as swap_gain(...) >= wanted. Who captures wins `wanted` exactly if the other side cannot then win back more
// than the victim's value less `wanted`: the question passes from side to side until values or attackers decide it.
bool swap_gain_reaches(const Position& position, int c, int s, int victim, Bitboard occ, int wanted) {
    for (bool answer = true;; answer = !answer, c ^= 1) {
        if (wanted <= 0) return answer;
        if (wanted > EXCHANGE_VALUE[victim]) return !answer;
        const int attacker = least_attacker(position, s, c, occ);
        if (attacker == NO_SQUARE) return !answer;
        if (victim == KING) return answer == (wanted <= KING_CAPTURE_VALUE);
        wanted = EXCHANGE_VALUE[victim] - wanted + 1;
        victim = type_of(position.board[attacker]);
        occ &= ~bit(attacker);
    }
}

}  // namespace

int see(const Position& position, int c, int from, int to) {
    const int victim = type_of(position.board[to]);
    const Bitboard occ = occupancy(position);
    if (from == NO_SQUARE) return swap_gain(position, c, to, victim, occ);
    return EXCHANGE_VALUE[victim] - swap_gain(position, c ^ 1, to, type_of(position.board[from]), occ & ~bit(from));
}

bool see_reaches(const Position& position, int c, int from, int to, int wanted) {
    const int victim = type_of(position.board[to]);
    const Bitboard occ = occupancy(position);
    if (from == NO_SQUARE) return swap_gain_reaches(position, c, to, victim, occ, wanted);
    const int mover = type_of(position.board[from]);
    return !swap_gain_reaches(position, c ^ 1, to, mover, occ & ~bit(from), EXCHANGE_VALUE[victim] - wanted + 1);
}

bool see_ok(const Position& position, Move move) {
    constexpr int MAX_LOSS = 70;
    const int from = move_from(move);
    const int to = move_to(move);
    if (type_of(position.board[from]) == PAWN && to == position.ep_square) return true;
    return see_reaches(position, position.side, from, to, -MAX_LOSS);
}
