// The fit of the piece-square tables to the results of games: the evaluation is linear in the tables, so the least
// squared error of the expected results is a small problem of nonlinear least squares.
#pragma once

#include "training/tune/tuning_set.h"

#include <functional>

struct FitOptions {
    double slope = 0.006;  // of the expected result by centipawn; see fitted_slope
    // Two pulls that decide where the positions say little: of every value towards its start, and of the change of
    // every value towards the changes of its neighbours on the board. Counted in even positions that show the entry in
    // the opening (or the ending).
    double prior = 200;
    double smoothness = 5000;
};

// After each step: its number, the mean squared errors of both sets. False ends the fit.
using FitProgress = std::function<bool(int step, double training_error, double hold_out_error)>;

// Mean squared error of the expected results with the changed tables; 0 for an empty set.
double mean_error(const TuningSet& set, const TableChange& change, double slope);

// The slope with which the scores as they are predict the results best.
double fitted_slope(const TuningSet& set);

// The change with the least squared error plus pulls. Deterministic; values that are not free stay.
TableChange fit_tables(const TuningSet& training, const TuningSet& hold_out, const FitOptions& options,
                       const FitProgress& progress);

// Second derivatives of the sum of the squared errors by each value: what moving a value away from its best costs.
TableChange error_curvature(const TuningSet& set, const TableChange& change, double slope);
