// The random numbers of self-play: small, fast and the same on every platform, so that a seed names a set of games.
#pragma once

#include <cstdint>

// SplitMix64: a counter whose values are mixed.
struct Random {
    std::uint64_t state;
};

inline std::uint64_t next_random(Random& random) {
    std::uint64_t z = random.state += 0x9E3779B97F4A7C15ULL;
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ z >> 27) * 0x94D049BB133111EBULL;
    return z ^ z >> 31;
}

// 0 .. bound - 1; bound is at least 1 and small against 2^32.
inline int random_below(Random& random, int bound) {
    return static_cast<int>((next_random(random) >> 32) * static_cast<std::uint64_t>(bound) >> 32);
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
