// Fits the piece-square tables to data of either kind (result_loss.h, choice_loss.h): regression by the evaluation's
// own linear terms, held near the values that it starts from where the data say little.
#pragma once

#include "tools/tune/tuning_set.h"

#include <cstddef>
#include <functional>

// Sums over a part of the data: the loss, its gradient and the diagonal of its Hessian by the table values.
struct LossSums {
    double loss = 0;
    TableChange gradient{};
    TableChange curvature{};
};

// What is fitted: so many positions or choices, and the function that adds the losses of those from begin to end, with
// the changed tables. It is called by several threads, and its loss must be convex.
struct FitData {
    std::size_t items = 0;
    std::function<void(std::size_t begin, std::size_t end, const TableChange& change, LossSums& sums)> add_losses;
};

struct FitOptions {
    double slope = 0.006;  // of the expected result, or of the choice, by centipawn; the data's own
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

// After each iteration: its number, the mean losses of both sets. False ends the fit.
using FitProgress = std::function<bool(int iteration, double training_loss, double hold_out_loss)>;

// Mean loss with the changed tables; 0 without data.
double mean_loss(const FitData& data, const TableChange& change, int threads);

// The change with the least loss (the training data's, plus the pulls). Deterministic.
TableChange fit_tables(const FitData& training, const FitData& hold_out, const FitOptions& options,
                       const FitProgress& progress);

// Second derivatives of the sum of the losses by each value: what moving the value away from its best costs.
TableChange loss_curvature(const FitData& data, const TableChange& change, int threads);

// First and second derivative of a loss of one variable.
struct Derivatives {
    double first, second;
};

// Where a convex loss of one variable is least within low..high: Newton's method from `start`.
double newton_minimum(double start, double low, double high, const std::function<Derivatives(double)>& derivatives);
