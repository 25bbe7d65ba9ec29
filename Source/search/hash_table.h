// The transposition table: one block shared by all search threads, without locks. Every entry carries a check
// word that ties score and move to its key, so torn entries read as misses.
#pragma once

#include "position/position.h"

#include <cstdint>

struct SearchThread;

enum : int { BOUND_NONE = 0, BOUND_UPPER = 1, BOUND_LOWER = 2, BOUND_EXACT = 3 };

// What a probe found. Mate scores are relative to the stored position: the caller adjusts them by its ply.
struct HashHit {
    int score;
    int eval;
    int depth;
    int bound;
    Move move;
};

// Sizes the table from settings.hash_mb, prints what it did and clears it. False if there is no memory for it: there is
// no table then.
bool hash_allocate();
void hash_free();
// For a size of 0: switches the table off until a larger one is allocated.
void suspend_hash();
// Zeroes the table where one is in use (in parallel slices when it is large and several threads are configured), and
// the fill estimate.
void hash_clear();
void hash_clear_parallel();

// Finds the thread's position. True only for an entry whose move passed the hash-move check. Counts the
// probe and the hit in the thread.
bool hash_probe(SearchThread& thread, HashHit& hit);
// Records a node searched at `ply` with the window (alpha, beta); nothing is stored without a move.
void hash_store(const Position& position, int ply, int depth, Move move, int eval, int score, int alpha, int beta);
// Starts loading the bucket of a key into the cache.
void hash_prefetch(std::uint64_t key);

// Starts a new age of entries: 0..31 in a triangle wave, one step a search.
void advance_hash_age();

// Fraction (0..1) of the first 1000 entries written by the current search; also stored as the fill estimate.
float hash_fill();

// Completes a line of moves (by ply, 0-terminated, indexed up to 80) from `ply` on with the table's moves.
void extend_line_from_hash(SearchThread& thread, int ply, Move* line);

// Code (0: fine) of the first condition that the move fails in the position: pseudo-legality, then legality.
int check_hash_move(const Position& position, Move move);
