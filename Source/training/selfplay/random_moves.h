// Leaving a game by random moves.
#pragma once

#include "training/random.h"

// Makes one to `most` random moves on the game record and returns their number. 0: the game ended on the way, and the
// position is as before.
int make_random_moves(Random& random, int most);

// False when the side to move of the game record's position has no legal move or the position is a draw.
bool game_goes_on();
