// Leaving a game by random moves.
#pragma once

#include "training/random.h"

// Both make moves on the game record and return their number. 0: there is none of the wanted kind that leaves a game to
// go on, and the position is as before.

// One to `most` moves, each a random legal one. 0 also when the game ended on the way.
int make_random_moves(Random& random, int most);

// At most `most` moves, each drawn from those after which the transposition table knows the position: a random way
// down the tree of the last searches, to a position that they left without one that is known.
int make_searched_moves(Random& random, int most);

// False when the side to move of the game record's position has no legal move or the position is a draw.
bool game_goes_on();
