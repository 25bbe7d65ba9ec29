// Several units are done at once, in the lanes of a vector. The sums of an integer network stay below 2^24, where
// single precision is exact.
#include "eval/network_bounds.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace {

constexpr int UNITS = BOUND_UNITS;
constexpr int BUCKET_ROWS = 768;
constexpr int OTHER_COLOUR = 384;
constexpr int SQUARES = 64;

constexpr int LANES = 4;

using Lanes [[gnu::vector_size(LANES * sizeof(float))]] = float;

Lanes load(const float* values) {
    Lanes lanes;
    std::memcpy(&lanes, values, sizeof lanes);
    return lanes;
}

// Puts the values into lists of the largest ones, by lane; `value` becomes what no longer has a place.
void insert(Lanes* list, int length, Lanes& value) {
    for (int i = 0; i < length; ++i) {
        const Lanes before = list[i];
        list[i] = before > value ? before : value;
        value = before > value ? value : before;
    }
}

// Adds what one side can contribute, from the first row of its half of a bucket. An old position has the best pieces
// of 15 squares. Each new piece stands on another square or, with a second type, on one of these.
void add_side(const float* rows, float sign, int added, Lanes& sum) {
    Lanes king{};
    Lanes old_piece[SIDE_PIECES]{};
    Lanes new_piece[SIDE_PIECES]{};
    for (int square = 0; square < SQUARES; ++square) {
        Lanes best[2]{};
        const bool pawns = square >= 8 && square < 56;
        for (int type = 0; type <= 5; ++type) {  // king, pawn, knight, bishop, rook, queen
            if (type == 1 && !pawns) continue;
            Lanes value = sign * load(rows + static_cast<std::ptrdiff_t>(type * SQUARES + square) * UNITS);
            insert(type == 0 ? &king : best, type == 0 ? 1 : 2, value);
        }
        insert(old_piece, SIDE_PIECES, best[0]);
        insert(new_piece, added, best[0]);
        insert(new_piece, added, best[1]);
    }
    sum += king;
    for (const Lanes& piece : old_piece) sum += piece;
    for (int i = 0; i < added; ++i) sum += new_piece[i];
}

}  // namespace

void largest_sums(const float* weights, int buckets, const float* bias, float sign, int added, float* largest) {
    for (int unit = 0; unit < UNITS; unit += LANES) {
        Lanes most{};
        for (int bucket = 0; bucket < buckets; ++bucket) {
            const float* const rows = weights + static_cast<std::ptrdiff_t>(bucket) * BUCKET_ROWS * UNITS + unit;
            Lanes sum = sign * load(bias + unit);
            add_side(rows, sign, added, sum);
            add_side(rows + static_cast<std::ptrdiff_t>(OTHER_COLOUR) * UNITS, sign, added, sum);
            most = sum > most ? sum : most;
        }
        std::memcpy(largest + unit, &most, sizeof most);
    }
}

int largest_first_layer_sum(const Network& net, int added) {
    const int buckets = net.king_buckets == 2 ? 2 : 1;  // of more than two, inference uses the first
    std::vector<float> weights(static_cast<std::size_t>(buckets) * BUCKET_ROWS * UNITS);
    float most = 0;
    for (int first = 0; first < net.hidden; first += UNITS) {
        const int units = std::min(UNITS, net.hidden - first);
        for (int row = 0; row < buckets * BUCKET_ROWS; ++row) {
            const std::int16_t* const from = net.input_weights + static_cast<std::ptrdiff_t>(row) * net.hidden + first;
            std::copy_n(from, units, &weights[static_cast<std::size_t>(row) * UNITS]);
        }
        for (const float sign : {1.0f, -1.0f}) {
            float bias[UNITS] = {};  // the worse of both perspectives
            for (int u = 0; u < units; ++u) {
                const std::int16_t* const both = net.biases + first + u;
                bias[u] = sign * std::max(sign * both[0], sign * both[net.hidden]);
            }
            float largest[UNITS];
            largest_sums(weights.data(), buckets, bias, sign, added, largest);
            for (int u = 0; u < units; ++u) most = std::max(most, largest[u]);
        }
    }
    return static_cast<int>(most);
}
