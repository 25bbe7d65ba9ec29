// The network file against the model and against the engine's own inference, and the bounds of its sums.
#include "training/train/export_network.h"

#include "eval/network.h"
#include "train_fixture.h"
#include "training/train/import_network.h"
#include "training/train/reports.h"

#include <cmath>

namespace {

// Multiplies all parameters of each kind.
Model scaled(Model model, float first_layer, float output, float bias) {
    for (int b = 0; b < model.blocks(); ++b) {
        for (int i = 0; i < PARAMETER_ROWS * COLUMNS; ++i)
            model.block(b)[i] *= i < OUTPUT_ROW * COLUMNS ? first_layer : i < BIAS_ROW * COLUMNS ? output : bias;
        settle_block(model, b);
    }
    return model;
}

struct ExportTest : TrainFixture {
    static Model random_model(int hidden) {
        Model model = make_model(hidden);
        randomise(model, 21);
        return model;
    }
    // One value for all weights of a kind; a first-layer weight is the sum of two parameters.
    static Model even_model(int hidden, float input, float bias, float output) {
        Model model = make_model(hidden);
        std::fill_n(model.parameter.data(), model.parameter.size(), 1.0f);
        return scaled(std::move(model), input / 2, output, bias);
    }
    ExportReport write_and_load(const Model& model) {
        ExportReport report;
        copy_text(settings.nn_file, folder.name("net.nn"));
        EXPECT_TRUE(write_network(settings.nn_file, model, report));
        printed(load_network);
        return report;
    }
    QuantisationError compare(const Model& model) { return quantisation_error(model, records(1000), work, team); }
    std::vector<float> outputs(const Model& model) {
        fill_work(1000);
        evaluate_batch(model, work, team);
        return work.output;
    }
};

// Small weights in one layer and large ones in the other too: with one factor for all units a layer's rounding would
// show.
TEST_F(ExportTest, the_engine_scores_what_the_model_scores) {
    for (const auto& [hidden, factor] : {std::pair(16, 1.0f), {64, 1.0f}, {64, 0.05f}, {64, 8.0f}, {1536, 1.0f}}) {
        Model model = random_model(hidden);
        for (int b = 0; b < model.blocks(); ++b) {  // scores of hundreds of centipawns, and buckets that differ
            for (int i = 0; i < INPUT_ROWS * COLUMNS; ++i) model.block(b)[i] = 0.1f * std::sin(static_cast<float>(i));
        }
        model = scaled(std::move(model), factor, 2 / factor, factor);
        const ExportReport report = write_and_load(model);
        const QuantisationError error = compare(model);
        EXPECT_TRUE(error.positions == 1000 && error.mean < 0.7 && error.most < 4) << hidden << ' ' << factor;
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

// With equal weights the bounds can be counted: in the first layer 63 terms (30 old and new pieces a side, two kings,
// the bias) of one integer; in the output sum, of finished positions, 16 units * 2 halves * (32 pieces, the bias) *
// 2048^2, and a 64th of it where sums are below zero. The first two are settled to the largest parameters, which must
// fit.
TEST_F(ExportTest, bounds_are_exact_for_equal_weights) {
    constexpr double UNIT = 16 * 2 * 2048 * 2048 / 0x1p31;
    const std::tuple<float, float, float, double> cases[] = {
        {10, 10, 10, 33 * 1.98 * 2}, {-10, -10, -10, 33 * 1.98 * 2 / 64}, {0.25f, 0, 1, 8},  {0.25f, 0, -1, 8},
        {-0.25f, 0, 1, 8.0 / 64},    {-0.25f, 0, -1, 8.0 / 64},           {0, 0.5f, 1, 0.5}, {0, 0.5f, -1, 0.5}};
    for (const auto& [input, bias, output, expected] : cases) {
        SCOPED_TRACE(testing::Message() << input << ' ' << bias << ' ' << output);
        const ExportReport report = write_and_load(even_model(16, input, bias, output));
        EXPECT_NEAR(expected * UNIT, report.output_bound, 0.002 * expected * UNIT);
        EXPECT_EQ(std::abs(62 * network.input_weights[0] + network.biases[0]), report.largest_sum);
        EXPECT_EQ(input == 0 ? 0 : 16, report.scaled_units);
        EXPECT_LE(std::max(report.largest_sum, report.largest_output_weight), 32767);
        EXPECT_TRUE(bias != input || std::min(report.largest_sum, report.largest_output_weight) > 31000);
    }
}

TEST_F(ExportTest, a_network_can_be_trained_further_even_with_large_weights) {
    write_and_load(random_model(64));
    Model again = make_model(64);
    ASSERT_TRUE(import_network(again));
    EXPECT_LT(compare(again).most, 4.0);
    // 5000 / 2048 lies beyond the largest weight of a model: the whole unit comes down, its output weights go up.
    for (int i = 0; i < 64; ++i) network.values[(320 + i) * 64 + 3] = network.values[(768 + 320 + i) * 64 + 3] = 5000;
    ASSERT_TRUE(import_network(again));
    EXPECT_EQ(MAX_INPUT_WEIGHT, again.weights(0)[320 * COLUMNS + 3]);
    EXPECT_LT(compare(again).most, 4.0);
    again = make_model(32);
    EXPECT_FALSE(import_network(again));
}

// Two networks that differ in their output weights alone have the mean of both scores, whatever each unit's size.
TEST_F(ExportTest, the_mean_of_networks_scores_the_mean) {
    const Model models[] = {random_model(64), scaled(random_model(64), 0.5f, 3 / 0.5f, 0.5f)};
    const auto single = outputs(models[0]);
    const auto mean = outputs(mean_model(models));
    for (std::size_t i = 0; i < 1000; ++i) EXPECT_NEAR(2 * single[i], mean[i], 0.01 + 0.01 * std::abs(single[i]));
    EXPECT_EQ(single, outputs(mean_model(std::span(models).first(1))));
}

}  // namespace
