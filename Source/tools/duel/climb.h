// Tuning by games: simultaneous perturbation stochastic approximation (SPSA) of some directions of the piece-square
// tables. A pair of games between the values moved one way and the other way along random signs says a little about
// every direction at once.
#pragma once

#include "platform/relaxed.h"
#include "tools/duel/player.h"
#include "tools/selfplay/random.h"
#include "tools/tune/table_trace.h"

#include <array>
#include <string>
#include <vector>

// A family of directions: each table has one of them in the middle game and one in the ending. `shift` holds the
// centipawns that a value moves at distance 1, [2 * entry] middle game, [2 * entry + 1] ending; 0 where it is given.
struct ClimbFamily {
    std::string name;
    std::array<double, 2 * TABLE_ENTRIES> shift;
};
using ClimbFamilies = std::vector<ClimbFamily>;

constexpr std::size_t DIRECTIONS_OF_FAMILY = TABLE_PARAMS * 2;
constexpr std::size_t MAX_FAMILIES = 6;

// The height of a table, and its slope from rank 1 to rank 8: distances in centipawns, the slope's at the board's edge.
ClimbFamilies shape_families();
// The way from one text's tables to another's: distances in percent of it.
ClimbFamily family_towards(const std::string& name, const Player& from, const Player& to);

constexpr std::size_t climb_index(std::size_t family, std::size_t table, bool ending) {
    return DIRECTIONS_OF_FAMILY * family + 2 * table + ending;
}

// By climb_index; what lies beyond the families in use stays 0. Points are shared by all processes.
using ClimbPoint = std::array<Relaxed<double>, MAX_FAMILIES * DIRECTIONS_OF_FAMILY>;
using Signs = std::array<std::int8_t, MAX_FAMILIES * DIRECTIONS_OF_FAMILY>;

// What is tried on both sides of the present point, and how far one pair moves it. Both shrink slowly.
struct ClimbStep {
    double distance;  // in the units of the families
    double rate;      // share of the distance that a point of the pair is worth
};
ClimbStep climb_step(double distance, double rate, std::uint64_t pair, std::uint64_t pairs);

Signs random_signs(Random& random, std::size_t families);

// Sets the player's tables to those of `base` moved to point + distance * signs, to whole centipawns.
void set_point(Player& player, const Player& base, const ClimbFamilies& families, const ClimbPoint& point,
               double distance, const Signs& signs);

// Moves the point by the result of a pair, -2..2 for the side that was moved along the signs. Two processes may do so
// at the same time; what one of them loses is one pair in very many.
void move_point(ClimbPoint& point, const ClimbStep& step, const Signs& signs, int points);
