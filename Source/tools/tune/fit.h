// Fits the piece-square tables to a set of positions: logistic regression by the evaluation's own linear terms,
// held near the values that it starts from where the positions say little.
#pragma once

#include "tools/tune/tuning_set.h"

#include <array>
#include <functional>

// Changes of the table values in centipawns: [2 * entry] middle game, [2 * entry + 1] end game.
using TableChange = std::array<double, 2 * TABLE_ENTRIES>;

struct FitOptions {
    double slope = 0.006;  // of the expected result by centipawn
    // Strength of the pull of every value towards its start, and of the change of every value towards the changes
    // of its neighbours on the board, counted in even positions that show the entry in the opening (or the ending).
    double prior = 200;
    double smoothness = 5000;
    // Strength of the pull of each table's average towards its start, as a multiple of what the positions say about
    // that average: 1 leaves half of the shift that they ask for.
    double average = 1;
    int iterations = 200;  // at most
    int threads = 1;       // the result does not depend on it
};

// After each iteration: its number, the mean losses (cross-entropy) of both sets. False ends the fit.
using FitProgress = std::function<bool(int iteration, double training_loss, double hold_out_loss)>;

// Mean cross-entropy of the targets with the changed tables; 0 for an empty set.
double mean_loss(const TuningSet& set, const TableChange& change, double slope, int threads);

// The slope with which the scores as they are predict the results of the games best.
double fitted_slope(const TuningSet& set);

// The change with the least loss (the training set's, plus the pulls); targets must be set. Deterministic.
TableChange fit_tables(const TuningSet& training, const TuningSet& hold_out, const FitOptions& options,
                       const FitProgress& progress);

// Second derivatives of the sum of the losses by each value: what moving the value away from its best costs.
TableChange loss_curvature(const TuningSet& set, const TableChange& change, double slope);

// Positions that show each entry, for one colour but not for both.
std::array<std::uint64_t, TABLE_ENTRIES> entry_counts(const TuningSet& set);
