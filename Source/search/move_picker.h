// The staged move picker and the move-ordering memory.
#pragma once

#include "search/search_thread.h"

// Mode flags of StackEntry::stage; the low four bits are the stage.
enum : int {
    PICK_HASH_MOVE = 0x10,     // hand out the hash move first
    PICK_MAIN = 0x40,          // exchange-ordered tactical moves, then quiet moves by history
    PICK_QUIET_CHECKS = 0x80,  // after the tactical moves, quiet checks
};

// Ordering score above which a tactical move counts as good: it comes before the quiet moves and is hardly reduced.
constexpr int GOOD_SCORE = 150;

// The next move of the node at the thread's search_ply, or nullptr when there are no more. The caller sets
// stage (mode flags alone) and hash_move before the first call.
MoveEntry* next_move(SearchThread& thread);

// Ordering score of a capture or other tactical move by its exchange value.
int tactical_score(const Position& position, const MoveEntry& entry);
// Ordering score 0..160 of a quiet move at the ply: history, killers, counter and follow-up moves.
int quiet_score(const SearchThread& thread, int ply, const MoveEntry& entry);

// Learns from a quiet move that was searched at `ply` with the given depth (> 0).
void update_history(SearchThread& thread, int ply, const MoveEntry& entry, int depth, bool raised_alpha);

// Forgets everything learned: start of a search.
void clear_ordering(SearchThread& thread);
