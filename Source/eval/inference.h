// Network inference: the incrementally updated first layer, the activation and the output neuron.
#pragma once

#include "position/position.h"

#include <cstdint>

// Mirror and bucket of both perspectives: what decides which inputs a position has.
struct Perspectives {
    std::uint16_t mirror[2];         // exclusive-or applied to squares seen by each perspective
    std::uint32_t bucket_offset[2];  // king bucket * 768

    bool operator==(const Perspectives&) const = default;
};

// A position that a thread evaluated, with its raw first-layer sums: a later evaluation adds and subtracts only the
// differences.
struct AccumulatorCache {
    std::int16_t* sums;  // 2H (White's perspective, then Black's), in the state's buffer
    Bitboard pieces[2][8];
    Perspectives view;
};

// The last position evaluated at each ply; deep lines share a place with plies nearer the root.
constexpr int ACCUMULATORS = 16;

struct NetworkState {
    std::int16_t* buffer;                        // all sums, then 2H activated values; owned, 64-byte aligned
    AccumulatorCache accumulator[ACCUMULATORS];  // by ply % ACCUMULATORS
    AccumulatorCache* last;                      // that of the last evaluation
    std::int32_t hidden;                         // width that the buffer was made for
    std::uint32_t generation;                    // network generation that the sums belong to
    std::int16_t output_bucket;                  // 0..4, of the last evaluation
    const std::int16_t* output_row;              // the output row that was used
};

// Centipawns for the side to move, -2500..2500, by the loaded network. `ply` is the distance from the root, at least 0:
// below 2 the sums are always refreshed, from 2 on all positions of the state have to be playable. The buffer is
// allocated at a thread's first call (and again after a network of another width was loaded); if that fails prints
// "error initializing NN!" and returns -10001.
int nn_evaluate(NetworkState& state, const Position& position, int ply);

// The 2H activated values of the last evaluation (White's perspective, then Black's), for reports and statistics. The
// evaluation itself only multiplies them. Valid until the next call; needs a successful nn_evaluate before.
const std::int16_t* activated_sums(NetworkState& state);

// Frees the buffer.
void free_network_state(NetworkState& state);
