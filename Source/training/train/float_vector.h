// Vectors of single-precision lanes for the trainer: as wide as the compilation target offers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__AVX512F__)
constexpr int FLOAT_LANES = 16;
#elif defined(__AVX__)
constexpr int FLOAT_LANES = 8;
#else
constexpr int FLOAT_LANES = 4;
#endif

using FloatVector [[gnu::vector_size(FLOAT_LANES * sizeof(float)), gnu::may_alias]] = float;

// Both need the alignment of a vector.
inline FloatVector load_vector(const float* from) {
    return *reinterpret_cast<const FloatVector*>(from);
}
inline void store_vector(float* to, FloatVector x) {
    *reinterpret_cast<FloatVector*>(to) = x;
}

// The upper half of a float's bits: the sign, the whole exponent and 7 bits of fraction, rounded.
using ShortFloat = std::uint16_t;

using WordVector [[gnu::vector_size(FLOAT_LANES * sizeof(std::uint32_t))]] = std::uint32_t;
using ShortVector [[gnu::vector_size(FLOAT_LANES * sizeof(ShortFloat)), gnu::may_alias]] = ShortFloat;

inline FloatVector load_short(const ShortFloat* from) {
    const auto words = __builtin_convertvector(*reinterpret_cast<const ShortVector*>(from), WordVector);
    return reinterpret_cast<FloatVector>(words << 16);
}
inline void store_short(ShortFloat* to, FloatVector x) {
    const auto words = (reinterpret_cast<WordVector>(x) + 0x8000u) >> 16;
    *reinterpret_cast<ShortVector*>(to) = __builtin_convertvector(words, ShortVector);
}

inline float sum_lanes(FloatVector x) {
    float lane[FLOAT_LANES];
    std::memcpy(lane, &x, sizeof x);
    for (int step = FLOAT_LANES / 2; step > 0; step /= 2) {
        for (int i = 0; i < step; ++i) lane[i] += lane[i + step];
    }
    return lane[0];
}
