// The gradient of the kernels against differences of the loss by the plain formula.
#include "train_fixture.h"
#include "training/train/kernels.h"

#include <cmath>
#include <random>

namespace {

using GradientTest = TrainFixture;

// Mean loss by the plain formula in double precision.
double plain_loss(const Model& model, const Batch& batch, Loss loss) {
    double sum = 0;
    for (const Features& f : batch.position) {
        const double p = 1 / (1 + std::exp(-2.4 * plain_output(model, f)));
        const double t = static_cast<double>(f.target);
        sum += loss == Loss::SQUARED ? (p - t) * (p - t) : -t * std::log(p) - (1 - t) * std::log(1 - p);
    }
    return sum / batch.size;
}

// The biases keep every unit on one side of zero, where the loss has a derivative: half of them active, half leaking.
// A gradient is read off the first moment, which one update makes 0.1 of it.
TEST_F(GradientTest, gradients_equal_differences_of_the_loss) {
    fill_work(600);  // two full tiles and a part of one
    for (const auto& [loss, shared] : {std::pair(Loss::SQUARED, true), std::pair(Loss::CROSS_ENTROPY, false)}) {
        TrainingState state = make_training_state(2 * COLUMNS);
        randomise(state.model, 5);
        Model model = make_model(2 * COLUMNS);
        for (int b = 0; b < model.blocks(); ++b) {
            float* const bias = state.model.block(b) + BIAS_ROW * COLUMNS;
            for (int i = 0; i < COLUMNS; ++i) bias[i] = i % 2 ? 1.9f : -1.9f;
            std::copy_n(state.model.block(b), BLOCK_PARAMETERS, model.block(b));
            settle_block(model, b);
        }
        train_batch(state, work, {loss, shared, 0.001, 0}, team);

        std::mt19937 random(1);
        int moved = 0;
        for (int trial = 0; trial < 150; ++trial) {
            const int block = trial % 2;
            const int row = trial % 3 == 0 ? OUTPUT_ROW + static_cast<int>(random() % (PARAMETER_ROWS - OUTPUT_ROW))
                                           : static_cast<int>(random() % OUTPUT_ROW);
            const std::size_t at = static_cast<std::size_t>(row) * COLUMNS + random() % COLUMNS;
            const float value = model.block(block)[at];
            constexpr float STEP = 1e-3f;
            const auto loss_at = [&](float moved_value) {
                model.block(block)[at] = moved_value;
                settle_block(model, block);
                return plain_loss(model, work.batch, loss);
            };
            const double expected = (loss_at(value + STEP) - loss_at(value - STEP)) / (2.0 * static_cast<double>(STEP));
            loss_at(value);
            const double gradient = 10.0 * static_cast<double>(state.first_moment[block * BLOCK_PARAMETERS + at]);
            const bool unused = !shared && row >= SHARED_ROW && row < OUTPUT_ROW;
            EXPECT_NEAR(unused ? 0 : expected, gradient, 1e-6 + 0.01 * std::abs(expected)) << "row " << row;
            moved += std::abs(expected) > 1e-5;
        }
        EXPECT_GT(moved, 60);
    }
}

}  // namespace
