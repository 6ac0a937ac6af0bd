// SPDX-License-Identifier: MIT
// Vectors of channels, and the operations that treat each lane (each element of a vector) by itself.
// permute-inl.h moves lanes.
//
// The file is compiled once per instruction set. So everything in it has internal linkage, and it may use no function
// that the linker would merge with the same function compiled for another set.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// The size of a register of the instruction set that this file is compiled for.
#if defined(__AVX512BW__)
inline constexpr std::size_t kVectorBytes = 64;
#elif defined(__AVX2__)
inline constexpr std::size_t kVectorBytes = 32;
#else
inline constexpr std::size_t kVectorBytes = 16;
#endif

template <typename T, std::size_t Bytes>
struct NativeVector {
    typedef T Type __attribute__((vector_size(Bytes)));
};

template <typename T, std::size_t Bytes>
struct SplitVector;
/// A vector of any power of two of bytes. One that is larger than a register is made of two halves, because compilers
/// compare too large vectors lane by lane.
template <typename T, std::size_t Bytes>
using Vector = typename std::conditional_t<(Bytes > kVectorBytes), SplitVector<T, Bytes>, NativeVector<T, Bytes>>::Type;

/// A vector made of two halves, with the operators of native vectors.
template <typename T, std::size_t Bytes>
struct SplitVector {
    using Type = SplitVector;
    using Half = Vector<T, Bytes / 2>;
    Half low;
    Half high;

    // Without these, compilers copy the structure in smaller pieces, through memory.
    SplitVector() = default;
    [[gnu::always_inline]] inline SplitVector(Half first, Half second) : low(first), high(second) {}
    [[gnu::always_inline]] inline SplitVector(const SplitVector& other) : low(other.low), high(other.high) {}
    [[gnu::always_inline]] inline SplitVector& operator=(const SplitVector& other) {
        low = other.low;
        high = other.high;
        return *this;
    }

    [[gnu::always_inline]] friend inline SplitVector operator&(SplitVector a, SplitVector b) {
        return {a.low & b.low, a.high & b.high};
    }
    [[gnu::always_inline]] friend inline SplitVector operator|(SplitVector a, SplitVector b) {
        return {a.low | b.low, a.high | b.high};
    }
    [[gnu::always_inline]] friend inline SplitVector operator^(SplitVector a, SplitVector b) {
        return {a.low ^ b.low, a.high ^ b.high};
    }
    [[gnu::always_inline]] friend inline SplitVector operator~(SplitVector a) { return {~a.low, ~a.high}; }
    [[gnu::always_inline]] friend inline SplitVector operator+(SplitVector a, SplitVector b) {
        return {a.low + b.low, a.high + b.high};
    }
    [[gnu::always_inline]] friend inline SplitVector operator*(SplitVector a, SplitVector b) {
        return {a.low * b.low, a.high * b.high};
    }
    [[gnu::always_inline]] friend inline SplitVector operator/(SplitVector a, SplitVector b) {
        return {a.low / b.low, a.high / b.high};
    }
    [[gnu::always_inline]] friend inline SplitVector operator-(SplitVector a, SplitVector b) {
        return {a.low - b.low, a.high - b.high};
    }
};
template <typename V>
inline constexpr bool kHoldsFloats = std::is_same_v<std::remove_cvref_t<decltype(V{}[0])>, float>;
#if defined(__AVX512BW__)
/// All lanes. GCC warns about its own intrinsics without a mask.
inline constexpr __mmask16 kAllUnits = 0xFFFF;
#endif

template <typename V>
inline constexpr bool kIsSplit = false;
template <typename T, std::size_t Bytes>
inline constexpr bool kIsSplit<SplitVector<T, Bytes>> = true;

/// The unsigned integer of 1, 2, 4 or 8 bytes.
template <std::size_t Bytes>
struct UnsignedOf;
template <>
struct UnsignedOf<1> {
    using Type = std::uint8_t;
};
template <>
struct UnsignedOf<2> {
    using Type = std::uint16_t;
};
template <>
struct UnsignedOf<4> {
    using Type = std::uint32_t;
};
template <>
struct UnsignedOf<8> {
    using Type = std::uint64_t;
};
template <std::size_t Bytes>
using Unsigned = typename UnsignedOf<Bytes>::Type;

/// A mask of one channel: all ones or all zeros.
template <typename T>
using Mask = Unsigned<sizeof(T)>;
template <typename T>
constexpr Mask<T> maskOf(bool set) {
    return static_cast<Mask<T>>(set ? ~Mask<T>{0} : Mask<T>{0});
}

/// A lane for sums, twice the size of an integer channel; a pixel has two, for channels 0 and 2 or for 1 and 3.
/// 2^bits + 1 summands fit.
template <typename T>
using SumLane = Unsigned<2 * sizeof(T)>;

/// A register of channels.
template <typename T>
using Register = Vector<T, kVectorBytes>;
template <typename T>
inline constexpr std::int32_t kRegisterChannels = static_cast<std::int32_t>(kVectorBytes / sizeof(T));
template <typename T>
inline constexpr std::int32_t kRegisterPixels = kRegisterChannels<T> / kChannelsPerPixel;

/// Vectors of one pixel, and of four pixels.
template <typename T>
using PixelVector = Vector<T, kChannelsPerPixel * sizeof(T)>;
template <typename T>
inline constexpr std::size_t kQuartetBytes = 4 * kChannelsPerPixel * sizeof(T);
template <typename T>
using Quartet = Vector<T, kQuartetBytes<T>>;

/// One pixel, for the few steps taken channel by channel.
template <typename T>
struct Pixel {
    T channel[kChannelsPerPixel];
};

// Rows start anywhere, so no address is assumed to be aligned.
template <typename V>
[[gnu::always_inline]] inline V load(const void* from) {
    if constexpr (kIsSplit<V>) {
        using Half = typename V::Half;
        return {load<Half>(from), load<Half>(static_cast<const char*>(from) + sizeof(Half))};
    } else {
        V value;
        __builtin_memcpy(&value, from, sizeof value);
        return value;
    }
}
template <typename V>
[[gnu::always_inline]] inline void store(void* to, V value) {
    if constexpr (kIsSplit<V>) {
        store(to, value.low);
        store(static_cast<char*>(to) + sizeof(typename V::Half), value.high);
    } else {
        __builtin_memcpy(to, &value, sizeof value);
    }
}

/// The address `further` items after `from`. It may be outside the picture, where pointer arithmetic is not defined.
template <typename T>
[[gnu::always_inline]] inline const void* addressAfter(const T* from, std::ptrdiff_t further) {
    const auto address = reinterpret_cast<std::uintptr_t>(from) + static_cast<std::uintptr_t>(further) * sizeof(T);
    return reinterpret_cast<const void*>(address);  // NOLINT(performance-no-int-to-ptr)
}
/// Prefetches the memory `further` items after `from`. Memory for a later row goes into the second cache, because in
/// the first it would evict data still in use; memory for the next row goes into the first.
template <typename T>
[[gnu::always_inline]] inline void fetchToReadLater(const T* from, std::ptrdiff_t further) {
    __builtin_prefetch(addressAfter(from, further), 0, 2);
}
template <typename T>
[[gnu::always_inline]] inline void fetchToWriteLater(const T* from, std::ptrdiff_t further) {
    __builtin_prefetch(addressAfter(from, further), 1, 2);
}
template <typename T>
[[gnu::always_inline]] inline void fetchToWriteNext(const T* from, std::ptrdiff_t further) {
    __builtin_prefetch(addressAfter(from, further), 1, 3);
}

template <typename To, typename From>
[[gnu::always_inline]] inline To reinterpret(From value) {
    static_assert(sizeof(To) == sizeof(From));
    if constexpr (kIsSplit<To>) {
        using Half = typename To::Half;
        return {reinterpret<Half>(value.low), reinterpret<Half>(value.high)};
    } else {
        To result;
        __builtin_memcpy(&result, &value, sizeof result);
        return result;
    }
}

/// How many channels after `address` the next register-aligned address is; less than a register holds.
template <typename T>
[[gnu::always_inline]] inline std::int32_t channelsToAlignment(const T* address) {
    const auto over = static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(address) % kVectorBytes);
    return static_cast<std::int32_t>((kVectorBytes - over) % kVectorBytes / sizeof(T));
}

/// `value` in every lane.
template <typename V, typename T>
[[gnu::always_inline]] inline V splat(T value) {
    if constexpr (kIsSplit<V>) {
        const auto half = splat<typename V::Half>(value);
        return {half, half};
    } else {
        return value - V{};  // the scalar is repeated; subtracting zero changes no bit, not even of a float
    }
}

/// Per lane: `value` if it is smaller (larger) than `kept`, else `kept`. So a NaN in either gives `kept`.
template <typename V>
[[gnu::always_inline]] inline V smaller(V value, V kept) {
    if constexpr (kIsSplit<V>) {
        return {smaller(value.low, kept.low), smaller(value.high, kept.high)};
    } else if constexpr (!kHoldsFloats<V>) {
        return value < kept ? value : kept;
    } else if constexpr (sizeof(V) == 16) {
        // The instruction does exactly this, but compilers do not always find it.
        return reinterpret<V>(_mm_min_ps(reinterpret<__m128>(value), reinterpret<__m128>(kept)));
#if defined(__AVX2__)
    } else if constexpr (sizeof(V) == 32) {
        return reinterpret<V>(_mm256_min_ps(reinterpret<__m256>(value), reinterpret<__m256>(kept)));
#endif
#if defined(__AVX512BW__)
    } else {
        return reinterpret<V>(_mm512_maskz_min_ps(kAllUnits, reinterpret<__m512>(value), reinterpret<__m512>(kept)));
#endif
    }
}
template <typename V>
[[gnu::always_inline]] inline V larger(V value, V kept) {
    if constexpr (kIsSplit<V>) {
        return {larger(value.low, kept.low), larger(value.high, kept.high)};
    } else if constexpr (!kHoldsFloats<V>) {
        return value > kept ? value : kept;
    } else if constexpr (sizeof(V) == 16) {
        return reinterpret<V>(_mm_max_ps(reinterpret<__m128>(value), reinterpret<__m128>(kept)));
#if defined(__AVX2__)
    } else if constexpr (sizeof(V) == 32) {
        return reinterpret<V>(_mm256_max_ps(reinterpret<__m256>(value), reinterpret<__m256>(kept)));
#endif
#if defined(__AVX512BW__)
    } else {
        return reinterpret<V>(_mm512_maskz_max_ps(kAllUnits, reinterpret<__m512>(value), reinterpret<__m512>(kept)));
#endif
    }
}

/// The two ends of a spread, for code that is written once for both.
enum class Extreme : std::uint8_t { Lowest, Highest };

/// smaller() or larger().
template <Extreme Which, typename V>
[[gnu::always_inline]] inline V minOrMax(V value, V kept) {
    if constexpr (Which == Extreme::Highest) {
        return larger(value, kept);
    } else {
        return smaller(value, kept);
    }
}

/// The mask of the lanes in which `value` is at most `limit`.
template <typename M, typename V>
[[gnu::always_inline]] inline M atMost(V value, V limit) {
    if constexpr (kIsSplit<V>) {
        using Half = typename M::Half;
        return {atMost<Half>(value.low, limit.low), atMost<Half>(value.high, limit.high)};
    } else {
        return reinterpret<M>(value <= limit);
    }
}
/// The mask of the lanes in which both are equal.
template <typename M, typename V>
[[gnu::always_inline]] inline M equal(V a, V b) {
    if constexpr (kIsSplit<V>) {
        using Half = typename M::Half;
        return {equal<Half>(a.low, b.low), equal<Half>(a.high, b.high)};
    } else {
        return reinterpret<M>(a == b);
    }
}

/// Each lane of an integer vector, shifted right or left.
template <int Bits, typename V>
[[gnu::always_inline]] inline V shiftedRight(V value) {
    if constexpr (kIsSplit<V>) {
        return {shiftedRight<Bits>(value.low), shiftedRight<Bits>(value.high)};
    } else {
        return value >> Bits;
    }
}
template <int Bits, typename V>
[[gnu::always_inline]] inline V shiftedLeft(V value) {
    if constexpr (kIsSplit<V>) {
        return {shiftedLeft<Bits>(value.low), shiftedLeft<Bits>(value.high)};
    } else {
        return value << Bits;
    }
}

/// Per 16-bit lane: the upper 16 bits of the 32-bit product.
template <typename V>
[[gnu::always_inline]] inline V highProduct(V a, V b) {
    if constexpr (kIsSplit<V>) {
        return {highProduct(a.low, b.low), highProduct(a.high, b.high)};
    } else if constexpr (sizeof(V) == 16) {
        return reinterpret<V>(_mm_mulhi_epu16(reinterpret<__m128i>(a), reinterpret<__m128i>(b)));
#if defined(__AVX2__)
    } else if constexpr (sizeof(V) == 32) {
        return reinterpret<V>(_mm256_mulhi_epu16(reinterpret<__m256i>(a), reinterpret<__m256i>(b)));
#endif
#if defined(__AVX512BW__)
    } else {
        return reinterpret<V>(_mm512_mulhi_epu16(reinterpret<__m512i>(a), reinterpret<__m512i>(b)));
#endif
    }
}

/// Per 32-bit lane: (value + 0.5) * factor, truncated. Values must be below 2^23, so that a float can hold the half.
template <typename V, typename F>
[[gnu::always_inline]] inline V truncatedProduct(V value, F factor) {
    if constexpr (kIsSplit<V>) {
        return {truncatedProduct(value.low, factor.low), truncatedProduct(value.high, factor.high)};
    } else {
        using Integers = Vector<std::int32_t, sizeof(V)>;
        const F product = (__builtin_convertvector(reinterpret<Integers>(value), F) + 0.5F) * factor;
        return reinterpret<V>(__builtin_convertvector(product, Integers));
    }
}

/// Whether all bits are zeros (ones).
template <typename V>
[[gnu::always_inline]] inline bool allZeros(V mask) {
    if constexpr (kIsSplit<V>) {
        return allZeros(mask.low | mask.high);
#if defined(__AVX512BW__)
    } else if constexpr (sizeof(V) == 64) {
        return _mm512_test_epi32_mask(reinterpret<__m512i>(mask), reinterpret<__m512i>(mask)) == 0;
#endif
#if defined(__AVX2__)
    } else if constexpr (sizeof(V) == 32) {
        return _mm256_testz_si256(reinterpret<__m256i>(mask), reinterpret<__m256i>(mask)) != 0;
#endif
    } else {
        return _mm_movemask_epi8(_mm_cmpeq_epi8(reinterpret<__m128i>(mask), __m128i{})) == 0xFFFF;
    }
}
template <typename V>
[[gnu::always_inline]] inline bool allOnes(V mask) {
    return allZeros(~mask);
}

/// Bit by bit: `a` where the mask is set, else `b`.
template <typename M, typename V>
[[gnu::always_inline]] inline V select(M mask, V a, V b) {
    return reinterpret<V>((reinterpret<M>(a) & mask) | (reinterpret<M>(b) & ~mask));
}

/// One pixel, or its masks, in every pixel's place.
// p -> p p p p
template <typename V, typename P>
[[gnu::always_inline]] inline V repeat(P pixel) {
    if constexpr (kIsSplit<V>) {
        const auto half = repeat<typename V::Half>(pixel);
        return {half, half};
    } else if constexpr (sizeof(P) == 4) {
        return reinterpret<V>(splat<Vector<std::uint32_t, sizeof(V)>>(reinterpret<std::uint32_t>(pixel)));
    } else if constexpr (sizeof(P) == 8) {
        return reinterpret<V>(splat<Vector<std::uint64_t, sizeof(V)>>(reinterpret<std::uint64_t>(pixel)));
    } else {
        const auto bits = reinterpret<Vector<std::uint32_t, 16>>(pixel);
        // p0 p1 p2 p3 -> p0 p1 p2 p3 p0 p1 p2 p3 ..., a float pixel being four units
        const auto repeated = [&]<std::size_t... Lane>(std::index_sequence<Lane...>) {
            return __builtin_shufflevector(bits, bits, (Lane % 4)...);
        };
        return reinterpret<V>(repeated(std::make_index_sequence<sizeof(V) / 4>{}));
    }
}

/// A vector's first pixel.
template <typename T, typename V>
[[gnu::always_inline]] inline Pixel<T> firstPixel(V value) {
    if constexpr (kIsSplit<V>) {
        return firstPixel<T>(value.low);
    } else {
        Pixel<T> pixel;
        __builtin_memcpy(&pixel, &value, sizeof pixel);
        return pixel;
    }
}

/// Whether permuteUnits() takes a V: whether there is an instruction whose order is known only at run time.
template <typename V>
inline constexpr bool kHasPermute = !kIsSplit<V> && sizeof(V) >= 32;

/// Whether storeUnits() takes a V: whether storing a part of a register costs little more than storing all of it.
template <typename V>
inline constexpr bool kHasMaskedStore = !kIsSplit<V> && sizeof(V) == 64;

/// Stores the first `units` 32-bit units, at most 16, and leaves the memory after them alone.
template <typename V>
[[gnu::always_inline]] inline void storeUnits([[maybe_unused]] void* to, [[maybe_unused]] V value,
                                              [[maybe_unused]] std::int32_t units) {
    static_assert(kHasMaskedStore<V>);
#if defined(__AVX512BW__)
    _mm512_mask_storeu_epi32(to, static_cast<__mmask16>((1U << units) - 1U), reinterpret<__m512i>(value));
#endif
}

/// Unit i of the result is unit places[i] of `value`; units have 32 bits.
// u0 u1 u2 ..., places 2 0 0 ... -> u2 u0 u0 ...
template <typename V, typename Places>
[[gnu::always_inline]] inline V permuteUnits([[maybe_unused]] V value, [[maybe_unused]] Places places) {
    static_assert(kHasPermute<V> && sizeof(V) == sizeof(Places));
#if defined(__AVX512BW__)
    if constexpr (sizeof(V) == 64) {
        return reinterpret<V>(
            _mm512_maskz_permutexvar_epi32(kAllUnits, reinterpret<__m512i>(places), reinterpret<__m512i>(value)));
    }
#endif
#if defined(__AVX2__)
    if constexpr (sizeof(V) == 32) {
        return reinterpret<V>(_mm256_permutevar8x32_epi32(reinterpret<__m256i>(value), reinterpret<__m256i>(places)));
    }
#endif
}

}  // namespace
}  // namespace quorvel::fast
