// Rounding, the choice of each unit's factor and the bounds of the sums.
#include "training/train/export_network.h"

#include "eval/network_bounds.h"
#include "training/train/checkpoint.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace {

constexpr std::int16_t FORMAT = 752;
constexpr std::int16_t Q = 2048;
constexpr std::int16_t S = static_cast<std::int16_t>(CENTIPAWNS);
constexpr int FILE_OUTPUT_ROWS = 8;
constexpr int MAX_INT16 = 32767;
constexpr int TERMS = 4 * SIDE_PIECES + 3;  // see the header
constexpr double TYPICAL_TERMS = 25;        // of a sum, in the positions that are trained on
constexpr double LEAK_CORRECTION = 2;       // see the header

static_assert(COLUMNS == BOUND_UNITS);

// Root of the mean square of `count` values, `stride` apart.
double spread(const float* value, int count, int stride) {
    double sum = 0;
    for (int i = 0; i < count; ++i) sum += static_cast<double>(value[i * stride]) * value[i * stride];
    return std::sqrt(sum / count);
}

// The factor at which both layers' rounding does the same harm: see the header.
double best_factor(const Model& model, int unit) {
    const int block = unit / COLUMNS;
    const int column = unit % COLUMNS;
    const double input_spread = spread(model.weights(block) + column, INPUT_ROWS, COLUMNS);
    const double output_spread = spread(model.block(block) + OUTPUT_ROW * COLUMNS + column, 2 * OUTPUT_ROWS, COLUMNS);
    const float bias = model.block(block)[BIAS_ROW * COLUMNS + column];
    const double sum_spread = std::sqrt(bias * bias + TYPICAL_TERMS * input_spread * input_spread);
    if (sum_spread == 0) return Q;
    const double balance = std::sqrt(std::sqrt(TYPICAL_TERMS + 1.0) * output_spread / sum_spread);
    return Q * std::clamp(LEAK_CORRECTION * balance, 0.125, 8.0);
}

// The largest factor of each unit of a block that keeps its sums within 16 bits.
std::array<double, COLUMNS> fitting_factors(const Model& model, int block) {
    constexpr int HALF_TERMS = (TERMS + 1) / 2;
    constexpr double ROOM = MAX_INT16 - HALF_TERMS;  // every term may be rounded up by a half
    std::array<float, COLUMNS> most[2];
    for (const int side : {0, 1}) {
        largest_sums(model.weights(block), KING_BUCKETS, model.block(block) + BIAS_ROW * COLUMNS,
                     side == 0 ? 1.0f : -1.0f, SIDE_PIECES, most[side].data());
    }
    std::array<double, COLUMNS> factor;
    for (int i = 0; i < COLUMNS; ++i) {
        const float larger = std::max(most[0][i], most[1][i]);
        factor[i] = larger > 0 ? std::floor(ROOM / static_cast<double>(larger)) : INFINITY;
    }
    return factor;
}

std::int16_t to_int16(double value) {
    return static_cast<std::int16_t>(std::clamp<long>(std::lround(value), -MAX_INT16, MAX_INT16));
}

// The most that a first-layer term can add to the output by way of one unit, `weight` being that unit's output weight
// with the sign of the direction that counts. act never gives more than its argument's positive part nor less than a
// 64th of its negative part, and of a sum neither part is larger than those of its terms together.
double most_by_unit(double weight, double term) {
    return weight > 0 ? weight * std::max(term, 0.0) : weight * std::min(term, 0.0) / 64;
}

// Bound of the output sum, and of every sum of some of its products, in absolute value. It adds up, piece by piece, the
// most that a piece can do by way of all units.
double output_bound(const Network& net) {
    float worst = 0;
    for (const int sign : {-1, 1}) {
        // In the lanes: each output row's half for the side to move, then that for the other side.
        std::vector<float> change(static_cast<std::size_t>(INPUT_ROWS + 1) * BOUND_UNITS);
        for (int row = 0; row <= INPUT_ROWS; ++row) {
            const std::int16_t* const terms = row == INPUT_ROWS ? net.biases : net.input_weights + row * net.hidden;
            for (std::size_t half = 0; half < 2 * OUTPUT_ROWS; ++half) {
                const std::int16_t* const weight = net.output_weights + half * static_cast<std::size_t>(net.hidden);
                double sum = 0;
                for (int i = 0; i < net.hidden; ++i) sum += most_by_unit(sign * weight[i], terms[i]);
                change[static_cast<std::size_t>(row) * BOUND_UNITS + half] = static_cast<float>(sum);
            }
        }
        float most[BOUND_UNITS];
        const float* const bias = &change[static_cast<std::size_t>(INPUT_ROWS) * BOUND_UNITS];
        largest_sums(change.data(), KING_BUCKETS, bias, 1, 0, most);
        for (int row = 0; row < OUTPUT_ROWS; ++row) worst = std::max(worst, most[2 * row] + most[2 * row + 1]);
    }
    return static_cast<double>(worst);
}

}  // namespace

std::vector<std::int16_t> quantise(const Model& model, ExportReport& report) {
    report = {};
    const auto hidden = static_cast<std::size_t>(model.hidden);
    std::vector<std::int16_t> values((INPUT_ROWS + 2 * FILE_OUTPUT_ROWS + 2) * hidden);
    std::int16_t* const input = values.data();
    std::int16_t* const output = input + INPUT_ROWS * hidden;
    std::int16_t* const bias = output + 2 * FILE_OUTPUT_ROWS * hidden;
    std::array<double, COLUMNS> fitting{};
    for (std::size_t i = 0; i < hidden; ++i) {
        const auto unit = static_cast<int>(i);
        const int block = unit / COLUMNS;
        const int column = unit % COLUMNS;
        if (column == 0) fitting = fitting_factors(model, block);
        const double best = best_factor(model, unit);
        const double factor = std::min(best, fitting[column]);
        report.scaled_units += factor < best;
        const auto scaled = [factor](float value) { return to_int16(static_cast<double>(value) * factor); };
        const float* const weight = model.weights(block) + column;
        for (std::size_t row = 0; row < INPUT_ROWS; ++row) input[row * hidden + i] = scaled(weight[row * COLUMNS]);
        bias[i] = bias[hidden + i] = scaled(model.block(block)[BIAS_ROW * COLUMNS + column]);
        for (int row = 0; row < FILE_OUTPUT_ROWS; ++row) {  // the rows that inference never reads repeat the last one
            for (int half = 0; half < 2; ++half) {
                const int from = OUTPUT_ROW + 2 * std::min(row, OUTPUT_ROWS - 1) + half;
                const double wanted = static_cast<double>(model.block(block)[from * COLUMNS + column]) * Q * Q / factor;
                const std::int16_t value = to_int16(wanted);
                output[static_cast<std::size_t>(2 * row + half) * hidden + i] = value;
                report.largest_output_weight = std::max(report.largest_output_weight, std::abs(int{value}));
            }
        }
    }
    Network net;
    net.hidden = model.hidden;
    net.king_buckets = KING_BUCKETS;
    net.input_weights = input;
    net.output_weights = output;
    net.biases = bias;
    report.largest_sum = largest_first_layer_sum(net, SIDE_PIECES);
    report.output_bound = output_bound(net) * 0x1p-31;
    return values;
}

std::string network_file_image(int hidden, const std::vector<std::int16_t>& values) {
    const auto width = static_cast<std::int16_t>(hidden);
    const std::int16_t header[10] = {FORMAT, Q, Q, S, KING_BUCKETS, OUTPUT_ROWS, width, 0, 0, OUTPUT_ROWS};
    const auto count = static_cast<std::int32_t>(values.size());
    std::string image(reinterpret_cast<const char*>(header), sizeof header);
    image.append(reinterpret_cast<const char*>(&count), sizeof count);
    image.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof values[0]);
    return image;
}

bool write_network(const std::string& name, const Model& model, ExportReport& report) {
    const std::string image = network_file_image(model.hidden, quantise(model, report));
    const void* const part[] = {image.data()};
    const std::size_t bytes[] = {image.size()};
    return write_file_atomically(name, part, bytes, 1);
}
