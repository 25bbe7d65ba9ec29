// Vectors of 16-bit lanes for the network. Every program uses 128 bits; a build for the builder's own machine may
// widen them, with equal results. The choice is made here and at compile time alone.
#pragma once

#include <cstdint>

#include <emmintrin.h>
#if defined(TARN_NATIVE_BITS)
#include <immintrin.h>
#endif

// Additions and subtractions saturate. `activate` keeps x >= 0 and makes x / 64, rounded toward zero, of the rest:
// (x + 63) >> 6 is at most x where x is positive and at least x elsewhere. `products` are the sums of two neighbouring
// products in 32-bit lanes, which are added up modulo 2^32.
struct Vector128 {
    using Register = __m128i;
    static constexpr int LANES = 8;

    static Register zero() { return _mm_setzero_si128(); }
    static Register load(const std::int16_t* from) { return _mm_load_si128(reinterpret_cast<const __m128i*>(from)); }
    static void store(std::int16_t* to, Register x) { _mm_store_si128(reinterpret_cast<__m128i*>(to), x); }
    static Register add(Register x, Register y) { return _mm_adds_epi16(x, y); }
    static Register subtract(Register x, Register y) { return _mm_subs_epi16(x, y); }
    static Register activate(Register x) {
        return _mm_max_epi16(x, _mm_srai_epi16(_mm_adds_epi16(x, _mm_set1_epi16(63)), 6));
    }
    static Register products(Register x, Register y) { return _mm_madd_epi16(x, y); }
    static Register add_products(Register x, Register y) { return _mm_add_epi32(x, y); }
    static std::uint32_t sum(Register x) {
        x = _mm_add_epi32(x, _mm_shuffle_epi32(x, _MM_SHUFFLE(1, 0, 3, 2)));
        x = _mm_add_epi32(x, _mm_shuffle_epi32(x, _MM_SHUFFLE(2, 3, 0, 1)));
        return static_cast<std::uint32_t>(_mm_cvtsi128_si32(x));
    }
};

// The wider ones load unaligned: a row of a network whose width is an odd multiple of 8 starts anywhere.
#if defined(TARN_NATIVE_BITS) && defined(__AVX512BW__)
struct Vector512 {
    using Register = __m512i;
    static constexpr int LANES = 32;

    static Register zero() { return _mm512_setzero_si512(); }
    static Register load(const std::int16_t* from) { return _mm512_loadu_si512(from); }
    static void store(std::int16_t* to, Register x) { _mm512_storeu_si512(to, x); }
    static Register add(Register x, Register y) { return _mm512_adds_epi16(x, y); }
    static Register subtract(Register x, Register y) { return _mm512_subs_epi16(x, y); }
    static Register activate(Register x) {
        return _mm512_max_epi16(x, _mm512_srai_epi16(_mm512_adds_epi16(x, _mm512_set1_epi16(63)), 6));
    }
    static Register products(Register x, Register y) { return _mm512_madd_epi16(x, y); }
    static Register add_products(Register x, Register y) { return _mm512_add_epi32(x, y); }
    static std::uint32_t sum(Register x) { return static_cast<std::uint32_t>(_mm512_reduce_add_epi32(x)); }
};
using WideVector = Vector512;
#elif defined(TARN_NATIVE_BITS) && defined(__AVX2__)
struct Vector256 {
    using Register = __m256i;
    static constexpr int LANES = 16;

    static Register zero() { return _mm256_setzero_si256(); }
    static Register load(const std::int16_t* from) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    }
    static void store(std::int16_t* to, Register x) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), x); }
    static Register add(Register x, Register y) { return _mm256_adds_epi16(x, y); }
    static Register subtract(Register x, Register y) { return _mm256_subs_epi16(x, y); }
    static Register activate(Register x) {
        return _mm256_max_epi16(x, _mm256_srai_epi16(_mm256_adds_epi16(x, _mm256_set1_epi16(63)), 6));
    }
    static Register products(Register x, Register y) { return _mm256_madd_epi16(x, y); }
    static Register add_products(Register x, Register y) { return _mm256_add_epi32(x, y); }
    static std::uint32_t sum(Register x) {
        return Vector128::sum(_mm_add_epi32(_mm256_castsi256_si128(x), _mm256_extracti128_si256(x, 1)));
    }
};
using WideVector = Vector256;
#else
using WideVector = Vector128;
#endif
