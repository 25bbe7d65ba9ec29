// Positions off a game: what a game between careful players never shows, such as a piece to the good or a king in the
// open, but every search meets.
#pragma once

#include "training/selfplay/game.h"

// Adds as many samples and deviations as the options ask for. Both start from the game record's position, which was
// just searched: a sample goes down the tree of that search at random, a deviation makes one to three random moves.
// Then best moves follow until the position is quiet. It is kept with its search score as score and result. Afterwards
// the game record's position is as before.
void add_deviations(const GameMaker& maker, Random& random, std::vector<TrainingRecord>& records);
