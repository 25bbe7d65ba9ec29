// Both kernels gather: forward adds up the weight rows of a position, backward the hidden gradients of a row's users.
// What is gathered lies in the nearest caches, and the sums stay in registers. Two sets of them are used by turns: an
// addition has to wait for the one before only in its own set.
#include "training/train/kernels.h"

#include "training/train/float_vector.h"

#include <algorithm>

namespace {

constexpr int VECTORS = COLUMNS / FLOAT_LANES;

// One row of a block in registers.
struct Row {
    FloatVector v[VECTORS];

    void add(const float* row) {
        for (int i = 0; i < VECTORS; ++i) v[i] += load_vector(row + i * FLOAT_LANES);
    }
    void add(const Row& other) {
        for (int i = 0; i < VECTORS; ++i) v[i] += other.v[i];
    }
    void store(float* row) const {
        for (int i = 0; i < VECTORS; ++i) store_vector(row + i * FLOAT_LANES, v[i]);
    }
    void add_to(float* row) const {
        for (int i = 0; i < VECTORS; ++i) {
            store_vector(row + i * FLOAT_LANES, load_vector(row + i * FLOAT_LANES) + v[i]);
        }
    }
};

Row load_row(const float* row) {
    Row result;
    for (int i = 0; i < VECTORS; ++i) result.v[i] = load_vector(row + i * FLOAT_LANES);
    return result;
}

inline FloatVector activate(FloatVector x) {
    return x >= 0 ? x : x * LEAK;
}
// The factor by which a gradient shrinks on its way back through the activation.
inline FloatVector pass_back(FloatVector gradient, FloatVector x) {
    return x >= 0 ? gradient : gradient * LEAK;
}

// Positions that follow each other with the same output row: their gradient stays in registers. Writes their hidden
// gradients and adds those of the biases.
void hidden_gradients_of_run(const float* output, const ShortFloat* sums, const float* slope, int positions,
                             float* hidden, Row& bias, float* output_gradient) {
    for (int half = 0; half < 2; ++half) {
        const Row weight = load_row(output + half * COLUMNS);
        Row gradient{};
        for (int n = 0; n < positions; ++n) {
            const FloatVector d = FloatVector{} + slope[n];
            const std::size_t at = static_cast<std::size_t>(2 * n + half) * COLUMNS;
            for (int i = 0; i < VECTORS; ++i) {
                const FloatVector x = load_short(sums + at + i * FLOAT_LANES);
                const FloatVector g = pass_back(d * weight.v[i], x);
                store_vector(hidden + at + i * FLOAT_LANES, g);
                bias.v[i] += g;
                gradient.v[i] += d * activate(x);
            }
        }
        gradient.add_to(output_gradient + half * COLUMNS);
    }
}

void hidden_gradients(const float* block, const Batch& batch, const Tile& tile, const ShortFloat* sums,
                      const float* slope, float* hidden, float* gradient) {
    Row bias{};
    const auto output_row = [&](int n) {
        return batch.position[static_cast<std::size_t>(tile.first) + static_cast<std::size_t>(n)].output_row;
    };
    for (int start = 0, end; start < tile.positions; start = end) {
        for (end = start + 1; end < tile.positions && output_row(end) == output_row(start);) ++end;
        const std::ptrdiff_t output = (OUTPUT_ROW + 2 * output_row(start)) * COLUMNS;
        const int n = tile.first + start;
        hidden_gradients_of_run(block + output, sums + static_cast<std::size_t>(n) * SUMS_PER_POSITION, slope + n,
                                end - start, hidden + static_cast<std::size_t>(start) * SUMS_PER_POSITION, bias,
                                gradient + output);
    }
    bias.add_to(gradient + BIAS_ROW * COLUMNS);
}

void gather_rows(const Tile& tile, const float* hidden, float* gradient) {
    const std::uint16_t* user = tile.user;
    for (int i = 0; i < tile.rows; ++i) {
        float* const row = gradient + tile.row[i] * COLUMNS;
        Row sum = load_row(row);
        Row other{};
        const std::uint16_t* const end = user + tile.users[i];
        for (; end - user >= 2; user += 2) {
            sum.add(hidden + user[0] * COLUMNS);
            other.add(hidden + user[1] * COLUMNS);
        }
        if (user != end) sum.add(hidden + *user++ * COLUMNS);
        sum.add(other);
        sum.store(row);
    }
}

// First-layer sums of one perspective.
Row gather_sums(const float* weight, const std::uint16_t* row, int pieces, const float* bias) {
    Row sum = load_row(bias);
    Row other{};
    int k = 0;
    for (; k + 2 <= pieces; k += 2) {
        sum.add(weight + row[k] * COLUMNS);
        other.add(weight + row[k + 1] * COLUMNS);
    }
    if (k < pieces) sum.add(weight + row[k] * COLUMNS);
    sum.add(other);
    return sum;
}

}  // namespace

void forward_block(const Model& model, int block, const Batch& batch, ShortFloat* sums, float* share) {
    const float* const parameter = model.block(block);
    const float* const weight = model.weights(block);
    const float* const bias = parameter + BIAS_ROW * COLUMNS;
    for (int n = 0; n < batch.size; ++n) {
        const Features& features = batch.position[static_cast<std::size_t>(n)];
        const float* const output = parameter + (OUTPUT_ROW + 2 * features.output_row) * COLUMNS;
        FloatVector out{};
        for (int half = 0; half < 2; ++half) {
            const Row sum = gather_sums(weight, features.row[half], features.pieces, bias);
            for (int i = 0; i < VECTORS; ++i) {
                out += activate(sum.v[i]) * load_vector(output + half * COLUMNS + i * FLOAT_LANES);
            }
            if (!sums) continue;
            ShortFloat* const to = sums + static_cast<std::size_t>(2 * n + half) * COLUMNS;
            for (int i = 0; i < VECTORS; ++i) store_short(to + i * FLOAT_LANES, sum.v[i]);
        }
        share[n] = sum_lanes(out);
    }
}

void backward_block(const Model& model, int block, const Batch& batch, const ShortFloat* sums, const float* slope,
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
