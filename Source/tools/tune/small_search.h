// The smallest search that a move can be judged by: one ply, then captures, each line to a quiet position. Without
// tables and without pruning, so that the score is the evaluation of the position at the end of its best line.
#pragma once

#include "eval/hce.h"
#include "position/position.h"

// The position that a score comes from.
struct Leaf {
    Position position;
    bool evaluated;  // by the hand-crafted evaluation; false: a mate, a stalemate or an ending known by its material
};

constexpr int SMALL_SEARCH_MATE = 10000;  // beyond every evaluation

// Score in centipawns for the side to move, of a playable position whose owner is at search_ply 1. The score is the
// leaf's, seen from the side to move here. The parameters must be those that the pawn hash of `state` was filled with.
int small_search(HceState& state, Position& position, Leaf& leaf);
