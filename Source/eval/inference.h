// Network inference: the incrementally updated first layer, the activation and the output neuron.
#pragma once

#include "position/position.h"

#include <cstdint>

// Perspectives, buckets and bitboards of the position that a thread evaluated last, with its raw first-layer
// sums: the next evaluation adds and subtracts only the differences.
struct AccumulatorCache {
    std::int16_t* saved;  // 2H raw sums (White's perspective, then Black's); owned, 64-byte aligned
    Bitboard pieces[2][7];
    std::uint16_t mirror[2];         // exclusive-or applied to squares seen by each perspective
    std::uint32_t bucket_offset[2];  // king bucket * 768
};

struct NetworkState {
    std::int16_t* accumulator;  // 2H values, filled by activated_sums; owned, 64-byte aligned
    AccumulatorCache cache;
    std::int32_t hidden;             // width that the buffers were made for
    std::uint32_t generation;        // network generation that the saved sums belong to
    std::int16_t output_bucket;      // 0..4, of the last evaluation
    const std::int16_t* output_row;  // the output row that was used
};

// Centipawns for the side to move, -2500..2500, by the loaded network. `ply` is the distance from the root:
// below 3 the accumulator is always refreshed. The buffers are allocated at a thread's first call (and again
// after a network of another width was loaded); if that fails prints "error initializing NN!" and returns -10001.
int nn_evaluate(NetworkState& state, const Position& position, int ply);

// The 2H activated values of the last evaluation (White's perspective, then Black's), for reports and statistics. The
// evaluation itself only multiplies them. Valid until the next call; needs a successful nn_evaluate before.
const std::int16_t* activated_sums(NetworkState& state);

// Frees the buffers.
void free_network_state(NetworkState& state);
