// Endgames that are scored by their material alone, with neither network nor hand-crafted evaluation.
#pragma once

#include "position/position.h"

// True for such an endgame, with the score in centipawns for `side`, the side to move; otherwise `score` means nothing.
// The position must have both kings; build_kpk_table must have run.
bool known_endgame(const Position& position, int side, int& score);
