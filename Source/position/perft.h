// Perft: counts the leaves of the legal move tree; the test of generation, making and unmaking.
#pragma once

#include "position/position.h"

#include <cstdint>
#include <optional>

// Number of legal move sequences of length `depth` (>= 1) from the position, which is unchanged afterwards.
// Uses the owner's move lists from search_ply on.
std::uint64_t perft(Position& position, int depth);

// The same, but nothing once `must_stop` has said so, which is asked every few hundredths of a second.
std::optional<std::uint64_t> perft_until(Position& position, int depth, bool (*must_stop)());
