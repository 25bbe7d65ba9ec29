// From the single-precision network to the 16-bit network file, with bounds of its sums.
//
// The engine computes score = S / Q^2 * sum of act(x) * w in integers, S = 400, Q = 2048. Any factor c for a hidden
// unit's first-layer weights and bias with Q^2 / c for its output weights gives the same score (act passes factors
// through), so every unit may choose its own c.
//
// The larger c, the finer the first layer and the coarser the output weights. Rounding n = 25 weights and a bias leaves
// a sum with an error of sqrt((n + 1) / 12), which the output weight o * Q^2 / c multiplies; rounding that weight
// leaves an error of sqrt(1 / 12), which the sum x * c multiplies. Both do the same harm, and together the least, at
//     c = Q * sqrt(sqrt(n + 1) * o / x),    o and x: roots of the mean squares of the unit's weights and sums.
// But sums below zero, the greater part, hardly feel the output weight's error, while act cuts a fraction off them.
// Twice that c is near the best for trained networks (0.64 and 0.65 centipawns on average, at c itself 1.04 and 0.95)
// and is the factor, unless the unit's sums could leave 16 bits then.
//
// A unit's sums are bounded by eval/network_bounds.h, for any update from one playable position to another: bias, two
// kings, 15 old and 15 new pieces a side. From the bounds of the parameters follows that a c always exists:
//     c >= 32767 / (63 * 1.98) - rounding > 261,    largest output weight  Q^2 / 261 * 2 < 32767;
// where the best factor is less than that, o is so small that the weight is far from the limit.
#pragma once

#include "training/train/features.h"
#include "training/train/model.h"

#include <cstdint>
#include <string>
#include <vector>

// What the export found out about the integer network.
struct ExportReport {
    int scaled_units = 0;  // units whose factor had to be below the best one
    int largest_sum = 0;   // bound of |x| over all units, partial sums of updates included; below 32768
    int largest_output_weight = 0;
    double output_bound = 0;  // bound of the output sum's absolute value, over 2^31: below 1 it cannot overflow
};

// The file's values behind the header, and the report. Both depend on nothing but the model.
std::vector<std::int16_t> quantise(const Model& model, ExportReport& report);

// Bytes of the whole file: header and values.
std::string network_file_image(int hidden, const std::vector<std::int16_t>& values);

// Replaces the file in one step. False on failure.
bool write_network(const std::string& name, const Model& model, ExportReport& report);
