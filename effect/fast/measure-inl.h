// SPDX-License-Identifier: MIT
// Measuring: the lowest and highest value of each channel, and sums of integers, first down the rows, then across the
// columns.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/arrange-inl.h"
#include "effect/fast/busy-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/job.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/picture-inl.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/reduce-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// So many rows, and columns, can be summed up without an overflow: columns in SumLanes, and all in 32 bits.
inline constexpr std::int32_t kMostSummands = 256;
static_assert(kLargestTiledBlock <= kMostSummands);

/// Measures a vector's worth of columns, from channel `lane` of the rows on. Carries on with what stands there, unless
/// this is a fresh measure.
template <typename Depth, typename V>
[[gnu::always_inline]] inline void measureColumn(const typename Depth::Channel* from, std::ptrdiff_t stride,
                                                 std::int32_t rows, std::int32_t lane, bool fresh,
                                                 ColumnMeasure<typename Depth::Channel>& measure) {
    using T = typename Depth::Channel;
    T* const lowest = measure.low.channels() + lane;
    T* const highest = measure.high.channels() + lane;
    V low = fresh ? splat<V>(Depth::kMinimumStart) : load<V>(lowest);
    V high = fresh ? splat<V>(Depth::kMaximumStart) : load<V>(highest);
    if constexpr (sizeof(T) <= 2) {
        using Sums = Vector<SumLane<T>, sizeof(V)>;
        constexpr int kBits = 8 * sizeof(T);
        T* const evens = measure.even.channels() + lane;
        T* const odds = measure.odd.channels() + lane;
        Sums odd = fresh ? Sums{} : load<Sums>(odds);
        // Even channels and 2^bits times the odd ones; what overflows is known in the end.
        Sums both = fresh ? Sums{} : load<Sums>(evens) + (odd << kBits);
        for (std::int32_t j = 0; j < rows; ++j, from += stride) {
            fetchToReadLater(from, rows * stride);  // the same row of the tiles below
            const V value = load<V>(from);
            low = smaller(value, low);
            high = larger(value, high);
            const auto lanes = reinterpret<Sums>(value);
            both += lanes;
            odd += lanes >> kBits;
        }
        store(evens, both - (odd << kBits));
        store(odds, odd);
    } else {
        T* const sums = measure.even.channels() + lane;
        V sum = fresh ? V{} : load<V>(sums);
        for (std::int32_t j = 0; j < rows; ++j, from += stride) {
            fetchToReadLater(from, rows * stride);
            const V value = load<V>(from);
            low = smaller(value, low);
            high = larger(value, high);
            sum += value;
        }
        store(sums, sum);
    }
    store(lowest, low);
    store(highest, high);
}

/// Measures each of `lanes` channel columns over some rows, afresh or carrying on. At most kMostSummands rows in all.
template <typename Depth>
[[gnu::always_inline]] inline void measureRows(const typename Depth::Channel* from, std::ptrdiff_t stride,
                                               std::int32_t rows, std::int32_t lanes, bool fresh,
                                               ColumnMeasure<typename Depth::Channel>& measure) {
    using T = typename Depth::Channel;
    std::int32_t i = 0;
    const std::int32_t aligned = lanesToAlignment(from);
    if (fresh && lanes >= kLanes<T> && aligned > 0 && aligned % kChannelsPerPixel == 0) {
        // Some columns are measured twice, which a fresh measure does not show.
        measureColumn<Depth, Lanes<T>>(from, stride, rows, 0, true, measure);
        i = aligned;
    }
    for (; i + kLanes<T> <= lanes; i += kLanes<T>) {
        measureColumn<Depth, Lanes<T>>(from + i, stride, rows, i, fresh, measure);
    }
    if (fresh && i < lanes && lanes >= kLanes<T>) {
        i = lanes - kLanes<T>;
        measureColumn<Depth, Lanes<T>>(from + i, stride, rows, i, true, measure);
        return;
    }
    for (; i < lanes; i += kChannelsPerPixel) {
        measureColumn<Depth, PixelVector<T>>(from + i, stride, rows, i, fresh, measure);
    }
}

/// Measures the pixel columns of a region, from the rows' first pixel on. At most kRowPixels wide and kMostSummands
/// high.
template <typename Depth>
void measureDown(const Picture<typename Depth::Channel>& picture, const Region& region,
                 Workspace<typename Depth::Channel>& work) {
    const std::int32_t lanes = region.width * kChannelsPerPixel;
    if (picture.origin == nullptr) {
        typename Depth::Channel* const sampled = work.sampled.channels();
        const typename Depth::Channel* above = nullptr;
        for (std::int32_t j = 0; j < region.height; ++j) {
            const typename Depth::Channel* const row = layerRow(picture, region.y + j);
            if (row != above) {  // nobody asks for the layer's sums
                sampleRow(picture, row, region.x, region.width, sampled);
                measureRows<Depth>(sampled, 0, 1, lanes, j == 0, work.measure);
            }
            above = row;
        }
        return;
    }
    // A few rows at a time keep tall blocks from walking through memory in narrow columns.
    for (std::int32_t j = 0; j < region.height; j += kMaximumTileSize) {
        const std::int32_t rows = region.height - j < kMaximumTileSize ? region.height - j : kMaximumTileSize;
        measureRows<Depth>(picture.at(region.x, region.y + j), picture.stride, rows, lanes, j == 0, work.measure);
    }
}

/// Across the tiles of a row: their sums, out of the columns'.
template <typename T>
void sumAcross(const Pyramid<T, std::uint32_t>& pyramid, std::int32_t row, const ColumnMeasure<T>& measure) {
    const std::int32_t columns = pyramid.columnsAt(pyramid.levels);
    const std::int32_t* const bounds = pyramid.columns;
    std::uint32_t* const sums = pyramid.sumsOfTile(row, 0);
    if constexpr (kHoldsTiles<T>) {
        for (std::int32_t c = 0; c < columns; c += Arrangement<T>::kTiles) {
            const auto tiles = Arrangement<T>::inScratch(bounds + c, c + 1 < columns, bounds[0]);
            const auto unique = tiles.template ofWidths<WideMask<T>>(kUniqueMasks<T>.ofWidth);
            storeSums<T>(sumOfTiles<T>(tiles.arranged(measure.even.channels()), unique),
                         sumOfTiles<T>(tiles.arranged(measure.odd.channels()), unique), sums + c * kChannelsPerPixel);
        }
    } else {
        for (std::int32_t c = 0; c < columns; ++c) {
            sumTile(measure, bounds[c] - bounds[0], bounds[c + 1] - bounds[c], sums + c * kChannelsPerPixel);
        }
    }
}

/// And their spreads. Channels that are not processed and hold any float that is not finite get a NaN for their lowest
/// value, so that they do not pass for constant.
template <typename Depth>
void spreadAcross(const MosaicJob<Depth>& job, const Pyramid<typename Depth::Channel, std::uint32_t>& pyramid,
                  std::int32_t row, const ColumnMeasure<typename Depth::Channel>& measure) {
    using T = typename Depth::Channel;
    const std::int32_t columns = pyramid.columnsAt(pyramid.levels);
    const std::int32_t* const bounds = pyramid.columns;
    T* const low = pyramid.low + pyramid.place(pyramid.levels, row, 0);
    T* const high = pyramid.high + pyramid.place(pyramid.levels, row, 0);
    if constexpr (kHoldsTiles<T>) {
        constexpr std::size_t kTileBytes = Arrangement<T>::kTiles * sizeof(Pixel<T>);
        for (std::int32_t c = 0; c < columns; c += Arrangement<T>::kTiles) {
            const auto tiles = Arrangement<T>::inScratch(bounds + c, c + 1 < columns, bounds[0]);
            const FirstPlaces lowest = extremeOfTiles<T, false>(tiles.arranged(measure.low.channels()));
            const FirstPlaces highest = extremeOfTiles<T, true>(tiles.arranged(measure.high.channels()));
            __builtin_memcpy(low + c * kChannelsPerPixel, &lowest, kTileBytes);
            __builtin_memcpy(high + c * kChannelsPerPixel, &highest, kTileBytes);
        }
        return;
    }
    using P = PixelVector<T>;
    using M = PixelVector<Mask<T>>;
    const auto processed = processedMask(job);
    const M unprocessed = ~load<M>(&processed);
    P poison{};
    if constexpr (sizeof(T) > 2) {
        const P nans = notFinite(measure.even.channels(), bounds[columns] - bounds[0]);
        poison = reinterpret<P>(reinterpret<M>(nans) & unprocessed);
    }
    for (std::int32_t c = 0; c < columns; ++c) {
        const std::int32_t x = bounds[c] - bounds[0];
        const std::int32_t width = bounds[c + 1] - bounds[c];
        const Pixel<T> lowest = extremeAcross<T, false>(measure.low.pixel(x), width);
        const Pixel<T> highest = extremeAcross<T, true>(measure.high.pixel(x), width);
        if constexpr (sizeof(T) > 2) {
            store(low + c * kChannelsPerPixel, load<P>(&lowest) + poison);
        } else {
            store(low + c * kChannelsPerPixel, load<P>(&lowest));
        }
        store(high + c * kChannelsPerPixel, load<P>(&highest));
    }
}

/// Measures each tile of a row of blocks, which is at most kRowPixels wide.
template <typename Depth>
void measureTiles(const MosaicJob<Depth>& job, const Pictures<typename Depth::Channel>& pictures,
                  const Pyramid<typename Depth::Channel, std::uint32_t>& pyramid,
                  Workspace<typename Depth::Channel>& work) {
    using T = typename Depth::Channel;
    const std::int32_t left = pyramid.columns[0];
    const std::int32_t width = pyramid.columns[pyramid.columnsAt(pyramid.levels)] - left;
    for (std::int32_t r = 0; r < pyramid.rowsAt(pyramid.levels); ++r) {
        const Region row{left, pyramid.rows[r], width, pyramid.rows[r + 1] - pyramid.rows[r]};
        if constexpr (sizeof(T) <= 2) {
            measureDown<Depth>(pictures.source, row, work);
            sumAcross(pyramid, r, work.measure);
        }
        if (sizeof(T) > 2 || pictures.separate) {
            measureDown<Depth>(pictures.deciding, row, work);
        }
        spreadAcross<Depth>(job, pyramid, r, work.measure);
    }
}

/// The measure of a region of any size; sums of integers only.
template <typename T>
struct RegionMeasure {
    Pixel<T> low;
    Pixel<T> high;
    std::uint64_t sums[kChannelsPerPixel];
};

/// Measures a region of any size. One that is sure to be busy is measured no further than it takes to see that: sums
/// are not those of all pixels then, and the spreads of channels that are not processed are as wide as can be.
template <typename Depth>
RegionMeasure<typename Depth::Channel> measureRegion(const MosaicJob<Depth>& job,
                                                     const Pictures<typename Depth::Channel>& pictures,
                                                     const Region& region, Workspace<typename Depth::Channel>& work) {
    using T = typename Depth::Channel;
    RegionMeasure<T> measure{};
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        measure.low.channel[c] = Depth::kMinimumStart;
        measure.high.channel[c] = Depth::kMaximumStart;
    }
    const auto widen = [&](std::int32_t width) {
        const Pixel<T> lowest = extremeAcross<T, false>(work.measure.low.channels(), width);
        const Pixel<T> highest = extremeAcross<T, true>(work.measure.high.channels(), width);
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            T& low = measure.low.channel[c];
            T& high = measure.high.channel[c];
            low = lowest.channel[c] < low ? lowest.channel[c] : low;
            high = highest.channel[c] > high ? highest.channel[c] : high;
        }
    };
    constexpr std::int32_t kWidth = kRowPixels<T> < kMostSummands ? kRowPixels<T> : kMostSummands;
    constexpr std::int32_t kHeight = 32;  // until the next look whether that is enough
    static_assert(kHeight <= kMostSummands);
    const bool mayStop = staysBusy(job);
    const std::int32_t right = region.x + region.width;
    const std::int32_t bottom = region.y + region.height;
    for (std::int32_t y = region.y; y < bottom; y += kHeight) {
        if (mayStop && isSurelyBusy(job, measure.low, measure.high)) {
            for (int c = 0; c < kChannelsPerPixel; ++c) {
                if (!job.processed[c]) {
                    measure.low.channel[c] = Depth::kMaximumStart;
                    measure.high.channel[c] = Depth::kMinimumStart;
                }
            }
            break;
        }
        for (std::int32_t x = region.x; x < right; x += kWidth) {
            const Region piece{x, y, right - x < kWidth ? right - x : kWidth,
                               bottom - y < kHeight ? bottom - y : kHeight};
            if constexpr (sizeof(T) <= 2) {
                measureDown<Depth>(pictures.source, piece, work);
                std::uint32_t sums[kChannelsPerPixel] = {};
                addAcross(work.measure, piece.width, sums);
                for (int c = 0; c < kChannelsPerPixel; ++c) {
                    measure.sums[c] += sums[c];
                }
            }
            if (sizeof(T) > 2 || pictures.separate) {
                measureDown<Depth>(pictures.deciding, piece, work);
            }
            widen(piece.width);
        }
    }
    return measure;
}

/// The lowest (highest) of nodes' quadrants, for a register of nodes; two rows of quadrants, from there on.
template <bool Highest, typename T>
[[gnu::always_inline]] inline Lanes<T> extremeOfQuadrants(const T* upper, const T* lower) {
    using V = Lanes<T>;
    const V left = extreme<Highest>(load<V>(upper), load<V>(lower));
    const V right = extreme<Highest>(load<V>(upper + kLanes<T>), load<V>(lower + kLanes<T>));
    return extreme<Highest>(everySecondPixel<T, 0>(left, right), everySecondPixel<T, 1>(left, right));
}

/// Fills the upper levels' spreads from the tiles'.
template <typename T, typename S>
void measureUpperLevels(const Pyramid<T, S>& pyramid) {
    for (std::int32_t l = pyramid.levels; l-- > 0;) {
        for (std::int32_t r = 0; r < pyramid.rowsAt(l); ++r) {
            const std::ptrdiff_t node = pyramid.place(l, r, 0);
            const std::ptrdiff_t upper = pyramid.place(l + 1, 2 * r, 0);
            const std::ptrdiff_t lower = pyramid.place(l + 1, 2 * r + 1, 0);
            for (std::int32_t i = 0; i < pyramid.strideAt(l) * kChannelsPerPixel; i += kLanes<T>) {
                const auto low = extremeOfQuadrants<false>(pyramid.low + upper + 2 * i, pyramid.low + lower + 2 * i);
                const auto high = extremeOfQuadrants<true>(pyramid.high + upper + 2 * i, pyramid.high + lower + 2 * i);
                store(pyramid.low + node + i, low);
                store(pyramid.high + node + i, high);
            }
        }
    }
}

}  // namespace
}  // namespace quorvel::fast
