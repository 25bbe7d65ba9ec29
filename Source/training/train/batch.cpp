// Fills a batch: decode, sort by piece count, transpose the row lists tile by tile.
#include "training/train/batch.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

// Number of pieces first, then output row: neighbours take the same number of turns and the same output weights.
std::size_t sort_key(const Features& features) {
    return static_cast<std::size_t>(features.pieces) * OUTPUT_ROWS + static_cast<std::size_t>(features.output_row);
}

// A stable counting sort, of the numbers alone.
void sort_positions(Batch& batch) {
    std::array<int, (MAX_PIECES + 1) * OUTPUT_ROWS + 1> start{};
    for (const Features& features : batch.unsorted) ++start[sort_key(features) + 1];
    for (std::size_t n = 1; n < start.size(); ++n) start[n] += start[n - 1];
    for (int i = 0; i < batch.size; ++i) {
        const Features& features = batch.unsorted[static_cast<std::size_t>(i)];
        const auto to = static_cast<std::size_t>(start[sort_key(features)]++);
        batch.source[to] = i;
    }
}

void build_tile(Tile& tile, const Features* position) {
    std::array<std::uint16_t, INPUT_ROWS> users{};
    for (int i = 0; i < tile.positions; ++i) {
        for (const auto& rows : position[i].row) {
            for (int k = 0; k < position[i].pieces; ++k) ++users[rows[k]];
        }
    }

    constexpr int MOST_USERS = TILE_POSITIONS * 2;
    std::array<int, MOST_USERS + 2> place{};
    for (const int count : users) ++place[static_cast<std::size_t>(count) + 1];
    place[1] = 0;  // rows without users are left out
    for (std::size_t n = 1; n < place.size(); ++n) place[n] += place[n - 1];
    tile.rows = place[MOST_USERS + 1];
    for (int row = 0; row < INPUT_ROWS; ++row) {
        const std::uint16_t count = users[static_cast<std::size_t>(row)];
        if (count == 0) continue;
        const int at = place[count]++;
        tile.row[at] = static_cast<std::uint16_t>(row);
        tile.users[at] = count;
    }

    std::array<int, INPUT_ROWS> next{};
    int total = 0;
    for (int i = 0; i < tile.rows; ++i) {
        next[tile.row[i]] = total;
        total += tile.users[i];
    }
    for (int i = 0; i < tile.positions; ++i) {
        for (int half = 0; half < 2; ++half) {
            for (int k = 0; k < position[i].pieces; ++k) {
                tile.user[next[position[i].row[half][k]]++] = static_cast<std::uint16_t>(2 * i + half);
            }
        }
    }
}

}  // namespace

void fill_batch(Batch& batch, int size, const std::function<const TrainingRecord&(int)>& record_at, double result_share,
                ThreadTeam& team) {
    const int tiles = (size + TILE_POSITIONS - 1) / TILE_POSITIONS;
    batch.size = size;
    batch.unsorted.resize(static_cast<std::size_t>(size));
    batch.position.resize(static_cast<std::size_t>(size));
    batch.source.resize(static_cast<std::size_t>(size));
    batch.tile.resize(static_cast<std::size_t>(tiles));
    const auto positions_of = [size](int t) { return std::min(TILE_POSITIONS, size - t * TILE_POSITIONS); };
    team.run(tiles, [&](int t, int) {
        const int first = t * TILE_POSITIONS;
        for (int i = first; i < first + positions_of(t); ++i) {
            Features& features = batch.unsorted[static_cast<std::size_t>(i)];
            const TrainingRecord& record = record_at(i);
            read_features(record, features);
            features.target = training_target(record, result_share);
        }
    });
    sort_positions(batch);
    team.run(tiles, [&](int t, int) {
        Tile& tile = batch.tile[static_cast<std::size_t>(t)];
        tile.first = t * TILE_POSITIONS;
        tile.positions = positions_of(t);
        for (int n = tile.first; n < tile.first + tile.positions; ++n) {
            const auto at = static_cast<std::size_t>(n);
            batch.position[at] = batch.unsorted[static_cast<std::size_t>(batch.source[at])];
        }
        build_tile(tile, batch.position.data() + tile.first);
    });
}
