// A batch of positions in the order and the shapes that the kernels walk through.
#pragma once

#include "training/train/features.h"
#include "training/train/thread_team.h"

#include <cstdint>
#include <functional>
#include <vector>

// Positions whose hidden gradients are collected into first-layer rows together: small enough for their gradients
// in one block of hidden columns to stay in the first-level cache.
constexpr int TILE_POSITIONS = 256;

// The first-layer rows in use in a tile, and who uses them: the transpose of the positions' row lists.
struct Tile {
    int first;  // position
    int positions;
    int rows;                         // in use
    std::uint16_t row[INPUT_ROWS];    // by increasing number of users, which keeps the inner loops predictable
    std::uint16_t users[INPUT_ROWS];  // number of users of row[i]
    std::uint16_t user[TILE_POSITIONS * 2 * MAX_PIECES];  // 2 * position in the tile + half, row after row
};

struct Batch {
    int size = 0;
    std::vector<Features> position;    // by number of pieces and output row, for the same reason
    std::vector<std::int32_t> source;  // number of the record that position[i] comes from
    std::vector<Tile> tile;
    std::vector<Features> unsorted;  // scratch
};

// Reads the records that record_at(0) ... record_at(size - 1) give. They must be well-formed (read_features).
// `result_share` is that of the targets.
void fill_batch(Batch& batch, int size, const std::function<const TrainingRecord&(int)>& record_at, double result_share,
                ThreadTeam& team);
