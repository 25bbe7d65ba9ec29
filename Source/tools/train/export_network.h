// From the single-precision network to the 16-bit network file, with bounds of its sums.
//
// The engine computes score = S / Q^2 * sum of act(x) * w in integers, S = 400, Q = 2048. Any factor c for a hidden
// unit's first-layer weights and bias with Q^2 / c for its output weights gives the same score (act passes factors
// through), so every unit may choose its own c. It is Q, unless the unit's sums could leave 16 bits then.
//
// Largest sum of a unit: bias, the own king's and the other king's largest weights, and of each side the 18 largest
// others (15 pieces, and 3 more that an incremental update may add before it takes their predecessors away); the same
// below zero. What is not counted: for the length of an update a square may hold its old and its new piece. From the
// bounds of the parameters follows that a c always exists:
//     c >= 32767 / (39 * 1.98) - rounding > 423,    largest output weight  Q^2 / 423 * 3.25 < 32767.
#pragma once

#include "tools/train/features.h"
#include "tools/train/model.h"

#include <cstdint>
#include <string>
#include <vector>

// What the export found out about the integer network.
struct ExportReport {
    int scaled_units = 0;  // units whose factor had to be below Q
    int largest_sum = 0;   // bound of |x| over all units, below 32768
    int largest_output_weight = 0;
    double output_bound = 0;  // bound of the output sum's absolute value, over 2^31: below 1 it cannot overflow
};

// The file's values behind the header, and the report. Both depend on nothing but the model.
std::vector<std::int16_t> quantise(const Model& model, ExportReport& report);

// Bytes of the whole file: header and values.
std::string network_file_image(int hidden, const std::vector<std::int16_t>& values);

// Replaces the file in one step. False on failure.
bool write_network(const std::string& name, const Model& model, ExportReport& report);
