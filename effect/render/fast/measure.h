// SPDX-License-Identifier: MIT
// Measuring: the lowest and highest value of each channel, and sums of integers, first down the rows, then across the
// columns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "effect/render/fast/arrange.h"
#include "effect/render/fast/busy.h"
#include "effect/render/fast/kernel.h"
#include "effect/render/fast/vector.h"
#include "effect/render/fast/workspace.h"
#include "effect/render/numeric.h"

namespace quorvel {
namespace {

/// A picture addressed by output positions.
template <typename T>
struct Picture {
    /// Read as it is: the pixel at output position 0, 0. Otherwise null, and rows have to be sampled.
    const T* origin = nullptr;
    std::ptrdiff_t stride = 0;
    IntensitySampling<T> sampling;
    std::int32_t sampleX = 0;
    std::int32_t sampleY = 0;

    const T* at(std::int32_t x, std::int32_t y) const {
        return origin + y * stride + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel;
    }
};

/// What a frame is made from.
template <typename T>
struct Pictures {
    Picture<T> source;
    Picture<T> deciding;  ///< the source itself, unless `separate`
    bool separate;
};

template <typename Depth>
Pictures<typename Depth::Channel> picturesOf(const MosaicJob<Depth>& job) {
    using T = typename Depth::Channel;
    const Picture<T> source{job.source.pixels, job.source.stride, {}, 0, 0};
    const auto& sampling = job.intensity;
    if (sampling.pixels == nullptr) {
        return {source, source, false};
    }
    if (sampling.stepX == 65536 && sampling.stepY == 65536 && !sampling.clamped) {
        return {source,
                {sampling.pixels + (job.intensityY >> 16) * sampling.stride +
                     static_cast<std::ptrdiff_t>(job.intensityX >> 16) * kChannelsPerPixel,
                 sampling.stride,
                 {},
                 0,
                 0},
                true};
    }
    return {source, {nullptr, 0, sampling, job.intensityX, job.intensityY}, true};
}

[[gnu::always_inline]] inline std::int32_t held(std::int32_t value, std::int32_t size) {
    return value < 0 ? 0 : value < size ? value : size - 1;
}

/// The row of a stretched intensity layer that stands at row y of the output.
template <typename T>
const T* layerRow(const Picture<T>& picture, std::int32_t y) {
    const IntensitySampling<T>& sampling = picture.sampling;
    const std::int32_t row = wrappingAdd(picture.sampleY, wrappingMultiply(y, sampling.stepY)) >> 16;
    return sampling.pixels + (sampling.clamped ? held(row, sampling.height) : row) * sampling.stride;
}

/// Pixels of such a row, for the output's from x on.
template <typename T>
void sampleRow(const Picture<T>& picture, const T* row, std::int32_t x, std::int32_t width, T* to) {
    const IntensitySampling<T>& sampling = picture.sampling;
    std::int32_t position = wrappingAdd(picture.sampleX, wrappingMultiply(x, sampling.stepX));
    const auto copyColumns = [&](const auto& columnOf) {
        for (std::int32_t i = 0; i < width; ++i, to += kChannelsPerPixel) {
            const auto column = static_cast<std::ptrdiff_t>(columnOf(position >> 16));
            __builtin_memcpy(to, row + column * kChannelsPerPixel, sizeof(Pixel<T>));
            position = wrappingAdd(position, sampling.stepX);
        }
    };
    if (sampling.clamped) {
        copyColumns([&](std::int32_t column) { return held(column, sampling.width); });
    } else {
        copyColumns([](std::int32_t column) { return column; });
    }
}

/// So many rows, and columns, can be summed up without an overflow: columns in SumLanes, and all in 32 bits.
inline constexpr std::int32_t kMostSummands = 256;
static_assert(kLargestTiledBlock <= kMostSummands);

/// A register's worth of columns; what stands there is the measure so far, unless this is a fresh one.
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
            prefetch(from, rows * stride);
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
            prefetch(from, rows * stride);
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
        // Some columns are measured twice.
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

/// The lowest (highest) of each channel of `width` pixels.
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

/// Adds up the sums of at most kMostSummands columns.
template <typename T>
[[gnu::always_inline]] inline void addAcross(ColumnMeasure<T>& measure, std::int32_t width, std::uint32_t* sums) {
    for (std::int32_t i = 0; i < width; ++i) {
        const auto* even = reinterpret_cast<const SumLane<T>*>(measure.even.pixel(i));
        const auto* odd = reinterpret_cast<const SumLane<T>*>(measure.odd.pixel(i));
        sums[0] += even[0];
        sums[1] += odd[0];
        sums[2] += even[1];
        sums[3] += odd[1];
    }
}

/// The sums of a tile.
template <typename T>
[[gnu::always_inline]] inline void sumTile(ColumnMeasure<T>& measure, std::int32_t x, std::int32_t width,
                                           std::uint32_t* sums) {
    using Q = Vector<SumLane<T>, kQuartetBytes<T>>;
    const auto* masks = kFirstPixels<T>.ofWidth[width];
    const auto across = [&](T* first) {
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

/// Whether a register holds whole tiles, which are then measured that way.
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

/// The channels of each tile in their order.
template <typename T>
[[gnu::always_inline]] inline void storeSums(FirstPlaces even, FirstPlaces odd, std::uint32_t* to) {
    using Lanes16 = Vector<SumLane<T>, 16>;
    const auto e = reinterpret<Lanes16>(even);
    const auto o = reinterpret<Lanes16>(odd);
    if constexpr (sizeof(T) == 1) {
        const auto ordered = __builtin_shufflevector(e, o, 0, 8, 1, 9, 2, 10, 3, 11);
        store(to, __builtin_convertvector(ordered, Vector<std::uint32_t, 32 * sizeof(T)>));
    } else {
        store(to, __builtin_shufflevector(e, o, 0, 4, 1, 5));
    }
}

/// NaNs in the channels of which some pixel is no finite number, zeros in the others.
[[gnu::always_inline]] inline PixelVector<float> notFinite(const float* sums, std::int32_t width) {
    using P = PixelVector<float>;
    P sum{};
    if (width < 4) {
        for (std::int32_t i = 0; i < width; ++i) {
            sum += load<P>(sums + i * kChannelsPerPixel);
        }
        return sum - sum;
    }
    using Q = Quartet<float>;
    // Pixels that are taken twice change nothing.
    Q four = load<Q>(sums) + load<Q>(sums + static_cast<std::ptrdiff_t>(width - 4) * kChannelsPerPixel);
    four = four + swapPairs<float>(four);
    four = four + swapNeighbours<float>(four);
    sum = load<P>(&four);
    return sum - sum;
}

/// Across the tiles of a row: their sums, out of the columns'.
template <typename T>
void sumAcross(const Pyramid<T, std::uint32_t>& pyramid, std::int32_t row, ColumnMeasure<T>& measure) {
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
/// value.
template <typename Depth>
void spreadAcross(const MosaicJob<Depth>& job, const Pyramid<typename Depth::Channel, std::uint32_t>& pyramid,
                  std::int32_t row, ColumnMeasure<typename Depth::Channel>& measure) {
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
    for (std::int32_t c = 0; c < columns; ++c) {
        const std::int32_t x = bounds[c] - bounds[0];
        const std::int32_t width = bounds[c + 1] - bounds[c];
        const Pixel<T> lowest = extremeAcross<T, false>(measure.low.pixel(x), width);
        const Pixel<T> highest = extremeAcross<T, true>(measure.high.pixel(x), width);
        P poisoned = load<P>(&lowest);
        if constexpr (sizeof(T) > 2) {
            const P poison = notFinite(measure.even.pixel(x), width);
            poisoned = poisoned + reinterpret<P>(reinterpret<M>(poison) & unprocessed);
        }
        store(low + c * kChannelsPerPixel, poisoned);
        store(high + c * kChannelsPerPixel, load<P>(&highest));
    }
}

/// Measures each tile of a row of blocks that fits into the scratch rows.
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

/// The measure of a region of any size.
template <typename T>
struct RegionMeasure {
    Pixel<T> low;
    Pixel<T> high;
    std::uint64_t sums[kChannelsPerPixel];
};

/// Whether blocks that are busy stay so with more contrast, in all channels that are processed.
template <typename Depth>
bool staysBusy(const MosaicJob<Depth>& job) {
    using T = typename Depth::Channel;
    if (!job.rangesHold || sizeof(T) == 2) {
        return false;  // contrasts of 16 bits can wrap around
    }
    bool stays = true;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        stays =
            stays && (!job.processed[c] || (!job.busy[c].outside && job.busy[c].last == std::numeric_limits<T>::max()));
    }
    return stays;
}

/// Whether what has been measured so far is enough contrast in all channels that are processed.
template <typename Depth>
bool isSurelyBusy(const MosaicJob<Depth>& job, const RegionMeasure<typename Depth::Channel>& measure) {
    using T = typename Depth::Channel;
    bool busy = true;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        // A channel's own contrast is at most the joint one.
        T low = measure.low.channel[c];
        T high = measure.high.channel[c];
        if constexpr (sizeof(T) > 2) {
            low = low < T{0} ? T{0} : low;
            high = high > T{1} ? T{1} : high;
        }
        busy = busy && (!job.processed[c] || (high > low && static_cast<T>(high - low) >= job.busy[c].first));
    }
    return busy;
}

/// If it is sure to be split, no longer than it takes to see that: sums are not those of all then, and the spreads of
/// channels that are not processed are as wide as can be.
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
    constexpr std::int32_t kHeight = 32;
    const bool mayStop = staysBusy(job);
    const std::int32_t right = region.x + region.width;
    const std::int32_t bottom = region.y + region.height;
    for (std::int32_t y = region.y; y < bottom; y += kHeight) {
        if (mayStop && isSurelyBusy(job, measure)) {
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

/// Fills the upper levels' spreads from the tiles'.
template <typename T, typename S>
void measureUpperLevels(const Pyramid<T, S>& pyramid) {
    using V = Lanes<T>;
    constexpr std::int32_t kStep = kLanes<T>;
    for (std::int32_t l = pyramid.levels - 1; l >= 0; --l) {
        for (std::int32_t r = 0; r < pyramid.rowsAt(l); ++r) {
            const std::ptrdiff_t node = pyramid.place(l, r, 0);
            const std::ptrdiff_t above = pyramid.place(l + 1, 2 * r, 0);
            const std::ptrdiff_t below = pyramid.place(l + 1, 2 * r + 1, 0);
            for (std::int32_t i = 0; i < pyramid.strideAt(l) * kChannelsPerPixel; i += kStep) {
                const V low[2] = {smaller(load<V>(pyramid.low + above + 2 * i), load<V>(pyramid.low + below + 2 * i)),
                                  smaller(load<V>(pyramid.low + above + 2 * i + kStep),
                                          load<V>(pyramid.low + below + 2 * i + kStep))};
                const V high[2] = {larger(load<V>(pyramid.high + above + 2 * i), load<V>(pyramid.high + below + 2 * i)),
                                   larger(load<V>(pyramid.high + above + 2 * i + kStep),
                                          load<V>(pyramid.high + below + 2 * i + kStep))};
                store(pyramid.low + node + i,
                      smaller(everySecondPixel<T, 0>(low[0], low[1]), everySecondPixel<T, 1>(low[0], low[1])));
                store(pyramid.high + node + i,
                      larger(everySecondPixel<T, 0>(high[0], high[1]), everySecondPixel<T, 1>(high[0], high[1])));
            }
        }
    }
}

}  // namespace
}  // namespace quorvel
