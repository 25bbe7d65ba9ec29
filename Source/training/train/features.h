// From a training record to the inputs of the network: rows of the first layer, output row and target.
#pragma once

#include "tools/training_record.h"

#include <cstdint>

constexpr int BUCKET_INPUTS = 768;  // of one king bucket
constexpr int KING_BUCKETS = 2;
constexpr int INPUT_ROWS = KING_BUCKETS * BUCKET_INPUTS;
constexpr int OUTPUT_ROWS = 5;  // output rows in use, chosen by material
constexpr int MAX_PIECES = 32;

struct Features {
    std::uint16_t row[2][MAX_PIECES];  // first-layer rows seen by the side to move, then by the other side
    std::uint8_t pieces;               // entries in use, the same for both
    std::uint8_t output_row;
    float target;  // expected result for the side to move, 0..1
};

// Everything but the target. False for a record that no playable position has: a damaged byte, not one king a side,
// more than 16 pieces a side or a pawn on the first or last rank.
bool read_features(const TrainingRecord& record, Features& features);
