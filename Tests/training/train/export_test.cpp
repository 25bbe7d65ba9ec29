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
};

void set_all(Model& model, float input, float bias, float output) {
    for (int b = 0; b < model.blocks(); ++b) {
        float* const p = model.block(b);
        std::fill_n(p, INPUT_ROWS * COLUMNS, input);
        std::fill_n(p + SHARED_ROW * COLUMNS, BUCKET_INPUTS * COLUMNS, 0.0f);
        std::fill_n(p + OUTPUT_ROW * COLUMNS, 2 * OUTPUT_ROWS * COLUMNS, output);
        std::fill_n(p + BIAS_ROW * COLUMNS, COLUMNS, bias);
        settle_block(model, b);
    }
}

TEST_F(ExportTest, the_file_has_the_size_and_the_header_of_the_format) {
    write_and_load(make_model(1536));
    const std::string file = folder.read("net.nn");
    EXPECT_EQ(4773912u, file.size());                                                             // 24 + 2 * 2,386,944
    const std::int16_t expected[12] = {752, 2048, 2048, 400, 2, 5, 1536, 0, 0, 5, 0x6C00, 0x24};  // 0x246C00 = 2386944
    EXPECT_EQ(0, std::memcmp(file.data(), expected, sizeof expected));
}

TEST_F(ExportTest, the_engine_scores_what_the_model_scores) {
    for (const int hidden : {16, 64, 1536}) {
        Model model = random_model(hidden);
        for (int b = 0; b < model.blocks(); ++b) {  // scores of hundreds of centipawns, and buckets that differ
            for (int i = 0; i < INPUT_ROWS * COLUMNS; ++i) model.block(b)[i] = 0.1f * std::sin(static_cast<float>(i));
            for (int i = OUTPUT_ROW * COLUMNS; i < BIAS_ROW * COLUMNS; ++i) model.block(b)[i] *= 2;
            settle_block(model, b);
        }
        const ExportReport report = write_and_load(model);
        const QuantisationError error = compare(model);
        EXPECT_EQ(1000, error.positions);
        EXPECT_LT(error.mean, 1.0) << hidden;  // a half is rounding to whole centipawns
        EXPECT_LT(error.most, 4.0) << hidden;
        // The 32-bit output sums lie within the bound of the report.
        fill_work(1000);
        evaluate_batch(model, work, team);
        for (const float output : work.output) EXPECT_LT(std::abs(output) * 2048 * 2048 / 0x1p31f, report.output_bound);
    }
    Model model = make_model(16);
    set_all(model, 0.25f, 0, 1.0f);  // 16 units * 2 halves * 2 pieces * 0.25 * 400: beyond 2500 centipawns
    write_and_load(model);
    EXPECT_LT(compare(model).most, 0.01) << "scores stop where the engine stops";
}

// Whatever the parameters' bounds allow must fit: no sum leaves 16 bits and no output weight either.
TEST_F(ExportTest, parameters_at_their_bounds_still_fit) {
    for (const float sign : {1.0f, -1.0f}) {
        Model model = make_model(32);
        set_all(model, sign * 10, sign * 10, sign * 10);  // settled to the bounds
        ASSERT_EQ(sign * MAX_INPUT_WEIGHT, model.weights(0)[5]);
        ASSERT_EQ(sign * MAX_BIAS, model.block(1)[BIAS_ROW * COLUMNS]);
        const ExportReport report = write_and_load(model);
        EXPECT_EQ(32, report.scaled_units);
        EXPECT_LE(report.largest_sum, 32767);
        EXPECT_GT(report.largest_sum, 32000);  // nor is room given away
        EXPECT_LT(report.largest_output_weight, 32767);
        EXPECT_GT(report.largest_output_weight, 32000);
        // 39 equal terms (18 + 18 pieces, two kings, the bias) of one integer weight must stay below 2^15.
        EXPECT_LE(39 * std::abs(int{network.input_weights[0]}), 32767);
        EXPECT_EQ(sign > 0, report.output_bound > 1);  // 32 such units overflow the output sum, unless they leak
    }
}

// 38 pieces at most count for each half: with equal weights the worst sum is 16 units * 2 halves * 38 * 0.25 * 1 times
// 2048^2, and a 64th of it where sums are below zero.
TEST_F(ExportTest, the_bound_of_the_output_sum_is_exact_for_equal_weights) {
    constexpr double WORST = 16 * 2 * 38 * 0.25 * 2048 * 2048 / 0x1p31;
    for (const float output : {1.0f, -1.0f}) {
        Model model = make_model(16);
        set_all(model, 0.25f, 0, output);
        EXPECT_NEAR(WORST, write_and_load(model).output_bound, 0.001 * WORST) << output;
        set_all(model, -0.25f, 0, output);
        EXPECT_NEAR(WORST / 64, write_and_load(model).output_bound, 0.001 * WORST) << output;
        set_all(model, 0, 0.5f, output);
        EXPECT_NEAR(16 * 2 * 0.5 * 2048 * 2048 / 0x1p31, write_and_load(model).output_bound, 0.001 * WORST) << output;
    }
}

// Small weights on one side and large ones on the other: with one factor for all units one side's rounding would show.
TEST_F(ExportTest, lopsided_units_keep_their_accuracy) {
    Model even = random_model(64);
    write_and_load(even);
    const double mean = compare(even).mean;
    for (const float factor : {0.05f, 8.0f}) {
        Model model = random_model(64);
        for (int b = 0; b < model.blocks(); ++b) {
            float* const p = model.block(b);
            for (int i = 0; i < OUTPUT_ROW * COLUMNS; ++i) p[i] *= factor;
            for (int i = OUTPUT_ROW * COLUMNS; i < BIAS_ROW * COLUMNS; ++i) p[i] /= factor;
            for (int i = BIAS_ROW * COLUMNS; i < PARAMETER_ROWS * COLUMNS; ++i) p[i] *= factor;
            settle_block(model, b);
        }
        write_and_load(model);
        EXPECT_NEAR(mean, compare(model).mean, 0.1) << factor;
    }
}

// The bound of a unit against piece sets chosen to be as bad as possible for it, by the file's own values.
TEST_F(ExportTest, no_piece_set_exceeds_the_bound_of_a_unit) {
    Model model = random_model(16);
    for (int i = 0; i < INPUT_ROWS * COLUMNS; ++i) model.block(0)[i] += 0.7f * std::sin(static_cast<float>(i * i));
    settle_block(model, 0);
    const ExportReport report = write_and_load(model);
    int worst = 0;
    for (int kind = 0; kind < 64; ++kind) {
        const int unit = kind / 4;
        const int bucket = kind / 2 % 2;
        const int sign = kind % 2 ? 1 : -1;
        const auto value = [&](int input) {
            return sign * network.input_weights[(bucket * 768 + input) * network.hidden + unit];
        };
        int sum = sign * network.biases[unit];
        for (const int side : {0, 384}) {
            int king = value(side);
            std::vector<int> best(64, -40000);
            for (int square = 0; square < 64; ++square) {
                king = std::max(king, value(side + square));
                const bool pawns = square >= 8 && square < 56;
                for (int type = pawns ? 64 : 128; type <= 320; type += 64) {
                    best[square] = std::max(best[square], value(side + type + square));
                }
            }
            std::sort(best.rbegin(), best.rend());
            sum += king;
            for (int i = 0; i < 15; ++i) sum += best[i];
        }
        worst = std::max(worst, sum);
    }
    EXPECT_LE(worst, report.largest_sum);
    EXPECT_LE(report.largest_sum, 32767);
    EXPECT_GT(worst, report.largest_sum * 3 / 4);  // the bound is no fantasy
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
    std::vector<Model> models;
    for (const float factor : {1.0f, 0.5f}) {
        models.push_back(random_model(64));
        for (int b = 0; b < models.back().blocks(); ++b) {
            float* const p = models.back().block(b);
            const float more = factor == 1 ? 1.0f : 3.0f;
            for (int i = 0; i < PARAMETER_ROWS * COLUMNS; ++i) {
                p[i] *= i >= OUTPUT_ROW * COLUMNS && i < BIAS_ROW * COLUMNS ? more / factor : factor;
            }
            settle_block(models.back(), b);
        }
    }
    const auto outputs = [&](const Model& model) {
        fill_work(200);
        evaluate_batch(model, work, team);
        return work.output;
    };
    const auto single = outputs(models[0]);
    const auto mean = outputs(mean_model(models));
    for (std::size_t i = 0; i < single.size(); ++i)
        EXPECT_NEAR(2 * single[i], mean[i], 0.01 + 0.01 * std::abs(single[i]));
    EXPECT_EQ(single, outputs(mean_model(std::span(models).first(1))));
}

}  // namespace
