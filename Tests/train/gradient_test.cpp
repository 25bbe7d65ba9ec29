// The kernels against the plain formula, and the gradient against differences of the loss.
#include "tools/train/kernels.h"
#include "train_fixture.h"

#include <cmath>

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

TEST_F(GradientTest, outputs_equal_the_plain_formula) {
    ThreadTeam team(1);
    Model model = make_model(48);
    randomise(model, 3);
    Workspace work;
    fill(work.batch, records(700), team);
    evaluate_batch(model, work, team);
    for (std::size_t n = 0; n < work.output.size(); ++n) {
        ASSERT_NEAR(plain_output(model, work.batch.position[n]), static_cast<double>(work.output[n]), 1e-5);
    }
}

// Biases that keep every unit on one side of zero, where the loss has a derivative: half of them active, half leaking.
void stay_off_zero(Model& model) {
    for (int b = 0; b < model.blocks(); ++b) {
        for (int i = 0; i < COLUMNS; ++i) model.block(b)[BIAS_ROW * COLUMNS + i] = i % 2 ? 1.9f : -1.9f;
    }
}

// A gradient is read off the first moment, which one update makes 0.1 of it.
TEST_F(GradientTest, gradients_equal_differences_of_the_loss) {
    ThreadTeam team(1);
    for (const Loss loss : {Loss::SQUARED, Loss::CROSS_ENTROPY}) {
        for (const bool shared : {true, false}) {
            TrainingState state = make_training_state(2 * COLUMNS);
            randomise(state.model, 5);
            stay_off_zero(state.model);
            Workspace work;
            fill(work.batch, records(600), team);  // two full tiles and a part of one
            Model model = make_model(2 * COLUMNS);
            std::copy_n(state.model.parameter.data(), model.parameter.size(), model.parameter.data());
            for (int b = 0; b < model.blocks(); ++b) settle_block(model, b);
            train_batch(state, work, {loss, shared, 0.001, 0}, team);

            std::mt19937 random(1);
            int moved = 0;
            for (int trial = 0; trial < 150; ++trial) {
                const int block = trial % 2;
                const int tail = PARAMETER_ROWS - OUTPUT_ROW;
                const int row = trial % 3 == 0 ? OUTPUT_ROW + static_cast<int>(random() % tail)
                                               : static_cast<int>(random() % OUTPUT_ROW);
                const std::size_t at = static_cast<std::size_t>(row) * COLUMNS + random() % COLUMNS;
                float* const parameter = model.block(block) + at;
                const float value = *parameter;
                constexpr float STEP = 1e-3f;
                double side[2];
                for (const int sign : {-1, 1}) {
                    *parameter = value + static_cast<float>(sign) * STEP;
                    settle_block(model, block);
                    side[sign > 0] = plain_loss(model, work.batch, loss);
                }
                *parameter = value;
                settle_block(model, block);
                const double expected = (side[1] - side[0]) / (2.0 * static_cast<double>(STEP));
                const double gradient = 10.0 * static_cast<double>(state.first_moment[block * BLOCK_PARAMETERS + at]);
                const bool unused = !shared && row >= SHARED_ROW && row < OUTPUT_ROW;
                EXPECT_NEAR(unused ? 0 : expected, gradient, 1e-6 + 0.01 * std::abs(expected)) << "row " << row;
                moved += std::abs(expected) > 1e-5;
            }
            EXPECT_GT(moved, 60);
        }
    }
}

}  // namespace
