// SPDX-License-Identifier: MIT
// Measuring: the lowest and highest value of each channel, and the sums of integers. First each pixel column is
// measured down the rows, then the columns are reduced to tiles.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "effect/fast/arrange-inl.h"
#include "effect/fast/busy-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/inputs-inl.h"
#include "effect/fast/job.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/reduce-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// The most rows and columns whose sums cannot overflow: those of a column in a SumLane, all of them in 32 bits.
inline constexpr std::int32_t kMostSummands = 256;
static_assert(kLargestTiledBlock <= kMostSummands);

/// Whether a measure replaces the one that stands in ColumnMeasure, or adds more rows to it.
enum class Start : bool { Fresh, CarryOn };

/// Measures as many channel columns as V holds, from `channel` of the rows on.
template <typename Depth, typename V>
[[gnu::always_inline]] inline void measureColumn(const typename Depth::Channel* from, std::ptrdiff_t stride,
                                                 std::int32_t rows, std::int32_t channel, Start start,
                                                 ColumnMeasure<typename Depth::Channel>& measure) {
    using T = typename Depth::Channel;
    const bool fresh = start == Start::Fresh;
    T* const lowest = measure.low.channels() + channel;
    T* const highest = measure.high.channels() + channel;
    V low = fresh ? splat<V>(Depth::kWhite) : load<V>(lowest);
    V high = fresh ? splat<V>(Depth::kBlack) : load<V>(highest);
    if constexpr (Depth::kIsInteger) {
        using Sums = Vector<SumLane<T>, sizeof(V)>;
        constexpr int kBits = 8 * sizeof(T);
        T* const evens = measure.even.channels() + channel;
        T* const odds = measure.odd.channels() + channel;
        Sums odd = fresh ? Sums{} : load<Sums>(odds);
        // Sums of pairs of channels: the even one plus 2^bits times the odd one. What overflows is subtracted in the
        // end.
        Sums both = fresh ? Sums{} : load<Sums>(evens) + (odd << kBits);
        for (std::int32_t j = 0; j < rows; ++j, from += stride) {
            fetchToReadLater(from, rows * stride);  // the same row of the tiles below
            const V value = load<V>(from);
            low = smaller(value, low);
            high = larger(value, high);
            const auto pair = reinterpret<Sums>(value);
            both += pair;
            odd += pair >> kBits;
        }
        store(evens, both - (odd << kBits));
        store(odds, odd);
    } else {
        T* const sums = measure.even.channels() + channel;
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

/// Measures `channels` channel columns over some rows, at most kMostSummands rows in all.
template <typename Depth>
[[gnu::always_inline]] inline void measureRows(const typename Depth::Channel* from, std::ptrdiff_t stride,
                                               std::int32_t rows, std::int32_t channels, Start start,
                                               ColumnMeasure<typename Depth::Channel>& measure) {
    using T = typename Depth::Channel;
    const bool fresh = start == Start::Fresh;
    std::int32_t i = 0;
    const std::int32_t aligned = channelsToAlignment(from);
    if (fresh && channels >= kRegisterChannels<T> && aligned > 0 && aligned % kChannelsPerPixel == 0) {
        // Measuring some columns twice changes nothing in a fresh measure.
        measureColumn<Depth, Register<T>>(from, stride, rows, 0, Start::Fresh, measure);
        i = aligned;
    }
    for (; i + kRegisterChannels<T> <= channels; i += kRegisterChannels<T>) {
        measureColumn<Depth, Register<T>>(from + i, stride, rows, i, start, measure);
    }
    if (fresh && i < channels && channels >= kRegisterChannels<T>) {
        i = channels - kRegisterChannels<T>;
        measureColumn<Depth, Register<T>>(from + i, stride, rows, i, Start::Fresh, measure);
        return;
    }
    for (; i < channels; i += kChannelsPerPixel) {
        measureColumn<Depth, PixelVector<T>>(from + i, stride, rows, i, start, measure);
    }
}

/// Measures the pixel columns of a region into work.measure. The region is at most kRowPixels wide and kMostSummands
/// high.
template <typename Depth>
void measureDown(const PlacedLayer<typename Depth::Channel>& layer, const Region& region,
                 Workspace<typename Depth::Channel>& work) {
    const std::int32_t channels = region.width * kChannelsPerPixel;
    if (layer.origin == nullptr) {
        typename Depth::Channel* const sampled = work.sampled.channels();
        const typename Depth::Channel* above = nullptr;
        for (std::int32_t j = 0; j < region.height; ++j) {
            const typename Depth::Channel* const row = layerRow(layer, region.y + j);
            if (row != above) {  // a repeated row changes no spread, and the sums of the layer are not used
                sampleRow(layer, row, region.x, region.width, sampled);
                measureRows<Depth>(sampled, 0, 1, channels, j == 0 ? Start::Fresh : Start::CarryOn, work.measure);
            }
            above = row;
        }
        return;
    }
    // A few rows at a time, so that memory is not read in tall and narrow columns.
    for (std::int32_t j = 0; j < region.height; j += kMaximumTileSize) {
        const std::int32_t rows = region.height - j < kMaximumTileSize ? region.height - j : kMaximumTileSize;
        measureRows<Depth>(layer.at(region.x, region.y + j), layer.stride, rows, channels,
                           j == 0 ? Start::Fresh : Start::CarryOn, work.measure);
    }
}

/// Computes the sums of a row of tiles from those of the pixel columns.
template <typename T>
void sumAcross(const Pyramid<T, std::uint32_t>& pyramid, std::int32_t row, const ColumnMeasure<T>& measure) {
    const std::int32_t columns = pyramid.columnsAt(pyramid.levels);
    const std::int32_t* const bounds = pyramid.columns;
    std::uint32_t* const sums = pyramid.sumsOfTile(row, 0);
    if constexpr (kHoldsTiles<T>) {
        for (std::int32_t c = 0; c < columns; c += Arrangement<T>::kTiles) {
            const auto tiles = Arrangement<T>::inScratch(bounds + c, columns - c, bounds[0]);
            const auto unique = tiles.template ofWidths<TileMask<T>>(kUniqueMasks<T>.ofWidth);
            storeSums<T>(sumOfTiles<T>(tiles.arranged(measure.even.channels()), unique),
                         sumOfTiles<T>(tiles.arranged(measure.odd.channels()), unique), sums + c * kChannelsPerPixel);
        }
    } else {
        for (std::int32_t c = 0; c < columns; ++c) {
            sumTile(measure, bounds[c] - bounds[0], bounds[c + 1] - bounds[c], sums + c * kChannelsPerPixel);
        }
    }
}

/// Computes the spreads of a row of tiles from those of the pixel columns. If a float channel is not processed and not
/// all its values are finite, its lowest value becomes a NaN, so that it is not taken for constant.
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
            const auto tiles = Arrangement<T>::inScratch(bounds + c, columns - c, bounds[0]);
            const FirstPlaces lowest = minOrMaxOfTiles<T, Extreme::Lowest>(tiles.arranged(measure.low.channels()));
            const FirstPlaces highest = minOrMaxOfTiles<T, Extreme::Highest>(tiles.arranged(measure.high.channels()));
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
    if constexpr (!Depth::kIsInteger) {
        const P nans = notFinite(measure.even.channels(), bounds[columns] - bounds[0]);
        poison = reinterpret<P>(reinterpret<M>(nans) & unprocessed);
    }
    for (std::int32_t c = 0; c < columns; ++c) {
        const std::int32_t x = bounds[c] - bounds[0];
        const std::int32_t width = bounds[c + 1] - bounds[c];
        const Pixel<T> lowest = minOrMaxAcross<T, Extreme::Lowest>(measure.low.pixel(x), width);
        const Pixel<T> highest = minOrMaxAcross<T, Extreme::Highest>(measure.high.pixel(x), width);
        if constexpr (!Depth::kIsInteger) {
            store(low + c * kChannelsPerPixel, load<P>(&lowest) + poison);
        } else {
            store(low + c * kChannelsPerPixel, load<P>(&lowest));
        }
        store(high + c * kChannelsPerPixel, load<P>(&highest));
    }
}

/// Measures the tiles of a row of blocks. The row is at most kRowPixels wide.
template <typename Depth>
void measureTiles(const MosaicJob<Depth>& job, const FrameInputs<typename Depth::Channel>& inputs,
                  const Pyramid<typename Depth::Channel, std::uint32_t>& pyramid,
                  Workspace<typename Depth::Channel>& work) {
    const std::int32_t left = pyramid.columns[0];
    const std::int32_t width = pyramid.columns[pyramid.columnsAt(pyramid.levels)] - left;
    for (std::int32_t r = 0; r < pyramid.rowsAt(pyramid.levels); ++r) {
        const Region row{left, pyramid.rows[r], width, pyramid.rows[r + 1] - pyramid.rows[r]};
        if constexpr (Depth::kIsInteger) {
            measureDown<Depth>(inputs.source, row, work);
            sumAcross(pyramid, r, work.measure);
        }
        if (!Depth::kIsInteger || inputs.separate) {
            measureDown<Depth>(inputs.deciding, row, work);
        }
        spreadAcross<Depth>(job, pyramid, r, work.measure);
    }
}

/// Whether a block that is busy in all processed channels stays busy if its spread widens.
template <typename Depth>
bool staysBusy(const MosaicJob<Depth>& job) {
    using T = typename Depth::Channel;
    if (!job.rangesHold || Depth::kExceedsTurn) {
        return false;
    }
    constexpr T kHighest = std::numeric_limits<T>::max();  // constexpr, so that max() leaves no copy in the object file
    bool stays = true;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        stays = stays && (!job.processed[c] || (!job.busy[c].outside && job.busy[c].last == kHighest));
    }
    return stays;
}

/// If staysBusy(): whether a block with at least this spread is busy in all processed channels.
template <typename Depth>
bool isSurelyBusy(const MosaicJob<Depth>& job, const Pixel<typename Depth::Channel>& lowest,
                  const Pixel<typename Depth::Channel>& highest) {
    using T = typename Depth::Channel;
    bool busy = true;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        // In a joint quadtree, the contrast of one channel is at most the joint contrast.
        T low = lowest.channel[c];
        T high = highest.channel[c];
        if constexpr (!Depth::kIsInteger) {
            low = low < Depth::kBlack ? Depth::kBlack : low;
            high = high > Depth::kWhite ? Depth::kWhite : high;
        }
        busy = busy && (!job.processed[c] || (high > low && static_cast<T>(high - low) >= job.busy[c].first));
    }
    return busy;
}

/// The measure of a region of any size. Only integers have sums.
template <typename T>
struct RegionMeasure {
    Pixel<T> low;
    Pixel<T> high;
    std::uint64_t sums[kChannelsPerPixel];
};

/// Measures a region of any size, and stops once it is sure that the region is busy. Then the sums lack pixels, and the
/// spreads of channels that are not processed are the widest possible.
template <typename Depth>
RegionMeasure<typename Depth::Channel> measureRegion(const MosaicJob<Depth>& job,
                                                     const FrameInputs<typename Depth::Channel>& inputs,
                                                     const Region& region, Workspace<typename Depth::Channel>& work) {
    using T = typename Depth::Channel;
    RegionMeasure<T> measure{};
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        measure.low.channel[c] = Depth::kWhite;
        measure.high.channel[c] = Depth::kBlack;
    }
    const auto widen = [&](std::int32_t width) {
        const Pixel<T> lowest = minOrMaxAcross<T, Extreme::Lowest>(work.measure.low.channels(), width);
        const Pixel<T> highest = minOrMaxAcross<T, Extreme::Highest>(work.measure.high.channels(), width);
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            T& low = measure.low.channel[c];
            T& high = measure.high.channel[c];
            low = lowest.channel[c] < low ? lowest.channel[c] : low;
            high = highest.channel[c] > high ? highest.channel[c] : high;
        }
    };
    constexpr std::int32_t kWidth = kRowPixels<T> < kMostSummands ? kRowPixels<T> : kMostSummands;
    constexpr std::int32_t kHeight = 32;  // after as many rows it may stop
    static_assert(kHeight <= kMostSummands);
    const bool mayStop = staysBusy(job);
    const std::int32_t right = region.x + region.width;
    const std::int32_t bottom = region.y + region.height;
    for (std::int32_t y = region.y; y < bottom; y += kHeight) {
        if (mayStop && isSurelyBusy(job, measure.low, measure.high)) {
            for (int c = 0; c < kChannelsPerPixel; ++c) {
                if (!job.processed[c]) {
                    measure.low.channel[c] = Depth::kBlack;
                    measure.high.channel[c] = Depth::kWhite;
                }
            }
            break;
        }
        for (std::int32_t x = region.x; x < right; x += kWidth) {
            const Region piece{x, y, right - x < kWidth ? right - x : kWidth,
                               bottom - y < kHeight ? bottom - y : kHeight};
            if constexpr (Depth::kIsInteger) {
                measureDown<Depth>(inputs.source, piece, work);
                std::uint32_t sums[kChannelsPerPixel] = {};
                addAcross(work.measure, piece.width, sums);
                for (int c = 0; c < kChannelsPerPixel; ++c) {
                    measure.sums[c] += sums[c];
                }
            }
            if (!Depth::kIsInteger || inputs.separate) {
                measureDown<Depth>(inputs.deciding, piece, work);
            }
            widen(piece.width);
        }
    }
    return measure;
}

/// The lowest (highest) values of a register of nodes, given two rows of their quadrants.
// upper a0 a1 b0 b1 ..., lower a2 a3 b2 b3 ... -> a b ...
template <Extreme Which, typename T>
[[gnu::always_inline]] inline Register<T> minOrMaxOfQuadrants(const T* upper, const T* lower) {
    using V = Register<T>;
    const V left = minOrMax<Which>(load<V>(upper), load<V>(lower));
    const V right = minOrMax<Which>(load<V>(upper + kRegisterChannels<T>), load<V>(lower + kRegisterChannels<T>));
    return minOrMax<Which>(everySecondPixel<T, 0>(left, right), everySecondPixel<T, 1>(left, right));
}

/// Computes the spreads of all levels above the tiles.
template <typename T, typename S>
void measureUpperLevels(const Pyramid<T, S>& pyramid) {
    for (std::int32_t l = pyramid.levels; l-- > 0;) {
        for (std::int32_t r = 0; r < pyramid.rowsAt(l); ++r) {
            const std::ptrdiff_t node = pyramid.place(l, r, 0);
            const std::ptrdiff_t upper = pyramid.place(l + 1, 2 * r, 0);
            const std::ptrdiff_t lower = pyramid.place(l + 1, 2 * r + 1, 0);
            for (std::int32_t i = 0; i < pyramid.strideAt(l) * kChannelsPerPixel; i += kRegisterChannels<T>) {
                const auto low =
                    minOrMaxOfQuadrants<Extreme::Lowest>(pyramid.low + upper + 2 * i, pyramid.low + lower + 2 * i);
                const auto high =
                    minOrMaxOfQuadrants<Extreme::Highest>(pyramid.high + upper + 2 * i, pyramid.high + lower + 2 * i);
                store(pyramid.low + node + i, low);
                store(pyramid.high + node + i, high);
            }
        }
    }
}

}  // namespace
}  // namespace quorvel::fast
