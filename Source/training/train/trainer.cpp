// A step is: all blocks forward; the outputs and their losses; all blocks backward, each updated while it is in the
// cache. Sums over blocks run in a fixed order, so that the number of threads changes nothing.
#include "training/train/trainer.h"

#include "training/train/kernels.h"
#include "training/train/optimiser.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr int CHUNK = 1024;  // positions whose outputs one job adds up

template <class T>
void reserve(AlignedArray<T>& array, std::size_t size) {
    if (array.size() < size) array = AlignedArray<T>(size);
}

std::size_t index(int block, int positions, std::size_t per_position) {
    return static_cast<std::size_t>(block) * static_cast<std::size_t>(positions) * per_position;
}

// Outputs of the batch, and the sums that lead there if a backward pass is to follow.
void run_forward(const Model& model, Workspace& work, bool keep_sums, ThreadTeam& team) {
    const int size = work.batch.size;
    const int blocks = model.blocks();
    reserve(work.share, index(blocks, size, 1));
    if (keep_sums) reserve(work.sums, index(blocks, size, SUMS_PER_POSITION));
    work.output.resize(static_cast<std::size_t>(size));
    team.run(blocks, [&](int b, int) {
        ShortFloat* const sums = keep_sums ? work.sums.data() + index(b, size, SUMS_PER_POSITION) : nullptr;
        forward_block(model, b, work.batch, sums, work.share.data() + index(b, size, 1));
    });
    team.run((size + CHUNK - 1) / CHUNK, [&](int chunk, int) {
        const int first = chunk * CHUNK;
        const int last = std::min(size, first + CHUNK);
        float* const output = work.output.data();
        std::fill(output + first, output + last, 0.0f);
        for (int b = 0; b < blocks; ++b) {
            const float* const share = work.share.data() + index(b, size, 1);
            for (int n = first; n < last; ++n) output[n] += share[n];
        }
    });
}

double squared_error(float output, float target) {
    const double distance = static_cast<double>(predicted_result(output) - target);
    return distance * distance;
}

double mean_squared_error(const Workspace& work) {
    double sum = 0;
    for (std::size_t n = 0; n < work.output.size(); ++n)
        sum += squared_error(work.output[n], work.batch.position[n].target);
    return sum / static_cast<double>(work.batch.size);
}

float loss_slope(Loss loss, float output, float target) {
    const float p = predicted_result(output);
    return loss == Loss::SQUARED ? 2 * (p - target) * p * (1 - p) * LOGISTIC : (p - target) * LOGISTIC;
}

// Decay pulls the first-layer weights alone: the output weights and biases have no reason to be small.
void update_block(TrainingState& state, int block, const float* gradient, const AdamStep& step) {
    const std::size_t at = static_cast<std::size_t>(block) * BLOCK_PARAMETERS;
    constexpr std::size_t FIRST_LAYER = static_cast<std::size_t>(OUTPUT_ROW) * COLUMNS;
    AdamStep undecayed = step;
    undecayed.decay = 0;
    float* const parameter = state.model.block(block);
    float* const first = state.first_moment.data() + at;
    float* const second = state.second_moment.data() + at;
    adam_update(step, parameter, first, second, gradient, FIRST_LAYER);
    adam_update(undecayed, parameter + FIRST_LAYER, first + FIRST_LAYER, second + FIRST_LAYER, gradient + FIRST_LAYER,
                BLOCK_PARAMETERS - FIRST_LAYER);
    settle_block(state.model, block);
}

}  // namespace

TrainingState make_training_state(int hidden) {
    TrainingState state;
    state.model = make_model(hidden);
    state.first_moment = AlignedArray<float>(state.model.parameter.size());
    state.second_moment = AlignedArray<float>(state.model.parameter.size());
    return state;
}

float predicted_result(float output) {
    return 1.0f / (1.0f + std::exp(-LOGISTIC * output));
}

double evaluate_batch(const Model& model, Workspace& workspace, ThreadTeam& team) {
    run_forward(model, workspace, false, team);
    return mean_squared_error(workspace);
}

double train_batch(TrainingState& state, Workspace& workspace, const StepOptions& options, ThreadTeam& team) {
    const int size = workspace.batch.size;
    run_forward(state.model, workspace, true, team);
    reserve(workspace.slope, static_cast<std::size_t>(size));
    const float share = 1.0f / static_cast<float>(size);
    team.run((size + CHUNK - 1) / CHUNK, [&](int chunk, int) {
        for (int n = chunk * CHUNK; n < std::min(size, (chunk + 1) * CHUNK); ++n) {
            const auto i = static_cast<std::size_t>(n);
            const float target = workspace.batch.position[i].target;
            workspace.slope[i] = share * loss_slope(options.loss, workspace.output[i], target);
        }
    });

    ++state.step;
    const AdamStep step = adam_step(options.learning_rate, options.decay, state.step);
    workspace.gradient.resize(static_cast<std::size_t>(team.size()));
    for (AlignedArray<float>& gradient : workspace.gradient) reserve(gradient, BLOCK_PARAMETERS);
    team.run(state.model.blocks(), [&](int b, int thread) {
        float* const gradient = workspace.gradient[static_cast<std::size_t>(thread)].data();
        backward_block(state.model, b, workspace.batch, workspace.sums.data() + index(b, size, SUMS_PER_POSITION),
                       workspace.slope.data(), options.shared_rows, gradient);
        update_block(state, b, gradient, step);
    });
    return mean_squared_error(workspace);
}
