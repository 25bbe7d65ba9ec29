// Rounding, the choice of each unit's factor and the bounds of the sums.
#include "training/train/export_network.h"

#include "training/train/checkpoint.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace {

constexpr std::int16_t FORMAT = 752;
constexpr std::int16_t Q = 2048;
constexpr int FILE_OUTPUT_ROWS = 8;
constexpr int MAX_INT16 = 32767;
constexpr int SIDE_PIECES = 18;  // beside the king, see the header
constexpr int TERMS = 2 * SIDE_PIECES + 3;
constexpr double TYPICAL_TERMS = 25;   // of a sum, in the positions that are trained on
constexpr double LEAK_CORRECTION = 2;  // see the header
constexpr int KING_OFFSET = 0;
constexpr int OTHER_COLOUR = 384;
constexpr int SIDE_TYPES = 5;  // pawn, knight, bishop, rook, queen: from offset 64 on

// A column of W: the weights of one hidden unit.
struct UnitWeights {
    std::array<float, INPUT_ROWS> w;
    float bias;
};

UnitWeights unit_weights(const Model& model, int unit) {
    UnitWeights result;
    const int block = unit / COLUMNS;
    const int column = unit % COLUMNS;
    for (int row = 0; row < INPUT_ROWS; ++row) result.w[row] = model.weights(block)[row * COLUMNS + column];
    result.bias = model.block(block)[BIAS_ROW * COLUMNS + column];
    return result;
}

float output_weight(const Model& model, int row, int half, int unit) {
    return model.block(unit / COLUMNS)[(OUTPUT_ROW + 2 * row + half) * COLUMNS + unit % COLUMNS];
}

// The largest that pieces of one side beside the king can add to sign * x: one piece a square.
template <class T>
double side_bound(const T* w, int sign) {
    std::array<double, 64> best{};
    for (int square = 0; square < 64; ++square) {
        for (int type = 1; type <= SIDE_TYPES; ++type) {
            if (type == 1 && (square < 8 || square >= 56)) continue;
            best[square] = std::max(best[square], sign * static_cast<double>(w[type * 64 + square]));
        }
    }
    std::partial_sort(best.begin(), best.begin() + SIDE_PIECES, best.end(), std::greater<>());
    double sum = 0;
    for (int i = 0; i < SIDE_PIECES; ++i) sum += best[i];
    return sum;
}

// Largest value of sign * x, x being the unit's first-layer sum; no less than 0.
template <class T>
double sum_bound(const T* w, double bias, int sign) {
    double most = 0;
    for (int bucket = 0; bucket < KING_BUCKETS; ++bucket) {
        const T* const row = w + bucket * BUCKET_INPUTS;
        double king = 0;
        double other_king = 0;
        for (int square = 0; square < 64; ++square) {
            king = std::max(king, sign * static_cast<double>(row[KING_OFFSET + square]));
            other_king = std::max(other_king, sign * static_cast<double>(row[OTHER_COLOUR + KING_OFFSET + square]));
        }
        most = std::max(most, king + other_king + side_bound(row, sign) + side_bound(row + OTHER_COLOUR, sign));
    }
    return std::max(0.0, most + sign * bias);
}

// Root of the mean square of `count` values, `stride` apart.
double spread(const float* value, int count, int stride) {
    double sum = 0;
    for (int i = 0; i < count; ++i) sum += static_cast<double>(value[i * stride]) * value[i * stride];
    return std::sqrt(sum / count);
}

// The factor at which both layers' rounding does the same harm: see the header.
double best_factor(const UnitWeights& unit, double output_spread) {
    const double input_spread = spread(unit.w.data(), INPUT_ROWS, 1);
    const double sum_spread = std::sqrt(unit.bias * unit.bias + TYPICAL_TERMS * input_spread * input_spread);
    if (sum_spread == 0) return Q;
    const double balance = std::sqrt(std::sqrt(TYPICAL_TERMS + 1.0) * output_spread / sum_spread);
    return Q * std::clamp(LEAK_CORRECTION * balance, 0.125, 8.0);
}

double fitting_factor(const UnitWeights& unit) {
    const double most = std::max(sum_bound(unit.w.data(), unit.bias, 1), sum_bound(unit.w.data(), unit.bias, -1));
    constexpr int HALF_TERMS = (TERMS + 1) / 2;
    constexpr double ROOM = MAX_INT16 - HALF_TERMS;  // every term may be rounded up by a half
    return most > 0 ? std::floor(ROOM / most) : INFINITY;
}

std::int16_t to_int16(double value) {
    return static_cast<std::int16_t>(std::clamp<long>(std::lround(value), -MAX_INT16, MAX_INT16));
}

struct IntegerNetwork {
    const std::int16_t* input;
    const std::int16_t* output;
    const std::int16_t* bias;
    int hidden;
};

// The most that a first-layer term can add to the output by way of one unit, `weight` being that unit's output weight
// with the sign of the direction that counts. act never gives more than its argument's positive part nor less than a
// 64th of its negative part, and of a sum neither part is larger than those of its terms together.
double most_by_unit(double weight, double term) {
    return weight > 0 ? weight * std::max(term, 0.0) : weight * std::min(term, 0.0) / 64;
}

// Bound of the output sum, and of every sum of some of its products, in absolute value. It adds up, piece by piece, the
// most that a piece can do by way of all units.
double output_bound(const IntegerNetwork& net) {
    double worst = 0;
    for (int row = 0; row < OUTPUT_ROWS; ++row) {
        for (const int sign : {-1, 1}) {
            double bound = 0;
            for (int half = 0; half < 2; ++half) {
                const std::int16_t* const weight =
                    net.output + static_cast<std::ptrdiff_t>(2 * row + half) * net.hidden;
                const auto most = [&](const std::int16_t* terms) {
                    double sum = 0;
                    for (int i = 0; i < net.hidden; ++i) sum += most_by_unit(sign * weight[i], terms[i]);
                    return sum;
                };
                std::vector<double> change(INPUT_ROWS);
                for (int f = 0; f < INPUT_ROWS; ++f)
                    change[f] = most(net.input + static_cast<std::ptrdiff_t>(f) * net.hidden);
                bound += most(net.bias) + sum_bound(change.data(), 0, 1);
            }
            worst = std::max(worst, bound);
        }
    }
    return worst;
}

}  // namespace

std::vector<std::int16_t> quantise(const Model& model, ExportReport& report) {
    report = {};
    const auto hidden = static_cast<std::size_t>(model.hidden);
    std::vector<std::int16_t> values((INPUT_ROWS + 2 * FILE_OUTPUT_ROWS + 2) * hidden);
    std::int16_t* const input = values.data();
    std::int16_t* const output = input + INPUT_ROWS * hidden;
    std::int16_t* const bias = output + 2 * FILE_OUTPUT_ROWS * hidden;
    for (std::size_t i = 0; i < hidden; ++i) {
        const auto unit = static_cast<int>(i);
        const UnitWeights weights = unit_weights(model, unit);
        const float* const outputs = model.block(unit / COLUMNS) + OUTPUT_ROW * COLUMNS + unit % COLUMNS;
        const double best = best_factor(weights, spread(outputs, 2 * OUTPUT_ROWS, COLUMNS));
        const double factor = std::min(best, fitting_factor(weights));
        report.scaled_units += factor < best;
        std::array<std::int16_t, INPUT_ROWS> column;
        for (std::size_t row = 0; row < INPUT_ROWS; ++row) {
            column[row] = to_int16(static_cast<double>(weights.w[row]) * factor);
            input[row * hidden + i] = column[row];
        }
        bias[i] = bias[hidden + i] = to_int16(static_cast<double>(weights.bias) * factor);
        for (int row = 0; row < FILE_OUTPUT_ROWS; ++row) {  // the rows that inference never reads repeat the last one
            for (int half = 0; half < 2; ++half) {
                const double weight = output_weight(model, std::min(row, OUTPUT_ROWS - 1), half, unit);
                const std::int16_t value = to_int16(weight * Q * Q / factor);
                output[static_cast<std::size_t>(2 * row + half) * hidden + i] = value;
                report.largest_output_weight = std::max(report.largest_output_weight, std::abs(int{value}));
            }
        }
        const double high = sum_bound(column.data(), bias[i], 1);
        const double low = sum_bound(column.data(), bias[i], -1);
        report.largest_sum = std::max(report.largest_sum, static_cast<int>(std::max(high, low)));
    }
    report.output_bound = output_bound({input, output, bias, model.hidden}) * 0x1p-31;
    return values;
}

std::string network_file_image(int hidden, const std::vector<std::int16_t>& values) {
    const std::int16_t header[10] = {FORMAT,
                                     Q,
                                     Q,
                                     static_cast<std::int16_t>(CENTIPAWNS),
                                     KING_BUCKETS,
                                     OUTPUT_ROWS,
                                     static_cast<std::int16_t>(hidden),
                                     0,
                                     0,
                                     OUTPUT_ROWS};
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
