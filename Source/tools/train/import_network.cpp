// The reverse of the export: units whose weights lie beyond the training bounds are brought down by a factor that their
// output weights take over.
#include "tools/train/import_network.h"

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

}  // namespace

bool import_network(Model& model) {
    if (!network.complete || network.hidden != model.hidden || network.king_buckets != KING_BUCKETS) return false;
    if (network.format_id == OPPOSITE_WINGS_FORMAT || network.scale == 0) return false;
    for (int unit = 0; unit < model.hidden; ++unit) import_unit(model, unit);
    for (int b = 0; b < model.blocks(); ++b) settle_block(model, b);
    return true;
}
