// SPDX-License-Identifier: MIT
// Reducing the measures of pixel columns to those of tiles and other runs of columns. If a register holds whole tiles,
// all that it holds are reduced at once; otherwise one after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "effect/depth.h"
#include "effect/fast/arrange-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// The lowest (highest) value of each channel of `width` pixels, at least one.
template <typename T, Extreme Which>
[[gnu::always_inline]] inline Pixel<T> minOrMaxAcross(const T* pixels, std::int32_t width) {
    if (width < 4) {
        using P = PixelVector<T>;
        P result = load<P>(pixels);
        for (std::int32_t i = 1; i < width; ++i) {
            result = minOrMax<Which>(load<P>(pixels + i * kChannelsPerPixel), result);
        }
        return firstPixel<T>(result);
    }
    using Q = Quartet<T>;
    // The last four pixels may overlap those before them.
    const std::ptrdiff_t tail = static_cast<std::ptrdiff_t>(width - 4) * kChannelsPerPixel;
    Q result = load<Q>(pixels + tail);
    for (std::ptrdiff_t i = 0; i < tail; i += 4 * kChannelsPerPixel) {
        result = minOrMax<Which>(load<Q>(pixels + i), result);
    }
    // p0 p1 p2 p3 -> p02 p13 p02 p13 -> p0123 in all places
    result = minOrMax<Which>(swapPairs<T>(result), result);
    result = minOrMax<Which>(swapNeighbours<T>(result), result);
    return firstPixel<T>(result);
}

/// Adds the sums of `width` columns to `sums`. Those of 256 columns of 256 rows fit.
template <typename T>
[[gnu::always_inline]] inline void addAcross(const ColumnMeasure<T>& measure, std::int32_t width, std::uint32_t* sums) {
    for (std::int32_t i = 0; i < width; ++i) {
        const auto* even = reinterpret_cast<const SumLane<T>*>(measure.even.pixel(i));
        const auto* odd = reinterpret_cast<const SumLane<T>*>(measure.odd.pixel(i));
        sums[0] += even[0];
        sums[1] += odd[0];
        sums[2] += even[1];
        sums[3] += odd[1];
    }
}

/// The sums of the tile that begins at pixel x of the measured rows.
template <typename T>
[[gnu::always_inline]] inline void sumTile(const ColumnMeasure<T>& measure, std::int32_t x, std::int32_t width,
                                           std::uint32_t* sums) {
    using Q = Vector<SumLane<T>, kQuartetBytes<T>>;
    const auto* masks = kFirstMasks<T>.ofWidth[width];
    const auto across = [&](const T* first) {
        const Q sum = (load<Q>(first) & load<Q>(masks)) + (load<Q>(first + 4 * kChannelsPerPixel) & load<Q>(masks + 4));
        const Q pairs = sum + swapPairs<T>(sum);
        return firstPixel<T>(pairs + swapNeighbours<T>(pairs));
    };
    SumLane<T> even[2];
    SumLane<T> odd[2];
    const Pixel<T> evens = across(measure.even.pixel(x));
    const Pixel<T> odds = across(measure.odd.pixel(x));
    __builtin_memcpy(even, &evens, sizeof even);
    __builtin_memcpy(odd, &odds, sizeof odd);
    sums[0] = even[0];
    sums[1] = odd[0];
    sums[2] = even[1];
    sums[3] = odd[1];
}

/// Whether a register holds whole tiles, so that all of them are reduced at once.
template <typename T>
inline constexpr bool kHoldsTiles = DepthOf<T>::kIsInteger&& kHasPermute<TileVector<T>>&& kHalvesPerVector<T> >= 2;

/// Swaps the halves of each tile.
// p0 p1 p2 p3 p4 p5 p6 p7 -> p4 p5 p6 p7 p0 p1 p2 p3
template <typename T, typename V>
[[gnu::always_inline]] inline V swapHalves(V value) {
    constexpr std::size_t kHalfWords = 2 * sizeof(T);
    const auto swapped = [&]<std::size_t... Word>(std::index_sequence<Word...>) {
        const auto words = reinterpret<Vector<std::uint64_t, sizeof(V)>>(value);
        return __builtin_shufflevector(words, words, (Word ^ kHalfWords)...);
    };
    return reinterpret<V>(swapped(std::make_index_sequence<sizeof(V) / 8>{}));
}

/// The first place of each tile in a register, side by side in the first 8 bytes.
// p0 ... p7, q0 ... q7 -> p0 q0 (8 bits);  p0 ... p7 -> p0 (16 bits)
using FirstPlaces = Vector<std::uint32_t, 16>;
template <typename T, typename V>
[[gnu::always_inline]] inline FirstPlaces firstPlaces(V value) {
    using Units = Vector<std::uint32_t, sizeof(V)>;
    const auto units = reinterpret<Units>(value);
    static_assert(Arrangement<T>::kTiles * sizeof(Pixel<T>) == 8 || sizeof(V) == 32);
    constexpr std::size_t kSecond = Arrangement<T>::kTiles == 2 ? sizeof(V) / 8 : 1;
    return __builtin_shufflevector(units, units, 0, kSecond, 0, kSecond);
}

/// The lowest (highest) values of each tile in a register, given those of its arranged columns.
// p0 ... p7, q0 ... q7 -> the extreme of p0 ... p7, that of q0 ... q7
template <typename T, Extreme Which>
[[gnu::always_inline]] inline FirstPlaces minOrMaxOfTiles(TileVector<T> columns) {
    columns = minOrMax<Which>(swapNeighbours<T>(columns), columns);
    columns = minOrMax<Which>(swapPairs<T>(columns), columns);
    return firstPlaces<T>(minOrMax<Which>(swapHalves<T>(columns), columns));
}
/// The sums of every second channel of each tile in a register, given those of its arranged columns. `unique` masks the
/// places that hold each column once.
// p0 ... p7, q0 ... q7 -> p0 + ... + p7, q0 + ... + q7
template <typename T>
[[gnu::always_inline]] inline FirstPlaces sumOfTiles(TileVector<T> columns, TileMask<T> unique) {
    using Sums = Vector<SumLane<T>, kTileVectorBytes<T>>;
    auto sums = reinterpret<Sums>(reinterpret<TileMask<T>>(columns) & unique);
    sums += swapNeighbours<T>(sums);
    sums += swapPairs<T>(sums);
    return firstPlaces<T>(sums + swapHalves<T>(sums));
}

/// Stores the sums of the tiles in a register, two of 8 bits or one of 16 bits, each tile's channels in their order.
// even e0 e2, f0 f2; odd e1 e3, f1 f3 -> e0 e1 e2 e3, f0 f1 f2 f3
template <typename T>
[[gnu::always_inline]] inline void storeSums(FirstPlaces even, FirstPlaces odd, std::uint32_t* to) {
    using Sums = Vector<SumLane<T>, 16>;
    const auto e = reinterpret<Sums>(even);
    const auto o = reinterpret<Sums>(odd);
    if constexpr (sizeof(SumLane<T>) < sizeof(std::uint32_t)) {
        // e0 e2 f0 f2 ..., e1 e3 f1 f3 ... -> e0 e1 e2 e3 f0 f1 f2 f3
        const auto ordered = __builtin_shufflevector(e, o, 0, 8, 1, 9, 2, 10, 3, 11);
        // The type depends on T, so that it is not formed where registers are too small for it.
        store(to, __builtin_convertvector(ordered, Vector<std::uint32_t, 32 * sizeof(T)>));
    } else {
        // e0 e2 ..., e1 e3 ... -> e0 e1 e2 e3
        store(to, __builtin_shufflevector(e, o, 0, 4, 1, 5));
    }
}

/// A NaN for each channel of which the sum of some column is not finite, zero for the others.
[[gnu::always_inline]] inline PixelVector<float> notFinite(const float* sums, std::int32_t width) {
    using Q = Quartet<float>;
    Q four{};
    std::int32_t i = 0;
    for (; i + 4 <= width; i += 4) {
        four = four + load<Q>(sums + i * kChannelsPerPixel);
    }
    four = four + swapPairs<float>(four);
    four = four + swapNeighbours<float>(four);
    auto sum = load<PixelVector<float>>(&four);
    for (; i < width; ++i) {
        sum += load<PixelVector<float>>(sums + i * kChannelsPerPixel);
    }
    return sum * PixelVector<float>{};  // infinity or NaN times zero is NaN
}

}  // namespace
}  // namespace quorvel::fast
