// Static exchange evaluation ("swap"): the material outcome of captures on one square, least valuable
// attacker first, each side free to stop.
#pragma once

#include "position/position.h"

// Exchange value in centipawns by piece type.
constexpr int EXCHANGE_VALUE[8] = {0, 100, 350, 350, 550, 1060, 10000, 0};
constexpr int KING_CAPTURE_VALUE = 9999;

// Exchange result for c of moving from `from` to `to` (may be negative); with from = NO_SQUARE what c can win by
// capturing on `to`. An en-passant victim counts 0.
int see(const Position& position, int c, int from, int to);

// The same as see(...) >= wanted, but it looks at attackers only until the answer is known.
bool see_reaches(const Position& position, int c, int from, int to, int wanted);

// True if the move of the side to move does not lose more than 70 in the exchange.
bool see_ok(const Position& position, Move move);
