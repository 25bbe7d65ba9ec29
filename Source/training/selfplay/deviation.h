// Positions off a game: what a game between careful players never shows, such as a piece to the good or a king in the
// open, but every search meets.
#pragma once

#include "training/selfplay/game.h"

// From the game record's position, which was just searched, as often as the options say: a deviation, one to three
// random moves, or a sample, a random way down the tree of the search; then best moves until the position is quiet,
// which is then kept with its search score as score and result. The position is as before afterwards.
void add_deviations(const GameMaker& maker, Random& random, std::vector<TrainingRecord>& records);
