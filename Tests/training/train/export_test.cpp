// The network file against the model and against the engine's own inference, and the bounds of its sums.
#include "training/train/export_network.h"

#include "eval/evaluate.h"
#include "eval/network.h"
#include "platform/words.h"
#include "train_fixture.h"
#include "training/train/import_network.h"
#include "training/train/reports.h"

#include <cmath>

namespace {

struct ExportTest : TrainFixture {
    static Model random_model(int hidden) {
        Model model = make_model(hidden);
        randomise(model, 21);
        return model;
    }
    ExportReport write_and_load(const Model& model) {
        ExportReport report;
        EXPECT_TRUE(write_network(folder.name("net.nn"), model, report));
        copy_text(settings.nn_file, folder.name("net.nn"));
        quietly([] { load_network(); });
        EXPECT_TRUE(network.complete);
        return report;
    }
    QuantisationError compare(const Model& model) { return quantisation_error(model, records(1000), work, team); }
    std::vector<float> outputs(const Model& model) {
        fill_work(1000);
        evaluate_batch(model, work, team);
        return work.output;
    }
};

// A model with one value for all weights of a kind.
Model even_model(int hidden, float input, float bias, float output) {
    Model model = make_model(hidden);
    for (int b = 0; b < model.blocks(); ++b) {
        std::fill_n(model.block(b), INPUT_ROWS * COLUMNS, input);
        std::fill_n(model.block(b) + OUTPUT_ROW * COLUMNS, 2 * OUTPUT_ROWS * COLUMNS, output);
        std::fill_n(model.block(b) + BIAS_ROW * COLUMNS, COLUMNS, bias);
        settle_block(model, b);
    }
    return model;
}

// Multiplies all first-layer weights and biases by the one factor, the output weights by the other.
void scale(Model& model, float first_layer, float output) {
    for (int b = 0; b < model.blocks(); ++b) {
        for (int i = 0; i < PARAMETER_ROWS * COLUMNS; ++i) {
            model.block(b)[i] *= i >= OUTPUT_ROW * COLUMNS && i < BIAS_ROW * COLUMNS ? output : first_layer;
        }
        settle_block(model, b);
    }
}

// Small weights in one layer and large ones in the other too: with one factor for all units a layer's rounding would
// show.
TEST_F(ExportTest, the_engine_scores_what_the_model_scores) {
    for (const auto& [hidden, factor] : {std::pair(16, 1.0f), {64, 1.0f}, {64, 0.05f}, {64, 8.0f}, {1536, 1.0f}}) {
        Model model = random_model(hidden);
        for (int b = 0; b < model.blocks(); ++b) {  // scores of hundreds of centipawns, and buckets that differ
            for (int i = 0; i < INPUT_ROWS * COLUMNS; ++i) model.block(b)[i] = 0.1f * std::sin(static_cast<float>(i));
        }
        scale(model, factor, 2 / factor);
        const ExportReport report = write_and_load(model);
        const QuantisationError error = compare(model);
        EXPECT_EQ(1000, error.positions);
        EXPECT_LT(error.mean, 0.7) << hidden << ' ' << factor;  // a half is rounding to whole centipawns
        EXPECT_LT(error.most, 4.0) << hidden << ' ' << factor;
        // The 32-bit output sums lie within the bound of the report.
        for (const float out : outputs(model)) EXPECT_LT(std::abs(out) * 2048 * 2048 / 0x1p31f, report.output_bound);
    }
    const std::string file = folder.read("net.nn");
    EXPECT_EQ(4773912u, file.size());                                                             // 24 + 2 * 2,386,944
    const std::int16_t expected[12] = {752, 2048, 2048, 400, 2, 5, 1536, 0, 0, 5, 0x6C00, 0x24};  // 0x246C00 = 2386944
    EXPECT_EQ(0, std::memcmp(file.data(), expected, sizeof expected));

    const Model large = even_model(16, 0.25f, 0, 1.0f);  // 16 units * 2 halves * 2 pieces * 0.25 * 400: beyond 2500
    write_and_load(large);
    EXPECT_LT(compare(large).most, 0.01) << "scores stop where the engine stops";
}

// Whatever the parameters' bounds allow must fit: no sum leaves 16 bits and no output weight either.
TEST_F(ExportTest, parameters_at_their_bounds_still_fit) {
    for (const float sign : {1.0f, -1.0f}) {
        const Model model = even_model(32, sign * 10, sign * 10, sign * 10);  // settled to the bounds
        ASSERT_EQ(sign * MAX_INPUT_WEIGHT, model.weights(0)[5]);
        ASSERT_EQ(sign * MAX_BIAS, model.block(1)[BIAS_ROW * COLUMNS]);
        const ExportReport report = write_and_load(model);
        EXPECT_EQ(32, report.scaled_units);
        EXPECT_LE(report.largest_sum, 32767);
        EXPECT_GT(report.largest_sum, 32600);  // nor is room given away
        EXPECT_LT(report.largest_output_weight, 32767);
        EXPECT_GT(report.largest_output_weight, 31000);
        // 63 equal terms (30 old and new pieces a side, two kings, the bias) of one integer weight.
        EXPECT_EQ(63 * std::abs(int{network.input_weights[0]}), report.largest_sum);
        EXPECT_EQ(sign > 0, report.output_bound > 1);  // 32 such units overflow the output sum, unless they leak
    }
}

// 32 pieces at most count for each half: with equal weights the worst sum is 16 units * 2 halves * 32 * 0.25 * 1 times
// 2048^2, and a 64th of it where sums are below zero.
TEST_F(ExportTest, the_bound_of_the_output_sum_is_exact_for_equal_weights) {
    constexpr double UNIT = 16 * 2 * 2048 * 2048 / 0x1p31;
    const struct {
        float input, bias;
        double expected;
    } cases[] = {{0.25f, 0, 8 * UNIT}, {-0.25f, 0, 8 * UNIT / 64}, {0, 0.5f, 0.5 * UNIT}};
    for (const auto& c : cases) {
        for (const float output : {1.0f, -1.0f}) {
            const double bound = write_and_load(even_model(16, c.input, c.bias, output)).output_bound;
            EXPECT_NEAR(c.expected, bound, 0.002 * c.expected) << c.input << ' ' << output;
        }
    }
}

TEST_F(ExportTest, a_network_can_be_trained_further_even_with_large_weights) {
    write_and_load(random_model(64));
    Model again = make_model(64);
    ASSERT_TRUE(import_network(again));
    EXPECT_LT(compare(again).most, 4.0);
    // 5000 / 2048 lies beyond the largest weight of a model: the whole unit comes down, its output weights go up.
    for (const int queen_row : {320, 768 + 320}) {
        for (int i = 0; i < 64; ++i) network.values[(queen_row + i) * network.hidden + 3] = 5000;
    }
    ASSERT_TRUE(import_network(again));
    EXPECT_EQ(MAX_INPUT_WEIGHT, again.weights(0)[320 * COLUMNS + 3]);
    EXPECT_LT(compare(again).most, 4.0);
    Model other = make_model(32);
    EXPECT_FALSE(import_network(other));
}

// Two networks that differ in their output weights alone have the mean of both scores, whatever each unit's size.
TEST_F(ExportTest, the_mean_of_networks_scores_the_mean) {
    Model models[] = {random_model(64), random_model(64)};
    scale(models[1], 0.5f, 3 / 0.5f);
    const auto single = outputs(models[0]);
    const auto mean = outputs(mean_model(models));
    for (std::size_t i = 0; i < single.size(); ++i) {
        EXPECT_NEAR(2 * single[i], mean[i], 0.01 + 0.01 * std::abs(single[i]));
    }
    EXPECT_EQ(single, outputs(mean_model(std::span(models).first(1))));
}

}  // namespace
