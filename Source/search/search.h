// The main search and the quiescence search: principal-variation alpha-beta in negamax form. Scores are
// centipawns for the side to move; `line` is indexed by ply and receives the node's best line.
#pragma once

#include "search/search_thread.h"

// One node: entry work, then the move loop or the quiescence search.
int search(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, int node_type, Move* line);

// The move loop of a node whose entry work is done.
int search_moves(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, int node_type, Move* line);

// Tactical moves (and quiet checks at depth 0 and above) below the horizon. The ply's stack entry already
// holds the static evaluation.
int quiesce(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, int node_type, Move* line);
