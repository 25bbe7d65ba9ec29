// The loss by choices: how far the moves that the scores prefer are from those that the teacher prefers. Both are read
// as probabilities of the moves, softmax of the scores; the loss is the divergence of the scores' from the teacher's
// (Kullback-Leibler), 0 when they agree.
#pragma once

#include "tools/tune/choice_set.h"
#include "tools/tune/fit.h"

// A move this much below the best has 1/e of its probability for the teacher, in centipawns.
constexpr double TEACHER_TEMPERATURE = 25;

// The set has to stay where it is. `slope`: a move 1 / slope below the best has 1/e of its probability.
FitData choice_data(const ChoiceSet& set, double slope);

// The slope with which the scores as they are choose most like the teacher.
double fitted_choice_slope(const ChoiceSet& set);
