// One training step and one evaluation of a batch, shared out among the threads.
#pragma once

#include "training/train/aligned_array.h"
#include "training/train/batch.h"
#include "training/train/float_vector.h"
#include "training/train/model.h"
#include "training/train/thread_team.h"

#include <cstdint>
#include <vector>

// What the distance between prediction and target costs.
enum class Loss : int {
    SQUARED,       // (p - t)^2
    CROSS_ENTROPY  // -t ln p - (1 - t) ln (1 - p)
};

// All that an interrupted run needs to go on as if nothing had happened.
struct TrainingState {
    Model model;
    AlignedArray<float> first_moment;
    AlignedArray<float> second_moment;
    std::int64_t step = 0;        // updates made
    std::int32_t epoch = 0;       // epochs finished
    std::int32_t epoch_step = 0;  // updates made in the current epoch
};

TrainingState make_training_state(int hidden);

// Buffers that every step needs again.
struct Workspace {
    Batch batch;
    AlignedArray<ShortFloat> sums;              // first-layer sums of the batch, block after block
    AlignedArray<float> share;                  // each block's share of the outputs
    AlignedArray<float> slope;                  // derivative of the mean loss by each output
    std::vector<AlignedArray<float>> gradient;  // of one block, by thread
    std::vector<float> output;
};

struct StepOptions {
    Loss loss = Loss::SQUARED;
    bool shared_rows = true;
    double learning_rate = 0;
    double decay = 0;
};

// Updates the model by workspace.batch. Returns the batch's mean squared error before the update. The result does
// not depend on the number of threads.
double train_batch(TrainingState& state, Workspace& workspace, const StepOptions& options, ThreadTeam& team);

// Fills workspace.output with the model's outputs for workspace.batch; returns the mean squared error.
double evaluate_batch(const Model& model, Workspace& workspace, ThreadTeam& team);

// Expected result of an output: the logistic function that win_probability applies to centipawns.
float predicted_result(float output);
