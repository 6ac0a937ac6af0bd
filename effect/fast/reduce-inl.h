// SPDX-License-Identifier: MIT
// From the measures of pixel columns to those of tiles and other runs of columns. Tiles are reduced one by one, or as
// many as a register holds at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "effect/fast/arrange-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// The lowest (highest) of each channel of `width` pixels, at least one.
template <typename T, bool Highest>
[[gnu::always_inline]] inline Pixel<T> extremeAcross(const T* pixels, std::int32_t width) {
    if (width < 4) {
        using P = PixelVector<T>;
        P result = load<P>(pixels);
        for (std::int32_t i = 1; i < width; ++i) {
            result = extreme<Highest>(load<P>(pixels + i * kChannelsPerPixel), result);
        }
        return firstPixel<T>(result);
    }
    using Q = Quartet<T>;
    // The last four pixels may overlap what went before.
    const std::ptrdiff_t tail = static_cast<std::ptrdiff_t>(width - 4) * kChannelsPerPixel;
    Q result = load<Q>(pixels + tail);
    for (std::ptrdiff_t i = 0; i < tail; i += 4 * kChannelsPerPixel) {
        result = extreme<Highest>(load<Q>(pixels + i), result);
    }
    result = extreme<Highest>(swapPairs<T>(result), result);
    result = extreme<Highest>(swapNeighbours<T>(result), result);
    return firstPixel<T>(result);
}

/// Ones in the SumLanes of the first `width` of eight pixels.
template <typename T>
struct FirstPixels {
    Pixel<Mask<T>> ofWidth[kMaximumTileSize + 1][kMaximumTileSize];
};
template <typename T>
constexpr FirstPixels<T> findFirstPixels() {
    FirstPixels<T> masks{};
    for (int width = 0; width <= kMaximumTileSize; ++width) {
        for (int i = 0; i < width; ++i) {
            for (auto& mask : masks.ofWidth[width][i].channel) {
                mask = maskOf<T>(true);
            }
        }
    }
    return masks;
}
template <typename T>
inline constexpr FirstPixels<T> kFirstPixels = findFirstPixels<T>();

/// Adds up the sums of columns. 256 of 256 rows each fit.
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

/// The sums of the tile that begins at x in the rows.
template <typename T>
[[gnu::always_inline]] inline void sumTile(const ColumnMeasure<T>& measure, std::int32_t x, std::int32_t width,
                                           std::uint32_t* sums) {
    using Q = Vector<SumLane<T>, kQuartetBytes<T>>;
    const auto* masks = kFirstPixels<T>.ofWidth[width];
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

/// Whether a register holds whole tiles. They are measured that way then.
template <typename T>
inline constexpr bool kHoldsTiles = sizeof(T) <= 2 && kHasPermute<Wide<T>>&& kHalvesPerWide<T> >= 2;

/// The two halves of each tile change places.
template <typename T, typename V>
[[gnu::always_inline]] inline V swapHalves(V value) {
    constexpr std::size_t kHalfWords = 2 * sizeof(T);
    const auto swapped = [&]<std::size_t... Word>(std::index_sequence<Word...>) {
        const auto words = reinterpret<Vector<std::uint64_t, sizeof(V)>>(value);
        return __builtin_shufflevector(words, words, (Word ^ kHalfWords)...);
    };
    return reinterpret<V>(swapped(std::make_index_sequence<sizeof(V) / 8>{}));
}

/// What stands in the first place of each of a register's tiles, side by side in the first 8 bytes.
using FirstPlaces = Vector<std::uint32_t, 16>;
template <typename T, typename V>
[[gnu::always_inline]] inline FirstPlaces firstPlaces(V value) {
    using Units = Vector<std::uint32_t, sizeof(V)>;
    const auto units = reinterpret<Units>(value);
    static_assert(Arrangement<T>::kTiles * sizeof(Pixel<T>) == 8 || sizeof(V) == 32);
    constexpr std::size_t kSecond = Arrangement<T>::kTiles == 2 ? sizeof(V) / 8 : 1;
    return __builtin_shufflevector(units, units, 0, kSecond, 0, kSecond);
}

/// Measures across the tiles of a register: their lowest or highest values, their sums of every second channel.
template <typename T, bool Highest>
[[gnu::always_inline]] inline FirstPlaces extremeOfTiles(Wide<T> columns) {
    columns = extreme<Highest>(swapNeighbours<T>(columns), columns);
    columns = extreme<Highest>(swapPairs<T>(columns), columns);
    return firstPlaces<T>(extreme<Highest>(swapHalves<T>(columns), columns));
}
template <typename T>
[[gnu::always_inline]] inline FirstPlaces sumOfTiles(Wide<T> columns, WideMask<T> unique) {
    using Sums = Vector<SumLane<T>, kWideBytes<T>>;
    auto sums = reinterpret<Sums>(reinterpret<WideMask<T>>(columns) & unique);
    sums += swapNeighbours<T>(sums);
    sums += swapPairs<T>(sums);
    return firstPlaces<T>(sums + swapHalves<T>(sums));
}

/// Stores the sums of a register's tiles, each tile's channels in their order: two tiles' of 8 bits, or one's of 16.
template <typename T>
[[gnu::always_inline]] inline void storeSums(FirstPlaces even, FirstPlaces odd, std::uint32_t* to) {
    using Lanes16 = Vector<SumLane<T>, 16>;
    const auto e = reinterpret<Lanes16>(even);
    const auto o = reinterpret<Lanes16>(odd);
    if constexpr (sizeof(T) == 1) {
        const auto ordered = __builtin_shufflevector(e, o, 0, 8, 1, 9, 2, 10, 3, 11);
        // Where registers are too small for this type it is not asked for, as long as it depends on T.
        store(to, __builtin_convertvector(ordered, Vector<std::uint32_t, 32 * sizeof(T)>));
    } else {
        store(to, __builtin_shufflevector(e, o, 0, 4, 1, 5));
    }
}

/// NaNs in the channels of which some column's sum is no finite number, zeros in the others.
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
    return sum * PixelVector<float>{};  // zero times what is not finite is a NaN
}

}  // namespace
}  // namespace quorvel::fast
