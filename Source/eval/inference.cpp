// Network inference: the saved first-layer sums are brought up to date in place, activated and multiplied with the
// output row in one pass over the hidden units.
#include "eval/inference.h"

#include "eval/network.h"
#include "eval/vector.h"
#include "frontend/base/output.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr std::align_val_t BUFFER_ALIGNMENT{64};
constexpr std::uint32_t INPUTS = 768;        // of one king bucket
constexpr std::uint32_t OTHER_COLOUR = 384;  // offset of the inputs of the other side's pieces
constexpr int MAX_CHANGED = 6;               // squares per colour up to which an update beats a refresh
constexpr int MAX_SCORE = 2500;

// First input of each piece type, by PAWN ... KING.
constexpr std::uint32_t TYPE_OFFSET[7] = {0, 64, 128, 192, 256, 320, 0};

// Mirror and bucket of both perspectives: what decides which inputs a position has.
struct Perspectives {
    std::uint16_t mirror[2];
    std::uint32_t bucket_offset[2];
};

Perspectives perspectives_of(const Position& p) {
    const int white_king = p.king_square[WHITE];
    const int black_king = p.king_square[BLACK];
    const bool white_mirrored = !(white_king & 4);
    const bool black_mirrored = !(black_king & 4);
    Perspectives view{};
    view.mirror[WHITE] = white_mirrored ? 7 : 0;
    view.mirror[BLACK] = black_mirrored ? 56 + 7 : 56;
    if (network.king_buckets == 2) {
        constexpr std::int16_t OPPOSITE_WINGS_FORMAT = 757;
        bool second[2];
        if (network.format_id == OPPOSITE_WINGS_FORMAT) {
            second[WHITE] = second[BLACK] = white_mirrored != black_mirrored;
        } else {  // a king that has left its first three ranks
            second[WHITE] = rank_of(white_king) >= 3;
            second[BLACK] = rank_of(black_king) <= 4;
        }
        for (const int c : {WHITE, BLACK}) view.bucket_offset[c] = second[c] ? INPUTS : 0;
    }
    return view;
}

// Output row by the heavier side's pieces: 0 for more than 20 points (3 a minor, 5 a rook, 10 a queen), ... 4 for
// at most 5.
int output_bucket_of(const Position& p) {
    int most = 0;
    for (const int c : {WHITE, BLACK}) {
        const int points = 3 * (count_of(p, c, KNIGHT) + count_of(p, c, BISHOP)) + 5 * count_of(p, c, ROOK) +
                           10 * count_of(p, c, QUEEN);
        most = std::max(most, points);
    }
    return most > 20 ? 0 : most > 15 ? 1 : most > 10 ? 2 : most > 5 ? 3 : 4;
}

constexpr int MAX_STEP = 4;  // rows that one pass over the hidden units takes

// First-layer rows to add or subtract, in the order in which it has to happen: sums saturate, so it matters.
struct RowList {
    const std::int16_t* row[2][128];          // by perspective; at most 64 pieces go and 64 come
    std::uint8_t added[128 / MAX_STEP] = {};  // by pass: bit i is set if its row i is added
    int count = 0;
};

// Lists what changed since the cached position (with an empty cache: every piece) by type, White's pieces before
// Black's, those that are gone before those that came, from a1 up. The cache gets the new pieces.
void list_changes(RowList& rows, const Perspectives& view, AccumulatorCache& cache, const Position& p) {
    const auto width = static_cast<std::size_t>(network.hidden);
    unsigned count = 0;
    for (int type = PAWN; type <= KING; ++type) {
        const Bitboard changed[2] = {cache.pieces[WHITE][type] ^ p.pieces[WHITE][type],
                                     cache.pieces[BLACK][type] ^ p.pieces[BLACK][type]};
        if (!(changed[WHITE] | changed[BLACK])) continue;
        for (int colour = WHITE; colour <= BLACK; ++colour) {
            std::uint32_t first_row[2];
            for (int c = WHITE; c <= BLACK; ++c) {
                first_row[c] = view.bucket_offset[c] + TYPE_OFFSET[type] + (c == colour ? 0 : OTHER_COLOUR);
            }
            const auto list = [&](Bitboard squares, unsigned add) {
                for (; squares; ++count) {
                    const auto square = static_cast<unsigned>(pop_lsb(squares));
                    for (int c = WHITE; c <= BLACK; ++c) {
                        rows.row[c][count] = network.input_weights + (first_row[c] + (square ^ view.mirror[c])) * width;
                    }
                    rows.added[count / MAX_STEP] |= static_cast<std::uint8_t>(add << count % MAX_STEP);
                }
            };
            const Bitboard now = p.pieces[colour][type];
            list(changed[colour] & ~now, 0);
            list(changed[colour] & now, 1);
            cache.pieces[colour][type] = now;
        }
    }
    rows.count = static_cast<int>(count);
}

bool can_update(const AccumulatorCache& cache, const Perspectives& view, const Position& p, int ply) {
    if (ply < 3) return false;
    for (const int c : {WHITE, BLACK}) {
        if (cache.mirror[c] != view.mirror[c] || cache.bucket_offset[c] != view.bucket_offset[c]) return false;
        if (popcount(cache.pieces[c][0] ^ p.pieces[c][0]) > MAX_CHANGED) return false;
    }
    return true;
}

void save_position(AccumulatorCache& cache, const Perspectives& view, const Position& p) {
    for (const int c : {WHITE, BLACK}) {
        cache.pieces[c][0] = p.pieces[c][0];
        cache.mirror[c] = view.mirror[c];
        cache.bucket_offset[c] = view.bucket_offset[c];
    }
}

// One perspective's share of the work.
struct Half {
    const std::int16_t* start;       // sums before the changes: the biases or the saved sums themselves
    const std::int16_t* const* row;  // changes still to be made
    std::int16_t* saved;             // sums after them
    const std::int16_t* output;
};

constexpr int BLOCK = 4;  // vectors in an unrolled part of a pass over the hidden units

// Applies COUNT rows to VECTORS vectors at hidden unit `at`; bit i of ADDED tells whether row i is added or
// subtracted. The LAST pass also returns the products of the activated sums with the output row.
template <class V, int VECTORS, int COUNT, unsigned ADDED, bool LAST>
inline typename V::Register update_block(const Half& half, const std::int16_t* const* row, int at) {
    auto products = V::zero();
    for (int v = 0; v < VECTORS; ++v, at += V::LANES) {
        auto sum = V::load(half.start + at);
        for (int i = 0; i < COUNT; ++i) {
            const auto weights = V::load(row[i] + at);
            sum = (ADDED >> i & 1) ? V::add(sum, weights) : V::subtract(sum, weights);
        }
        V::store(half.saved + at, sum);
        if constexpr (LAST) {
            products = V::add_products(products, V::products(V::activate(sum), V::load(half.output + at)));
        }
    }
    return products;
}

// The same for the whole half; returns its share of the output sum. The number and signs of the rows are fixed at
// compile time because the inner loop is most of the engine's work: no branch, no counter, every pointer in a register.
template <int COUNT, unsigned ADDED, bool LAST>
std::uint32_t update_half(const Half& half, int hidden) {
    constexpr int STEP = BLOCK * WideVector::LANES;
    const Half local = half;
    const std::int16_t* row[MAX_STEP] = {};
    for (int i = 0; i < COUNT; ++i) row[i] = local.row[i];
    auto wide = WideVector::zero();
    auto narrow = Vector128::zero();  // what is left when the width is no multiple of STEP
    int at = 0;
    for (; at + STEP <= hidden; at += STEP) {
        wide = WideVector::add_products(wide, update_block<WideVector, BLOCK, COUNT, ADDED, LAST>(local, row, at));
    }
    for (; at < hidden; at += Vector128::LANES) {
        narrow = Vector128::add_products(narrow, update_block<Vector128, 1, COUNT, ADDED, LAST>(local, row, at));
    }
    return LAST ? WideVector::sum(wide) + Vector128::sum(narrow) : 0;
}

// update_half for every combination of signs, indexed by ADDED.
struct UpdateTable {
    std::uint32_t (*update[1u << MAX_STEP])(const Half&, int);
};
template <int COUNT, bool LAST>
constexpr UpdateTable UPDATES = []<std::size_t... ADDED>(std::index_sequence<ADDED...>) {
    return UpdateTable{{update_half<COUNT, ADDED, LAST>...}};
}
(std::make_index_sequence<1u << COUNT>());

constexpr const UpdateTable* LAST_UPDATES[MAX_STEP + 1] = {&UPDATES<0, true>, &UPDATES<1, true>, &UPDATES<2, true>,
                                                           &UPDATES<3, true>, &UPDATES<4, true>};

// Makes all changes to one half and returns its share of the output sum.
std::uint32_t run_half(Half half, const RowList& rows) {
    const std::uint8_t* added = rows.added;
    int left = rows.count;
    for (; left > MAX_STEP; left -= MAX_STEP) {
        UPDATES<MAX_STEP, false>.update[*added++](half, network.hidden);
        half.start = half.saved;
        half.row += MAX_STEP;
    }
    return LAST_UPDATES[left]->update[*added](half, network.hidden);
}

// Halves are rounded away from zero; in double precision adding a half to a float is exact.
int scaled_score(std::int32_t sum) {
    const float out = static_cast<float>(sum) / static_cast<float>(network.quantisation * network.quantisation);
    const double value = std::clamp<double>(static_cast<float>(network.scale) * out, -MAX_SCORE, MAX_SCORE);
    return static_cast<int>(value < 0 ? value - 0.5 : value + 0.5);
}

std::int16_t* allocate_buffer(std::size_t values) {
    return static_cast<std::int16_t*>(operator new(values * sizeof(std::int16_t), BUFFER_ALIGNMENT, std::nothrow));
}

// Gives the state buffers for the loaded network and forgets sums of another one.
bool prepare_state(NetworkState& state) {
    if (state.accumulator && state.generation == network.generation) return true;
    if (state.hidden != network.hidden) free_network_state(state);
    if (!state.accumulator) {
        state.accumulator = allocate_buffer(2 * static_cast<std::size_t>(network.hidden));
        state.cache.saved = allocate_buffer(2 * static_cast<std::size_t>(network.hidden));
        if (!state.accumulator || !state.cache.saved) {
            free_network_state(state);
            return false;
        }
        state.hidden = network.hidden;
    }
    state.cache.mirror[BLACK] = 0;  // never that of a position, so the next evaluation refreshes
    state.generation = network.generation;
    return true;
}

}  // namespace

int nn_evaluate(NetworkState& state, const Position& position, int ply) {
    if (!prepare_state(state)) {
        print_line("error initializing NN!");
        return NO_SCORE;
    }
    AccumulatorCache& cache = state.cache;
    state.output_bucket = static_cast<std::int16_t>(output_bucket_of(position));
    state.output_row = network.output_weights + state.output_bucket * network.hidden2;

    const Perspectives view = perspectives_of(position);
    const std::int16_t* start = cache.saved;
    if (!can_update(cache, view, position, ply)) {
        std::memset(cache.pieces, 0, sizeof cache.pieces);
        start = network.biases;
    }
    RowList rows;
    list_changes(rows, view, cache, position);
    std::uint32_t sum = 0;  // wraps
    for (const int c : {WHITE, BLACK}) {
        const int half = c * network.hidden;
        const int output_half = c == position.side ? 0 : network.hidden;
        sum += run_half({start + half, rows.row[c], cache.saved + half, state.output_row + output_half}, rows);
    }
    save_position(cache, view, position);
    return scaled_score(static_cast<std::int32_t>(sum));
}

const std::int16_t* activated_sums(NetworkState& state) {
    for (int i = 0; i < 2 * state.hidden; i += Vector128::LANES) {
        Vector128::store(state.accumulator + i, Vector128::activate(Vector128::load(state.cache.saved + i)));
    }
    return state.accumulator;
}

void free_network_state(NetworkState& state) {
    operator delete(state.accumulator, BUFFER_ALIGNMENT);
    operator delete(state.cache.saved, BUFFER_ALIGNMENT);
    state.accumulator = nullptr;
    state.cache.saved = nullptr;
    state.hidden = 0;
}
