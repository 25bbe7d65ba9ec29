// Network inference: the first-layer sums of a position evaluated before are brought up to date, activated and
// multiplied with the output row in one pass over the hidden units.
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

// First-layer rows to add or subtract, in the order in which it happens.
struct RowList {
    static constexpr int MIDDLE = 64;         // at most 64 pieces go and 64 come
    const std::int16_t* row[2][128];          // by perspective
    std::uint8_t added[128 / MAX_STEP] = {};  // by pass: bit i is set if its row i is added
    int first = 0;
    int count = 0;
};

// Lists what changed since the position whose pieces are given (no pieces: a refresh). Where sums may saturate their
// order matters: by type, White's pieces before Black's, those that are gone before those that came, from a1 up. With
// EXACT sums all removals come before all additions: every sum on the way then belongs to a subset of the old or of the
// new pieces, which is all that network_bounds.h covers. A refresh is the same in both orders.
template <bool EXACT>
void list_changes(RowList& rows, const Perspectives& view, const Bitboard (*before)[8], const Position& p) {
    const auto width = static_cast<std::size_t>(network.hidden);
    unsigned first = EXACT ? RowList::MIDDLE : 0;
    unsigned end = first;
    for (int type = PAWN; type <= KING; ++type) {
        const Bitboard changed[2] = {before[WHITE][type] ^ p.pieces[WHITE][type],
                                     before[BLACK][type] ^ p.pieces[BLACK][type]};
        if (!(changed[WHITE] | changed[BLACK])) continue;
        for (int colour = WHITE; colour <= BLACK; ++colour) {
            std::uint32_t first_row[2];
            for (int c = WHITE; c <= BLACK; ++c) {
                first_row[c] = view.bucket_offset[c] + TYPE_OFFSET[type] + (c == colour ? 0 : OTHER_COLOUR);
            }
            const auto list = [&](Bitboard squares, unsigned add) {
                while (squares) {
                    const auto square = static_cast<unsigned>(pop_lsb(squares));
                    const unsigned at = EXACT && !add ? --first : end++;
                    for (int c = WHITE; c <= BLACK; ++c) {
                        rows.row[c][at] = network.input_weights + (first_row[c] + (square ^ view.mirror[c])) * width;
                    }
                    if constexpr (!EXACT) rows.added[at / MAX_STEP] |= static_cast<std::uint8_t>(add << at % MAX_STEP);
                }
            };
            list(changed[colour] & before[colour][type], 0);
            list(changed[colour] & p.pieces[colour][type], 1);
        }
    }
    rows.first = static_cast<int>(first);
    rows.count = static_cast<int>(end - first);
    if constexpr (!EXACT) return;
    int gone = RowList::MIDDLE - rows.first;
    for (int pass = 0; pass * MAX_STEP < rows.count; ++pass, gone -= MAX_STEP) {
        const int left = std::min(rows.count - pass * MAX_STEP, MAX_STEP);
        rows.added[pass] = static_cast<std::uint8_t>((1u << left) - (1u << std::clamp(gone, 0, left)));
    }
}

constexpr int TOO_FAR = 2 * MAX_CHANGED + 1;

// Squares on which the occupancy differs; TOO_FAR if the sums cannot be updated or a refresh is likely to cost less.
int changed_squares(const AccumulatorCache& from, const Perspectives& view, const Position& p) {
    if (!(from.view == view)) return TOO_FAR;
    const int white = popcount(from.pieces[WHITE][0] ^ p.pieces[WHITE][0]);
    const int black = popcount(from.pieces[BLACK][0] ^ p.pieces[BLACK][0]);
    return white <= MAX_CHANGED && black <= MAX_CHANGED ? white + black : TOO_FAR;
}

// The position to update the sums from; nullptr to refresh them. Exact sums come out the same from any, so the nearest
// is taken of those evaluated last, last at the ply before and last at this ply. Others are always updated from the
// position evaluated last, and not before ply 3. Short searches have most of their nodes at ply 2.
const AccumulatorCache* nearest(const NetworkState& state, const Perspectives& view, const Position& p, int ply) {
    if (ply < (network.exact_sums ? 2 : 3)) return nullptr;
    const AccumulatorCache* best = state.last;
    int least = changed_squares(*best, view, p);
    if (network.exact_sums) {
        for (const int other : {ply - 1, ply}) {
            const AccumulatorCache& from = state.accumulator[other % ACCUMULATORS];
            if (&from == state.last) continue;
            const int changed = changed_squares(from, view, p);
            if (changed < least) {
                least = changed;
                best = &from;
            }
        }
    }
    return least < TOO_FAR ? best : nullptr;
}

// One perspective's share of the work.
struct Half {
    const std::int16_t* start;       // sums before the changes: the biases or those of a position, perhaps in place
    const std::int16_t* const* row;  // changes still to be made
    std::int16_t* sums;              // sums after them
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
        V::store(half.sums + at, sum);
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
        half.start = half.sums;
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

// Gives the state a buffer for the loaded network and forgets sums of another one.
bool prepare_state(NetworkState& state) {
    if (state.buffer && state.generation == network.generation) return true;
    if (state.hidden != network.hidden) free_network_state(state);
    const auto values = 2 * static_cast<std::size_t>(network.hidden);
    if (!state.buffer) {
        state.buffer = static_cast<std::int16_t*>(operator new((ACCUMULATORS + 1) * values * sizeof(std::int16_t),
                                                               BUFFER_ALIGNMENT, std::nothrow));
        if (!state.buffer) return false;
        state.hidden = network.hidden;
    }
    for (std::size_t i = 0; i < ACCUMULATORS; ++i) {
        state.accumulator[i].sums = state.buffer + i * values;
        state.accumulator[i].view = {};  // never that of a position, so the next evaluation refreshes
    }
    state.last = state.accumulator;
    state.generation = network.generation;
    return true;
}

}  // namespace

int nn_evaluate(NetworkState& state, const Position& position, int ply) {
    if (!prepare_state(state)) {
        print_line("error initializing NN!");
        return NO_SCORE;
    }
    state.output_bucket = static_cast<std::int16_t>(output_bucket_of(position));
    state.output_row = network.output_weights + state.output_bucket * network.hidden2;

    static constexpr Bitboard NO_PIECES[2][8] = {};
    const Perspectives view = perspectives_of(position);
    const AccumulatorCache* const from = nearest(state, view, position, ply);
    const std::int16_t* const start = from ? from->sums : network.biases;
    RowList rows;
    const auto list = network.exact_sums ? list_changes<true> : list_changes<false>;
    list(rows, view, from ? from->pieces : NO_PIECES, position);
    AccumulatorCache& own = state.accumulator[ply % ACCUMULATORS];
    std::uint32_t sum = 0;  // wraps
    for (const int c : {WHITE, BLACK}) {
        const int half = c * network.hidden;
        const int output_half = c == position.side ? 0 : network.hidden;
        sum +=
            run_half({start + half, rows.row[c] + rows.first, own.sums + half, state.output_row + output_half}, rows);
    }
    own.view = view;
    std::memcpy(own.pieces, position.pieces, sizeof own.pieces);
    state.last = &own;
    return scaled_score(static_cast<std::int32_t>(sum));
}

const std::int16_t* activated_sums(NetworkState& state) {
    const int values = 2 * state.hidden;
    std::int16_t* const activated = state.buffer + ACCUMULATORS * values;
    for (int i = 0; i < values; i += Vector128::LANES) {
        Vector128::store(activated + i, Vector128::activate(Vector128::load(state.last->sums + i)));
    }
    return activated;
}

void free_network_state(NetworkState& state) {
    operator delete(state.buffer, BUFFER_ALIGNMENT);
    state.buffer = nullptr;
    state.hidden = 0;
}
