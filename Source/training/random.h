// The random numbers of the laboratory: small, fast and the same on every platform, so that a seed names what is drawn.
#pragma once

#include <cstdint>

// SplitMix64: a counter whose values are mixed.
struct Random {
    std::uint64_t state;
};

constexpr std::uint64_t RANDOM_STEP = 0x9E3779B97F4A7C15ULL;  // 2^64 divided by the golden ratio

// Spreads the bits of a number over all 64; every result belongs to one number.
constexpr std::uint64_t mix_bits(std::uint64_t z) {
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ z >> 27) * 0x94D049BB133111EBULL;
    return z ^ z >> 31;
}

inline std::uint64_t next_random(Random& random) {
    return mix_bits(random.state += RANDOM_STEP);
}

// 0 .. bound - 1; bound is at least 1 and at most 2^32.
inline std::uint64_t random_index(Random& random, std::uint64_t bound) {
    return (next_random(random) >> 32) * bound >> 32;
}

// 0 .. bound - 1; bound is at least 1.
inline int random_below(Random& random, int bound) {
    return static_cast<int>(random_index(random, static_cast<std::uint64_t>(bound)));
}

inline int random_between(Random& random, int low, int high) {
    return low + random_below(random, high - low + 1);
}

inline bool random_percent(Random& random, int percent) {
    return random_below(random, 100) < percent;
}

// The stream of one game: independent of all others, whoever plays it and in whatever order.
inline Random random_stream(std::uint64_t seed, std::uint64_t worker, std::uint64_t game) {
    Random random{seed};
    random.state = next_random(random) + worker;
    random.state = next_random(random) + game;
    random.state = next_random(random);
    return random;
}
