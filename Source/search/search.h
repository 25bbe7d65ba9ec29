// The main search and the quiescence search: principal-variation alpha-beta in negamax form. Scores are
// centipawns for the side to move; `line` is indexed by ply and receives the node's best line.
#pragma once

#include "search/search_thread.h"

constexpr int MIN_HASH_DEPTH = -5;  // below this remaining depth the transposition table is left alone

// Appends the child's continuation, from ply + 1 on, after the node's own move.
inline void copy_line(Move* line, const Move* child, int ply) {
    for (int i = ply + 1; i <= MAX_DEPTH; ++i) {
        line[i] = child[i];
        if (child[i] == NULL_MOVE) break;
    }
}

// One node: entry work, then the move loop or the quiescence search.
int search(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, int node_type, Move* line);

// The move loop of a node whose entry work is done.
int search_moves(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, int node_type, Move* line);

// Tactical moves (and quiet checks at depth 0 and above) below the horizon. The ply's stack entry already
// holds the static evaluation.
int quiesce(SearchThread& thread, int side, int ply, int depth, int alpha, int beta, int node_type, Move* line);
