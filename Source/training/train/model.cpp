// Initial values, bounds and the plain formula of the single-precision network.
#include "training/train/model.h"

#include "training/random.h"

#include <algorithm>
#include <cmath>

namespace {

// A uniform number in -1..1.
float next_signed(Random& random) {
    return static_cast<float>(static_cast<std::int64_t>(next_random(random))) * 0x1p-63f;
}

void clamp_rows(float* parameter, int first_row, int rows, float bound) {
    float* const begin = parameter + static_cast<std::ptrdiff_t>(first_row) * COLUMNS;
    for (int i = 0; i < rows * COLUMNS; ++i) begin[i] = std::clamp(begin[i], -bound, bound);
}

}  // namespace

Model make_model(int hidden) {
    Model model;
    model.hidden = hidden;
    const auto blocks = static_cast<std::size_t>(model.blocks());
    model.parameter = AlignedArray<float>(blocks * BLOCK_PARAMETERS);
    model.weight = AlignedArray<float>(blocks * BLOCK_WEIGHTS);
    return model;
}

void randomise(Model& model, std::uint64_t seed) {
    Random random{seed};
    constexpr float TYPICAL_PIECES = 24;
    const float input = 0.5f / std::sqrt(TYPICAL_PIECES);
    const float output = 1.0f / std::sqrt(2.0f * static_cast<float>(model.hidden));
    for (int b = 0; b < model.blocks(); ++b) {
        float* const p = model.block(b);
        const auto fill = [&](int first_row, int rows, float size) {
            for (int i = first_row * COLUMNS; i < (first_row + rows) * COLUMNS; ++i) p[i] = size * next_signed(random);
        };
        std::fill_n(p, static_cast<std::size_t>(INPUT_ROWS) * COLUMNS, 0.0f);
        fill(SHARED_ROW, BUCKET_INPUTS, input);
        fill(OUTPUT_ROW, 2 * OUTPUT_ROWS, output);
        fill(BIAS_ROW, 1, input);
        settle_block(model, b);
    }
}

void settle_block(Model& model, int block) {
    float* const p = model.block(block);
    float* const w = model.weights(block);
    const float* const shared = p + static_cast<std::size_t>(SHARED_ROW) * COLUMNS;
    for (int bucket = 0; bucket < KING_BUCKETS; ++bucket) {
        constexpr int COUNT = BUCKET_INPUTS * COLUMNS;
        float* const own = p + static_cast<std::ptrdiff_t>(bucket) * COUNT;
        float* const sum = w + static_cast<std::ptrdiff_t>(bucket) * COUNT;
        for (int i = 0; i < COUNT; ++i) {
            const float total = own[i] + shared[i];
            const float bounded = std::clamp(total, -MAX_INPUT_WEIGHT, MAX_INPUT_WEIGHT);
            own[i] -= total - bounded;
            sum[i] = bounded;
        }
    }
    clamp_rows(p, OUTPUT_ROW, 2 * OUTPUT_ROWS, MAX_OUTPUT_WEIGHT);
    clamp_rows(p, BIAS_ROW, 1, MAX_BIAS);
}

double plain_output(const Model& model, const Features& features) {
    double out = 0;
    for (int i = 0; i < model.hidden; ++i) {
        const int block = i / COLUMNS;
        const int column = i % COLUMNS;
        const float* const p = model.block(block) + column;
        for (int half = 0; half < 2; ++half) {
            double x = static_cast<double>(p[static_cast<std::ptrdiff_t>(BIAS_ROW) * COLUMNS]);
            for (int k = 0; k < features.pieces; ++k) {
                x += static_cast<double>(model.weights(block)[features.row[half][k] * COLUMNS + column]);
            }
            const double active = x >= 0 ? x : x / 64;
            out += active * static_cast<double>(p[(OUTPUT_ROW + 2 * features.output_row + half) * COLUMNS]);
        }
    }
    return out;
}
