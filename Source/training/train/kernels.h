// The work on one block of hidden columns: forward through a batch, and backward to the gradient of the block.
#pragma once

#include "training/train/batch.h"
#include "training/train/float_vector.h"
#include "training/train/model.h"

#include <cstddef>

// First-layer sums of a position in a block: COLUMNS of the side to move, then COLUMNS of the other side. They wait for
// the backward pass in 16 bits, half the memory traffic: only their signs and the gradient of the output weights come
// from them.
constexpr std::size_t SUMS_PER_POSITION = 2 * COLUMNS;

// Writes the sums of every position of the batch (SUMS_PER_POSITION each; skipped where `sums` is null) and the
// block's share of its output.
void forward_block(const Model& model, int block, const Batch& batch, ShortFloat* sums, float* share);

// Gradient of the block's parameters (BLOCK_PARAMETERS values, written) from the sums of forward_block and the
// derivative of the loss by each position's output. The shared rows get the sum of both buckets when `shared`, else
// zero.
void backward_block(const Model& model, int block, const Batch& batch, const ShortFloat* sums, const float* slope,
                    bool shared, float* gradient);
