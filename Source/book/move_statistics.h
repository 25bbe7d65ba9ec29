// What became of the moves played in many games, counted by position and move.
#pragma once

#include "position/types.h"

#include <cstdint>
#include <memory>
#include <span>

// How one move from one position did. Counts are games, seen from the side that played the move.
struct MoveStatistics {
    std::uint64_t key;  // book_key of the position
    std::uint32_t wins;
    std::uint32_t losses;
    std::uint32_t draws;
    Move move;  // NULL_MOVE: an empty slot
};

// An open-addressed table that doubles when it fills up.
struct StatisticsTable {
    std::unique_ptr<MoveStatistics[]> slots;
    std::size_t capacity = 0;  // a power of two, or 0
    std::size_t count = 0;
};

// The counts of a move in a position, all zero at first; nullptr when there is no memory for them.
MoveStatistics* find_statistics(StatisticsTable& table, std::uint64_t key, Move move);

// Every entry by ascending key, and by move for one key. The table is used up: it can only be read from then on.
std::span<MoveStatistics> sort_statistics(StatisticsTable& table);
