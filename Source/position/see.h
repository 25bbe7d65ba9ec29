// Static exchange evaluation ("swap"): the material outcome of captures on one square, least valuable
// attacker first, each side free to stop.
#pragma once

#include "position/position.h"

// Exchange value in centipawns by piece type.
constexpr int EXCHANGE_VALUE[8] = {0, 100, 350, 350, 550, 1060, 10000, 0};
// Coarse order of values by piece type, for accepting a capture of an equal or better piece at once.
constexpr int CAPTURE_ORDER[8] = {0, 1, 3, 3, 5, 10, 99, 0};
constexpr int KING_CAPTURE_VALUE = 9999;

// What colour c can win (>= 0) by starting captures on s, where a piece of `victim` type stands (0: empty),
// with only the pieces in occ taking part.
int swap_gain(const Position& position, int c, int s, int victim, Bitboard occ);

// Exchange result for c of moving from `from` to `to` (may be negative); with from = NO_SQUARE what c can win by
// capturing on `to`. An en-passant victim counts 0.
int see(const Position& position, int c, int from, int to);

// True if the move of the side to move does not lose more than 70 in the exchange.
bool see_ok(const Position& position, Move move);
