// Pairs of games between two players.
#pragma once

#include "tools/duel/player.h"
#include "tools/selfplay/random.h"
#include "tools/selfplay/start.h"

struct PairResult {
    bool finished = false;  // false: interrupted, or no even start was found
    int points = 0;         // -2..2: games won less games lost by the first player
    int wins = 0;
    int losses = 0;
};

// Plays the same start twice, with the seats exchanged. `stop` is asked before each search.
PairResult play_pair(Player& first, Player& second, const OpeningBook& book, Random& random, bool (*stop)());
