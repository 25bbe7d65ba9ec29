// Both kernels gather: forward adds up the weight rows of a position, backward the hidden gradients of a row's users.
// Sums stay in registers, and what is gathered stays in the nearest caches.
#include "tools/train/kernels.h"

#include "tools/train/float_vector.h"

#include <algorithm>

namespace {

constexpr int VECTORS = COLUMNS / FLOAT_LANES;

inline FloatVector activate(FloatVector x) {
    return x >= 0 ? x : x * LEAK;
}
// The factor by which a gradient shrinks on its way back through the activation.
inline FloatVector pass_back(FloatVector gradient, FloatVector x) {
    return x >= 0 ? gradient : gradient * LEAK;
}

// Hidden gradients of a tile's positions; adds the gradients of the output rows and of the biases.
void hidden_gradients(const float* block, const Batch& batch, const Tile& tile, const float* sums, const float* slope,
                      float* hidden, float* gradient) {
    FloatVector bias[VECTORS] = {};
    for (int i = 0; i < tile.positions; ++i) {
        const int n = tile.first + i;
        const FloatVector d = FloatVector{} + slope[n];
        const std::ptrdiff_t output =
            (OUTPUT_ROW + 2 * batch.position[static_cast<std::size_t>(n)].output_row) * COLUMNS;
        for (int v = 0; v < 2 * VECTORS; ++v) {
            const int at = v * FLOAT_LANES;
            const FloatVector x = load_vector(sums + static_cast<std::size_t>(n) * SUMS_PER_POSITION + at);
            const FloatVector g = pass_back(d * load_vector(block + output + at), x);
            store_vector(hidden + static_cast<std::size_t>(i) * SUMS_PER_POSITION + at, g);
            bias[v % VECTORS] += g;
            store_vector(gradient + output + at, load_vector(gradient + output + at) + d * activate(x));
        }
    }
    for (int v = 0; v < VECTORS; ++v) {
        float* const at = gradient + BIAS_ROW * COLUMNS + v * FLOAT_LANES;
        store_vector(at, load_vector(at) + bias[v]);
    }
}

void gather_rows(const Tile& tile, const float* hidden, float* gradient) {
    const std::uint16_t* user = tile.user;
    for (int i = 0; i < tile.rows; ++i) {
        float* const row = gradient + tile.row[i] * COLUMNS;
        FloatVector sum[VECTORS];
        for (int v = 0; v < VECTORS; ++v) sum[v] = load_vector(row + v * FLOAT_LANES);
        for (const std::uint16_t* const end = user + tile.users[i]; user != end; ++user) {
            const float* const from = hidden + *user * COLUMNS;
            for (int v = 0; v < VECTORS; ++v) sum[v] += load_vector(from + v * FLOAT_LANES);
        }
        for (int v = 0; v < VECTORS; ++v) store_vector(row + v * FLOAT_LANES, sum[v]);
    }
}

}  // namespace

void forward_block(const Model& model, int block, const Batch& batch, float* sums, float* share) {
    const float* const parameter = model.block(block);
    const float* const weight = model.weights(block);
    const float* const bias = parameter + BIAS_ROW * COLUMNS;
    for (int n = 0; n < batch.size; ++n) {
        const Features& features = batch.position[static_cast<std::size_t>(n)];
        FloatVector sum[2][VECTORS];
        for (int v = 0; v < VECTORS; ++v) sum[0][v] = sum[1][v] = load_vector(bias + v * FLOAT_LANES);
        for (int k = 0; k < features.pieces; ++k) {
            for (int half = 0; half < 2; ++half) {
                const float* const row = weight + features.row[half][k] * COLUMNS;
                for (int v = 0; v < VECTORS; ++v) sum[half][v] += load_vector(row + v * FLOAT_LANES);
            }
        }
        const float* const output = parameter + (OUTPUT_ROW + 2 * features.output_row) * COLUMNS;
        FloatVector out{};
        for (int half = 0; half < 2; ++half) {
            for (int v = 0; v < VECTORS; ++v) {
                out += activate(sum[half][v]) * load_vector(output + half * COLUMNS + v * FLOAT_LANES);
            }
        }
        share[n] = sum_lanes(out);
        if (!sums) continue;
        float* const to = sums + static_cast<std::size_t>(n) * SUMS_PER_POSITION;
        for (int half = 0; half < 2; ++half) {
            for (int v = 0; v < VECTORS; ++v) store_vector(to + half * COLUMNS + v * FLOAT_LANES, sum[half][v]);
        }
    }
}

void backward_block(const Model& model, int block, const Batch& batch, const float* sums, const float* slope,
                    bool shared, float* gradient) {
    alignas(64) float hidden[TILE_POSITIONS * SUMS_PER_POSITION];
    std::fill_n(gradient, BLOCK_PARAMETERS, 0.0f);
    for (const Tile& tile : batch.tile) {
        hidden_gradients(model.block(block), batch, tile, sums, slope, hidden, gradient);
        gather_rows(tile, hidden, gradient);
    }
    if (!shared) return;
    float* const to = gradient + SHARED_ROW * COLUMNS;
    for (int bucket = 0; bucket < KING_BUCKETS; ++bucket) {
        const float* const from = gradient + bucket * BUCKET_INPUTS * COLUMNS;
        for (int i = 0; i < BUCKET_INPUTS * COLUMNS; ++i) to[i] += from[i];
    }
}
