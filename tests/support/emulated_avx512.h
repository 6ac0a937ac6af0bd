// SPDX-License-Identifier: MIT
// The AVX-512 instructions that the fast kernel names, in terms of AVX2. Included before anything else, it makes the
// kernel's AVX-512 form run on processors without AVX-512, slowly, so that its results can be tested there.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#define __AVX512BW__ 1

namespace quorvel::emulated {

using Units [[gnu::vector_size(64)]] = std::uint32_t;
using Words [[gnu::vector_size(64)]] = std::uint16_t;

template <typename To, typename From>
[[gnu::always_inline]] inline To bits(const From& value) {
    To result;
    std::memcpy(&result, &value, sizeof result);
    return result;
}

/// `a` where it is smaller, else `b`, as the instruction has it for NaNs and zeros. All lanes are asked for.
[[gnu::always_inline]] inline __m512 minimum(__mmask16, __m512 a, __m512 b) {
    for (int i = 0; i < 16; ++i) {
        b[i] = a[i] < b[i] ? a[i] : b[i];
    }
    return b;
}
[[gnu::always_inline]] inline __m512 maximum(__mmask16, __m512 a, __m512 b) {
    for (int i = 0; i < 16; ++i) {
        b[i] = a[i] > b[i] ? a[i] : b[i];
    }
    return b;
}
[[gnu::always_inline]] inline __m512i highProducts(__m512i a, __m512i b) {
    const auto x = bits<Words>(a);
    const auto y = bits<Words>(b);
    Words result{};
    for (int i = 0; i < 32; ++i) {
        result[i] = static_cast<std::uint16_t>((std::uint32_t{x[i]} * y[i]) >> 16);
    }
    return bits<__m512i>(result);
}
[[gnu::always_inline]] inline __mmask16 nonZeroUnits(__m512i a, __m512i b) {
    const auto x = bits<Units>(a);
    const auto y = bits<Units>(b);
    unsigned mask = 0;
    for (unsigned i = 0; i < 16; ++i) {
        mask |= (x[i] & y[i]) != 0 ? 1U << i : 0U;
    }
    return static_cast<__mmask16>(mask);
}
[[gnu::always_inline]] inline void storeUnits(void* to, __mmask16 mask, __m512i value) {
    const auto units = bits<Units>(value);
    for (unsigned i = 0; i < 16; ++i) {
        if ((mask >> i & 1U) != 0) {
            const std::uint32_t unit = units[i];
            std::memcpy(static_cast<char*>(to) + 4 * i, &unit, sizeof unit);
        }
    }
}
[[gnu::always_inline]] inline __m512i permuted(__mmask16, __m512i places, __m512i value) {
    const auto from = bits<Units>(places);
    const auto units = bits<Units>(value);
    Units result{};
    for (int i = 0; i < 16; ++i) {
        result[i] = units[from[i] & 15U];
    }
    return bits<__m512i>(result);
}

}  // namespace quorvel::emulated

#define _mm512_maskz_min_ps quorvel::emulated::minimum
#define _mm512_maskz_max_ps quorvel::emulated::maximum
#define _mm512_mulhi_epu16 quorvel::emulated::highProducts
#define _mm512_test_epi32_mask quorvel::emulated::nonZeroUnits
#define _mm512_mask_storeu_epi32 quorvel::emulated::storeUnits
#define _mm512_maskz_permutexvar_epi32 quorvel::emulated::permuted
