// Rounding, the choice of each unit's factor and the bounds of the sums.
#include "tools/train/export_network.h"

#include "tools/train/checkpoint.h"

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

double unit_factor(const UnitWeights& unit) {
    const double most = std::max(sum_bound(unit.w.data(), unit.bias, 1), sum_bound(unit.w.data(), unit.bias, -1));
    constexpr double ROOM = MAX_INT16 - (TERMS + 1) / 2;  // every term may be rounded up by a half
    return most * Q <= ROOM ? Q : std::floor(ROOM / most);
}

std::int16_t to_int16(double value) {
    return static_cast<std::int16_t>(std::clamp<long>(std::lround(value), -MAX_INT16, MAX_INT16));
}

// Bounds of a unit's activated value, from the integer weights.
struct Range {
    double low;
    double high;
};

struct IntegerNetwork {
    const std::int16_t* input;
    const std::int16_t* output;
    const std::int16_t* bias;
    int hidden;
};

// Two bounds of the output sum hold; the smaller counts. One lets every unit be at its worst at once. The other adds
// up, piece by piece, the most that a piece can change the sum.
double output_bound(const IntegerNetwork& net, const std::vector<Range>& range) {
    double worst = 0;
    for (int row = 0; row < OUTPUT_ROWS; ++row) {
        const std::int16_t* const w = net.output + static_cast<std::ptrdiff_t>(row) * 2 * net.hidden;
        double high = 0;
        double low = 0;
        double start = 0;
        for (int half = 0; half < 2; ++half) {
            for (int i = 0; i < net.hidden; ++i) {
                const double weight = w[half * net.hidden + i];
                const Range& r = range[static_cast<std::size_t>(i)];
                high += std::max(weight * r.low, weight * r.high);
                low += std::min(weight * r.low, weight * r.high);
                start += std::abs(weight * net.bias[i]);
            }
        }
        const double by_units = std::max(high, -low);

        double by_pieces = start;
        for (int half = 0; half < 2; ++half) {
            std::vector<double> change(INPUT_ROWS);
            for (int f = 0; f < INPUT_ROWS; ++f) {
                const std::int16_t* const input = net.input + static_cast<std::ptrdiff_t>(f) * net.hidden;
                for (int i = 0; i < net.hidden; ++i) change[f] += std::abs(1.0 * w[half * net.hidden + i] * input[i]);
            }
            by_pieces += sum_bound(change.data(), 0, 1);
        }
        worst = std::max(worst, std::min(by_units, by_pieces));
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
    std::vector<Range> range(hidden);
    for (std::size_t i = 0; i < hidden; ++i) {
        const auto unit = static_cast<int>(i);
        const UnitWeights weights = unit_weights(model, unit);
        const double factor = unit_factor(weights);
        report.scaled_units += factor < Q;
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
        range[i] = {-low / 64, high};
    }
    report.output_bound = output_bound({input, output, bias, model.hidden}, range) * 0x1p-31;
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
