// One search of self-play, and whether its position is worth learning from.
#pragma once

#include "position/position.h"
#include "training/selfplay/statistics.h"

struct SearchResult {
    Move move;
    int score;
    int depth;
    bool exact;  // false: the score is only a bound, since the search ended while its window was too low
};

// Settings of the engine for these searches: one silent thread at full strength, so many nodes, no limit of time.
void set_search_limits(std::uint64_t nodes);

// Searches the game record's position within settings.node_limit.
SearchResult search_position(Statistics& statistics);

// True for a quiet position with a reliable score: not in check, the best move neither takes nor promotes, and captures
// and checks change little. Called right after the search of the position.
bool worth_keeping(const Position& position, const SearchResult& result);
