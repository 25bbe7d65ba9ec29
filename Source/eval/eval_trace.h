// The evaluation trace: a position's evaluation by groups of terms, and the whole parameter set.
#pragma once

#include "eval/eval_state.h"
#include "position/position.h"

// Prints the breakdown of the position's evaluation to standard output, with `detail` 2 also every parameter.
// `qscore` is the quiescence score of the last searched root, printed as it is. The position must be playable.
void eval_trace(EvalState& state, Position& position, int qscore, int detail);
