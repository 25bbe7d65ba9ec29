// Tuning by games: simultaneous perturbation stochastic approximation (SPSA) of a few directions of the piece-square
// tables. A pair of games between the values moved one way and the other way along random signs says a little about
// every direction at once.
#pragma once

#include "platform/relaxed.h"
#include "tools/duel/player.h"
#include "tools/selfplay/random.h"

#include <array>

// For each table, middle game and ending: the height of all its free entries, and their slope from rank 1 to rank 8.
constexpr int DIRECTIONS = TABLE_PARAMS * 2 * 2;

// Centipawns; the slope counts at the board's edge. Shared by all processes.
using ClimbPoint = std::array<Relaxed<double>, DIRECTIONS>;
using Signs = std::array<std::int8_t, DIRECTIONS>;

// What is tried on both sides of the present point, and how far one pair moves it. Both shrink slowly.
struct ClimbStep {
    double distance;  // centipawns
    double rate;      // share of the distance that a point of the pair is worth
};
ClimbStep climb_step(double distance, double rate, std::uint64_t pair, std::uint64_t pairs);

Signs random_signs(Random& random);

// Sets the player's tables to those of `base` moved to point + distance * signs, to whole centipawns.
void set_point(Player& player, const Player& base, const ClimbPoint& point, double distance, const Signs& signs);

// Moves the point by the result of a pair, -2..2 for the side that was moved along the signs. Two processes may do so
// at the same time; what one of them loses is one pair in very many.
void move_point(ClimbPoint& point, const ClimbStep& step, const Signs& signs, int points);
