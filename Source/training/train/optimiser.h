// Adam: what a gradient does to the parameters.
#pragma once

#include <cstddef>
#include <cstdint>

// Of one update, the same for every parameter.
struct AdamStep {
    float rate;         // learning rate with the corrections for the moments' start at zero
    float second_root;  // 1 / sqrt of the second moment's correction
    float decay;        // share of a first-layer weight that is taken away
};

// `step` counts from 1. `decay` is relative to the learning rate.
AdamStep adam_step(double learning_rate, double decay, std::int64_t step);

// Moves `count` parameters against their gradients and brings the moments up to date. All arrays are aligned as
// AlignedArray is; `count` is a multiple of 16.
void adam_update(const AdamStep& step, float* parameter, float* first_moment, float* second_moment,
                 const float* gradient, std::size_t count);
