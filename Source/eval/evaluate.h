// The evaluation entry: special endgames by material, the evaluation cache, network or hand-crafted score,
// opposite bishops and contempt.
#pragma once

#include "eval/eval_state.h"
#include "position/position.h"

// Static score in centipawns for `side`, the side to move. `ply` is the distance from the root (1 at the
// root). In check the answer is ply - 10000 and nothing else is done.
int evaluate(EvalState& state, Position& position, int side, int ply, bool in_check);

// Endgames that are scored by their material alone, with neither network nor hand-crafted evaluation. True with the
// score for `side`, the side to move.
bool known_endgame(const Position& position, int side, int& score);

// To be called when the network or settings.use_nn changes: every thread's evaluation cache is emptied before
// its next use.
void invalidate_eval_caches();

// True when the next evaluation uses the network; false with settings.use_nn off or no complete network.
bool network_in_use();

// Says once after each load that there is no network to evaluate with although one is asked for. Called at the
// start of every search.
void report_missing_network();
