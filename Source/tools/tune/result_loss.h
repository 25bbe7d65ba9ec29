// The loss by results: the cross-entropy between the targets of positions, mostly the results of their games, and the
// results that their scores promise.
#pragma once

#include "tools/tune/fit.h"
#include "tools/tune/tuning_set.h"

// The set, whose targets must be set, has to stay where it is. `slope` as of expected_result.
FitData result_data(const TuningSet& set, double slope);

// The slope with which the scores as they are predict the results of the games best.
double fitted_slope(const TuningSet& set);
