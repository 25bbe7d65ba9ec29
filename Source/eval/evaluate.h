// The evaluation entry: known endgames, the evaluation cache, network or hand-crafted score, opposite bishops and
// contempt.
#pragma once

#include "eval/eval_state.h"
#include "eval/known_endgames.h"  // for callers that want to know what is not evaluated
#include "position/position.h"

// Static score in centipawns for `side`, the side to move. `ply` is the distance from the root, 1 at the root; the
// cache answers from ply 3 on. In check the answer is ply - 10000 and nothing else is done.
int evaluate(EvalState& state, Position& position, int side, int ply, bool in_check);

// To be called when the network or settings.use_nn changes: every thread's evaluation cache is emptied before
// its next use.
void invalidate_eval_caches();

// True when the next evaluation uses the network; false with settings.use_nn off or no complete network.
bool network_in_use();

// Says once after each load that there is no network to evaluate with although one is asked for. Called at the
// start of every search.
void report_missing_network();
