// SPDX-License-Identifier: MIT
// Moving channels and pixels within vectors.
//
// Each function is shown as a picture, memory order from left to right: "a0 a1, b0 b1 -> a0 b0, a1 b1" takes two
// vectors of two items each and gives two. Where a picture shows four pixels, every four pixels of a longer vector are
// treated alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "effect/depth.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Items at the places `Order` of two registers; an item has `Units` units of 32 bits.
// a0 a1, b0 b1; Order 2, 1 -> b0 a1
template <std::size_t Units, typename V, std::size_t... Order>
[[gnu::always_inline]] inline V pickItems(V a, V b, std::index_sequence<Order...>) {
    // In lanes as wide as possible: compilers find the instructions for those.
    using Word = Unsigned<Units % 2 == 0 ? 8 : 4>;
    constexpr std::size_t kWords = 4 * Units / sizeof(Word);
    const auto picked = [&]<std::size_t... Lane>(std::index_sequence<Lane...>) {
        constexpr std::size_t kOrder[] = {Order...};
        using Words = Vector<Word, sizeof(V)>;
        return __builtin_shufflevector(reinterpret<Words>(a), reinterpret<Words>(b),
                                       (kOrder[Lane / kWords] * kWords + Lane % kWords)...);
    };
    return reinterpret<V>(picked(std::make_index_sequence<sizeof(V) / sizeof(Word)>{}));
}

template <typename V, typename Half, std::size_t... Lane>
[[gnu::always_inline]] inline V joinedLanes(Half a, Half b, std::index_sequence<Lane...>) {
    return reinterpret<V>(__builtin_shufflevector(a, b, Lane...));
}
/// One register of two halves.
// a0 a1, b0 b1 -> a0 a1 b0 b1
template <typename V, typename Half>
[[gnu::always_inline]] inline V joined(Half a, Half b) {
    static_assert(sizeof(V) == 2 * sizeof(Half));
    using Words = Vector<std::uint64_t, sizeof(Half)>;
    return joinedLanes<V>(reinterpret<Words>(a), reinterpret<Words>(b),
                          std::make_index_sequence<sizeof(V) / sizeof(std::uint64_t)>{});
}

/// Item `Index` of a vector of four registers, each of which holds one item.
// [i0] [i1] [i2] [i3] -> [iIndex]
template <std::size_t Index, typename V>
[[gnu::always_inline]] inline auto registerOf(V value) {
    if constexpr (Index == 0) {
        return value.low.low;
    } else if constexpr (Index == 1) {
        return value.low.high;
    } else if constexpr (Index == 2) {
        return value.high.low;
    } else {
        return value.high.high;
    }
}

/// Permutes each four items; an item has `Units` units of 32 bits.
// i0 i1 i2 i3 -> iA iB iC iD
template <std::size_t Units, std::size_t A, std::size_t B, std::size_t C, std::size_t D, typename V>
[[gnu::always_inline]] inline V permuteItems(V value) {
    constexpr std::size_t kItemBytes = 4 * Units;
    constexpr std::size_t kGroupBytes = 4 * kItemBytes;
    if constexpr (sizeof(V) > kGroupBytes && kIsSplit<V>) {
        return {permuteItems<Units, A, B, C, D>(value.low), permuteItems<Units, A, B, C, D>(value.high)};
    } else if constexpr (!kIsSplit<V>) {
        const auto permuted = [&]<std::size_t... Item>(std::index_sequence<Item...>) {
            constexpr std::size_t kOrder[] = {A, B, C, D};
            return pickItems<Units>(value, value, std::index_sequence<(Item / 4 * 4 + kOrder[Item % 4])...>{});
        };
        return permuted(std::make_index_sequence<sizeof(V) / kItemBytes>{});
    } else if constexpr (kIsSplit<typename V::Half>) {
        static_assert(kItemBytes == kVectorBytes);
        return {{registerOf<A>(value), registerOf<B>(value)}, {registerOf<C>(value), registerOf<D>(value)}};
    } else {
        return {pickItems<Units>(value.low, value.high, std::index_sequence<A, B>{}),
                pickItems<Units>(value.low, value.high, std::index_sequence<C, D>{})};
    }
}

/// Permutes each four pixels.
// p0 p1 p2 p3 -> pA pB pC pD
template <typename T, std::size_t A, std::size_t B, std::size_t C, std::size_t D, typename V>
[[gnu::always_inline]] inline V permutePixels(V value) {
    return permuteItems<sizeof(T), A, B, C, D>(value);
}
// p0 p1 p2 p3 -> p1 p0 p3 p2
template <typename T, typename V>
[[gnu::always_inline]] inline V swapNeighbours(V value) {
    return permutePixels<T, 1, 0, 3, 2>(value);
}
// p0 p1 p2 p3 -> p2 p3 p0 p1
template <typename T, typename V>
[[gnu::always_inline]] inline V swapPairs(V value) {
    return permutePixels<T, 2, 3, 0, 1>(value);
}

/// Every second pixel of two registers, from pixel `First` on.
// a0 a1 a2 a3, b0 b1 b2 b3 -> a0 a2 b0 b2 (First 0), a1 a3 b1 b3 (First 1)
template <typename T, std::size_t First, typename V>
[[gnu::always_inline]] inline V everySecondPixel(V a, V b) {
    const auto picked = [&]<std::size_t... Pixel>(std::index_sequence<Pixel...>) {
        return pickItems<sizeof(T)>(a, b, std::index_sequence<(2 * Pixel + First)...>{});
    };
    return picked(std::make_index_sequence<sizeof(V) / (kChannelsPerPixel * sizeof(T))>{});
}

/// The first half of a register's pixels, each twice. Loads the whole register.
// p0 p1 p2 p3 -> p0 p0 p1 p1;  p0 -> p0 if a register holds one pixel
template <typename T, typename V>
[[gnu::always_inline]] inline V doubledPixels(const void* from) {
    constexpr std::size_t kPixels = sizeof(V) / (kChannelsPerPixel * sizeof(T));
    const V pixels = load<V>(from);
    const auto doubled = [&]<std::size_t... Pixel>(std::index_sequence<Pixel...>) {
        return pickItems<sizeof(T)>(pixels, pixels, std::index_sequence<Pixel / 2 ...>{});
    };
    return doubled(std::make_index_sequence<kPixels>{});
}

/// Swaps neighbouring channels of each pixel.
// c0 c1 c2 c3 -> c1 c0 c3 c2
template <typename T, typename V>
[[gnu::always_inline]] inline V swapChannels(V value) {
    if constexpr (DepthOf<T>::kIsInteger) {
        const auto pairs = reinterpret<Vector<Unsigned<2 * sizeof(T)>, sizeof(V)>>(value);
        return reinterpret<V>(shiftedLeft<8 * sizeof(T)>(pairs) | shiftedRight<8 * sizeof(T)>(pairs));
    } else {
        return permuteItems<1, 1, 0, 3, 2>(value);
    }
}

/// One channel of each pixel in the place of all four.
// c0 c1 c2 c3 -> cN cN cN cN, N being `Channel`
template <typename T, std::size_t Channel, typename V>
[[gnu::always_inline]] inline V everyChannel(V value) {
    if constexpr (kIsSplit<V>) {
        return {everyChannel<T, Channel>(value.low), everyChannel<T, Channel>(value.high)};
    } else if constexpr (sizeof(T) > 1 || sizeof(V) > 16) {
        const auto repeated = [&]<std::size_t... Lane>(std::index_sequence<Lane...>) {
            using Channels = Vector<Mask<T>, sizeof(V)>;
            const auto channels = reinterpret<Channels>(value);
            return __builtin_shufflevector(channels, channels, (Lane / 4 * 4 + Channel)...);
        };
        return reinterpret<V>(repeated(std::make_index_sequence<sizeof(V) / sizeof(T)>{}));
    } else {
        // The baseline has no instruction that permutes bytes.
        using Words = Vector<std::uint32_t, sizeof(V)>;
        Words word = shiftedRight<8 * Channel>(reinterpret<Words>(value)) & 0xFFU;
        word = word | shiftedLeft<8>(word);
        return reinterpret<V>(word | shiftedLeft<16>(word));
    }
}

/// One step of a transposition, for each two lanes of `Bits` bits.
// a0 a1, b0 b1 -> a0 b0, a1 b1
template <int Bits, typename V>
[[gnu::always_inline]] inline void exchange(V& a, V& b) {
    if constexpr (kIsSplit<V>) {
        exchange<Bits>(a.low, b.low);
        exchange<Bits>(a.high, b.high);
    } else if constexpr (Bits <= 32) {
        using Pair = Unsigned<2 * static_cast<std::size_t>(Bits) / 8>;
        using Pairs = Vector<Pair, sizeof(V)>;
        const Pairs first = splat<Pairs>(static_cast<Pair>((std::uint64_t{1} << Bits) - 1));
        const auto x = reinterpret<Pairs>(a);
        const auto y = reinterpret<Pairs>(b);
        a = reinterpret<V>((x & first) | (y << Bits));
        b = reinterpret<V>((x >> Bits) | (y & ~first));
    } else {
        const auto unpacked = [&]<std::size_t... Lane>(std::index_sequence<Lane...>) {
            using Words = Vector<std::uint64_t, sizeof(V)>;
            const auto x = reinterpret<Words>(a);
            const auto y = reinterpret<Words>(b);
            constexpr std::size_t kWords = sizeof...(Lane);
            a = reinterpret<V>(__builtin_shufflevector(x, y, (Lane / 2 * 2 + Lane % 2 * kWords)...));
            b = reinterpret<V>(__builtin_shufflevector(x, y, (Lane / 2 * 2 + 1 + Lane % 2 * kWords)...));
        };
        unpacked(std::make_index_sequence<sizeof(V) / 8>{});
    }
}

/// Transposes the channels of the pixels that stand at the same place of four registers.
// a0 a1 a2 a3,    a0 b0 c0 d0,
// b0 b1 b2 b3, -> a1 b1 c1 d1,
// c0 c1 c2 c3,    a2 b2 c2 d2,
// d0 d1 d2 d3     a3 b3 c3 d3
template <typename T, typename V>
[[gnu::always_inline]] inline void transpose(V (&rows)[4]) {
    constexpr int kBits = 8 * sizeof(T);
    exchange<kBits>(rows[0], rows[1]);
    exchange<kBits>(rows[2], rows[3]);
    exchange<2 * kBits>(rows[0], rows[2]);
    exchange<2 * kBits>(rows[1], rows[3]);
}

}  // namespace
}  // namespace quorvel::fast
