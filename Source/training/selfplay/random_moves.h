// Leaving a game by random moves.
#pragma once

#include "training/random.h"

// Makes one to `most` random legal moves on the game record and returns their number. 0: the game ended on the way, and
// the position is as before.
int make_random_moves(Random& random, int most);

// Goes down the tree of the last searches at random: makes up to `most` moves on the game record, each drawn from those
// whose next position the transposition table holds and where the game goes on. It ends where there is no such move.
// Returns their number; 0: the position is as before.
int make_searched_moves(Random& random, int most);

// False when the side to move of the game record's position has no legal move or the position is a draw.
bool game_goes_on();
