// SPDX-License-Identifier: MIT
// Vectors of channels, in the width of the instruction set that this file is compiled for.
//
// Included by kernel.cpp alone, which is compiled once per instruction set: everything here has internal linkage, and
// nothing may come from a header that would leave a shared copy behind.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/render/pixels.h"

namespace quorvel {
namespace {

#if defined(__AVX512BW__)
inline constexpr std::size_t kVectorBytes = 64;
#elif defined(__AVX2__)
inline constexpr std::size_t kVectorBytes = 32;
#else
inline constexpr std::size_t kVectorBytes = 16;
#endif

template <typename T, std::size_t Bytes>
struct VectorOf {
    typedef T Type __attribute__((vector_size(Bytes)));
};
template <typename T, std::size_t Bytes>
using Vector = typename VectorOf<T, Bytes>::Type;

/// The unsigned integer as wide as a channel: masks are all ones or all zeros.
template <typename T>
struct MaskOf;
template <>
struct MaskOf<std::uint8_t> {
    using Type = std::uint8_t;
};
template <>
struct MaskOf<std::uint16_t> {
    using Type = std::uint16_t;
};
template <>
struct MaskOf<float> {
    using Type = std::uint32_t;
};
template <typename T>
using Mask = typename MaskOf<T>::Type;

/// As many channels as a register holds.
template <typename T>
using Lanes = Vector<T, kVectorBytes>;
template <typename T>
inline constexpr std::int32_t kLanes = static_cast<std::int32_t>(kVectorBytes / sizeof(T));

/// Four pixels side by side, and two.
template <typename T>
inline constexpr std::size_t kQuartetBytes = 4 * kChannelsPerPixel * sizeof(T);
template <typename T>
using Quartet = Vector<T, kQuartetBytes<T>>;

/// One pixel, for the few steps taken pixel by pixel.
template <typename T>
struct Pixel {
    T channel[kChannelsPerPixel];
};

// Rows start anywhere, so no address is taken as aligned.
template <typename V>
[[gnu::always_inline]] inline V load(const void* from) {
    V value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}
template <typename V>
[[gnu::always_inline]] inline void store(void* to, V value) {
    __builtin_memcpy(to, &value, sizeof value);
}

template <typename V, typename T>
[[gnu::always_inline]] inline V splat(T value) {
    return value - V{};  // a scalar operand is repeated; subtracting zero changes no bit, not even of a float
}

/// `value` where it is smaller (larger), else `kept`: a NaN in `value` leaves `kept` alone.
template <typename V>
[[gnu::always_inline]] inline V smaller(V value, V kept) {
    return value < kept ? value : kept;
}
template <typename V>
[[gnu::always_inline]] inline V larger(V value, V kept) {
    return value > kept ? value : kept;
}

template <typename To, typename From>
[[gnu::always_inline]] inline To reinterpret(From value) {
    static_assert(sizeof(To) == sizeof(From));
    To result;
    __builtin_memcpy(&result, &value, sizeof result);
    return result;
}

/// Bits of `a` where the mask is set, of `b` elsewhere.
template <typename V>
[[gnu::always_inline]] inline V select(V mask, V a, V b) {
    return (a & mask) | (b & ~mask);
}

/// The same pixel four times.
template <typename T>
[[gnu::always_inline]] inline Quartet<T> repeat(Pixel<T> pixel) {
    if constexpr (sizeof(T) == 1) {
        const auto bits = reinterpret<std::uint32_t>(pixel);
        return reinterpret<Quartet<T>>(Vector<std::uint32_t, 16>{bits, bits, bits, bits});
    } else if constexpr (sizeof(T) == 2) {
        const auto bits = reinterpret<std::uint64_t>(pixel);
        return reinterpret<Quartet<T>>(Vector<std::uint64_t, 32>{bits, bits, bits, bits});
    } else {
        const auto bits = reinterpret<Vector<std::uint32_t, 16>>(pixel);
        return reinterpret<Quartet<T>>(
            __builtin_shufflevector(bits, bits, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3));
    }
}

/// Pixels 1 0 3 2.
template <typename T>
[[gnu::always_inline]] inline Quartet<T> swapNeighbours(Quartet<T> quartet) {
    if constexpr (sizeof(T) == 1) {
        const auto bits = reinterpret<Vector<std::uint32_t, 16>>(quartet);
        return reinterpret<Quartet<T>>(__builtin_shufflevector(bits, bits, 1, 0, 3, 2));
    } else if constexpr (sizeof(T) == 2) {
        const auto bits = reinterpret<Vector<std::uint64_t, 32>>(quartet);
        return reinterpret<Quartet<T>>(__builtin_shufflevector(bits, bits, 1, 0, 3, 2));
    } else {
        const auto bits = reinterpret<Vector<std::uint64_t, 64>>(quartet);
        return reinterpret<Quartet<T>>(__builtin_shufflevector(bits, bits, 2, 3, 0, 1, 6, 7, 4, 5));
    }
}

/// Pixels 2 3 0 1.
template <typename T>
[[gnu::always_inline]] inline Quartet<T> swapPairs(Quartet<T> quartet) {
    if constexpr (sizeof(T) == 1) {
        const auto bits = reinterpret<Vector<std::uint64_t, 16>>(quartet);
        return reinterpret<Quartet<T>>(__builtin_shufflevector(bits, bits, 1, 0));
    } else if constexpr (sizeof(T) == 2) {
        const auto bits = reinterpret<Vector<std::uint64_t, 32>>(quartet);
        return reinterpret<Quartet<T>>(__builtin_shufflevector(bits, bits, 2, 3, 0, 1));
    } else {
        const auto bits = reinterpret<Vector<std::uint64_t, 64>>(quartet);
        return reinterpret<Quartet<T>>(__builtin_shufflevector(bits, bits, 4, 5, 6, 7, 0, 1, 2, 3));
    }
}

/// Writes pixels 0 and 1, or 2 and 3.
template <typename T>
[[gnu::always_inline]] inline void storeFirstPair(T* to, Quartet<T> quartet) {
    using Pair = Vector<T, kQuartetBytes<T> / 2>;
    Pair pair;
    __builtin_memcpy(&pair, &quartet, sizeof pair);
    store(to, pair);
}
template <typename T>
[[gnu::always_inline]] inline void storeSecondPair(T* to, Quartet<T> quartet) {
    storeFirstPair<T>(to, swapPairs<T>(quartet));
}

}  // namespace
}  // namespace quorvel
