// The reverse of the export: units whose weights lie beyond the training bounds are brought down by a factor that their
// output weights take over.
#include "training/train/import_network.h"

#include "eval/network.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr int OPPOSITE_WINGS_FORMAT = 757;

// Largest absolute value of `count` values, `stride` apart.
float largest(const std::int16_t* value, int count, std::ptrdiff_t stride) {
    int most = 0;
    for (int i = 0; i < count; ++i) most = std::max(most, std::abs(int{value[i * stride]}));
    return static_cast<float>(most);
}

void import_unit(Model& model, int unit) {
    const std::ptrdiff_t hidden = network.hidden;
    float* const column = model.block(unit / COLUMNS) + unit % COLUMNS;
    const std::int16_t* const input = network.input_weights + unit;
    const auto scale = static_cast<float>(network.quantisation);
    const float bias = 0.5f * static_cast<float>(network.biases[unit] + network.biases[hidden + unit]);

    float down = std::max({scale, largest(input, INPUT_ROWS, hidden) / MAX_INPUT_WEIGHT, std::abs(bias) / MAX_BIAS});
    for (int row = 0; row < INPUT_ROWS; ++row) column[row * COLUMNS] = input[row * hidden] / down;
    for (int row = 0; row < BUCKET_INPUTS; ++row) column[(SHARED_ROW + row) * COLUMNS] = 0;
    column[BIAS_ROW * COLUMNS] = bias / down;
    const float up = CENTIPAWNS / static_cast<float>(network.scale) * scale * scale / down;
    for (int row = 0; row < 2 * OUTPUT_ROWS; ++row) {
        column[(OUTPUT_ROW + row) * COLUMNS] = network.output_weights[row * hidden + unit] / up;
    }
}

// Length of the vector of a unit's first-layer weights.
double unit_size(const Model& model, int unit) {
    const float* const weight = model.weights(unit / COLUMNS) + unit % COLUMNS;
    double sum = 0;
    for (int row = 0; row < INPUT_ROWS; ++row) sum += std::pow(weight[row * COLUMNS], 2);
    return std::sqrt(sum);
}

float size_ratio(const Model& wanted, const Model& model, int unit) {
    const double size = unit_size(model, unit);
    return size > 0 ? static_cast<float>(unit_size(wanted, unit) / size) : 1.0f;
}

// Adds a share of a unit whose first layer grows by the factor and whose output weights shrink by it.
void add_unit(Model& sum, const Model& model, int unit, float share, float factor) {
    float* const to = sum.block(unit / COLUMNS) + unit % COLUMNS;
    const float* const from = model.block(unit / COLUMNS) + unit % COLUMNS;
    for (int row = 0; row < PARAMETER_ROWS; ++row) {
        const bool is_output = row >= OUTPUT_ROW && row < BIAS_ROW;
        to[row * COLUMNS] += share * from[row * COLUMNS] * (is_output ? 1 / factor : factor);
    }
}

}  // namespace

bool import_network(Model& model) {
    if (!network.complete || network.hidden != model.hidden || network.king_buckets != KING_BUCKETS) return false;
    if (network.format_id == OPPOSITE_WINGS_FORMAT || network.scale == 0) return false;
    for (int unit = 0; unit < model.hidden; ++unit) import_unit(model, unit);
    for (int b = 0; b < model.blocks(); ++b) settle_block(model, b);
    return true;
}

Model mean_model(std::span<const Model> models) {
    const Model& first = models.front();
    const float share = 1.0f / static_cast<float>(models.size());
    Model mean = make_model(first.hidden);
    for (const Model& model : models) {
        for (int unit = 0; unit < mean.hidden; ++unit)
            add_unit(mean, model, unit, share, size_ratio(first, model, unit));
    }
    for (int b = 0; b < mean.blocks(); ++b) settle_block(mean, b);
    return mean;
}
