// The network in single precision, laid out in blocks of hidden columns so that one block's weights fit a cache.
//
// For a position with the first-layer rows r (of the side to move) and s (of the other side) and the output row o:
//     x[i] = bias[i] + sum of W[r][i]      y[i] = bias[i] + sum of W[s][i]
//     out  = sum over i of o[i] * act(x[i]) + o[H + i] * act(y[i])          act(v) = v, or v / 64 below zero
// and the score is CENTIPAWNS * out. Chess does not care for colours, so White's and Black's perspective share the
// biases as they share W; a network file holds them twice.
#pragma once

#include "training/train/aligned_array.h"
#include "training/train/features.h"

#include <cstddef>
#include <cstdint>

constexpr int COLUMNS = 16;           // hidden columns of a block: one row of a block is one cache line
constexpr float CENTIPAWNS = 400.0f;  // score of one unit of output
constexpr float LOGISTIC = 2.4f;      // expected result = 1 / (1 + e^(-LOGISTIC * out)): 0.006 a centipawn
constexpr float LEAK = 1.0f / 64.0f;  // slope of the activation below zero

// Bounds of the values, from what a network file can hold: see export_network.h.
constexpr float MAX_INPUT_WEIGHT = 1.98f;
constexpr float MAX_BIAS = 1.98f;
constexpr float MAX_OUTPUT_WEIGHT = 2.0f;

// Rows of COLUMNS parameters in a block. A first-layer weight is the sum of its own row and of a row that both king
// buckets share: what is learnt of the common king squares then helps with the rare ones.
constexpr int SHARED_ROW = INPUT_ROWS;
constexpr int OUTPUT_ROW = SHARED_ROW + BUCKET_INPUTS;  // two rows (side to move, other side) for each output row
constexpr int BIAS_ROW = OUTPUT_ROW + 2 * OUTPUT_ROWS;
constexpr int PARAMETER_ROWS = BIAS_ROW + 1;
constexpr std::size_t BLOCK_PARAMETERS = static_cast<std::size_t>(PARAMETER_ROWS) * COLUMNS;
constexpr std::size_t BLOCK_WEIGHTS = static_cast<std::size_t>(INPUT_ROWS) * COLUMNS;

struct Model {
    int hidden = 0;                 // H, a multiple of COLUMNS
    AlignedArray<float> parameter;  // block after block of PARAMETER_ROWS rows
    AlignedArray<float> weight;     // W, block after block of INPUT_ROWS rows; derived

    int blocks() const { return hidden / COLUMNS; }
    float* block(int b) { return parameter.data() + static_cast<std::size_t>(b) * BLOCK_PARAMETERS; }
    const float* block(int b) const { return parameter.data() + static_cast<std::size_t>(b) * BLOCK_PARAMETERS; }
    float* weights(int b) { return weight.data() + static_cast<std::size_t>(b) * BLOCK_WEIGHTS; }
    const float* weights(int b) const { return weight.data() + static_cast<std::size_t>(b) * BLOCK_WEIGHTS; }
};

inline float activate(float x) {
    return x >= 0 ? x : x * LEAK;
}

Model make_model(int hidden);

// Random values of a size that lets first-layer sums spread around zero; the same for the same seed.
void randomise(Model& model, std::uint64_t seed);

// Moves parameters that left the bounds back, in one block, and derives its W.
void settle_block(Model& model, int block);

// Output for one position by the formula above, in double precision: what the kernels are checked against.
double plain_output(const Model& model, const Features& features);
