// SPDX-License-Identifier: MIT
// Measuring: the lowest and highest value of each channel, and sums of integers, first down the rows, then across the
// columns.
#pragma once

#include <cstddef>
#include <cstdint>

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

/// The stretched intensity layer at the output pixels from x, y to the right.
template <typename T>
void sampleRow(const Picture<T>& picture, std::int32_t x, std::int32_t y, std::int32_t width, T* to) {
    const IntensitySampling<T>& sampling = picture.sampling;
    std::int32_t row = wrappingAdd(picture.sampleY, wrappingMultiply(y, sampling.stepY)) >> 16;
    std::int32_t position = wrappingAdd(picture.sampleX, wrappingMultiply(x, sampling.stepX));
    if (sampling.clamped) {
        row = held(row, sampling.height);
    }
    const T* from = sampling.pixels + row * sampling.stride;
    for (std::int32_t i = 0; i < width; ++i, to += kChannelsPerPixel) {
        std::int32_t column = position >> 16;
        if (sampling.clamped) {
            column = held(column, sampling.width);
        }
        __builtin_memcpy(to, from + static_cast<std::ptrdiff_t>(column) * kChannelsPerPixel, sizeof(Pixel<T>));
        position = wrappingAdd(position, sampling.stepX);
    }
}

/// Sums of channels 0 and 2, and of 1 and 3, in lanes twice as wide as a channel. 2^bits + 1 summands fit.
template <typename T>
using SumLane = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;

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
        for (; rows > 0; --rows, from += stride) {
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
        for (; rows > 0; --rows, from += stride) {
            const V value = load<V>(from);
            low = smaller(value, low);
            high = larger(value, high);
        }
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
        measureColumn<Depth, Vector<T, kChannelsPerPixel * sizeof(T)>>(from + i, stride, rows, i, fresh, measure);
    }
}

/// Measures the pixel columns of a region, from the rows' first pixel on. At most kRowPixels wide and kMostSummands
/// high.
template <typename Depth>
void measureDown(const Picture<typename Depth::Channel>& picture, const Region& region,
                 Workspace<typename Depth::Channel>& work) {
    const std::int32_t lanes = region.width * kChannelsPerPixel;
    if (picture.origin == nullptr) {
        auto* sampled = work.sampled[0].channels();
        for (std::int32_t j = 0; j < region.height; ++j) {
            sampleRow(picture, region.x, region.y + j, region.width, sampled);
            measureRows<Depth>(sampled, 0, 1, lanes, j == 0, work.measure);
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
    const auto fold = [](auto value, auto kept) {
        if constexpr (Highest) {
            return larger(value, kept);
        } else {
            return smaller(value, kept);
        }
    };
    if (width < 4) {
        using P = Vector<T, kChannelsPerPixel * sizeof(T)>;
        P extreme = load<P>(pixels);
        for (std::int32_t i = 1; i < width; ++i) {
            extreme = fold(load<P>(pixels + i * kChannelsPerPixel), extreme);
        }
        return firstPixel<T>(extreme);
    }
    using Q = Quartet<T>;
    // The last four pixels may overlap what went before.
    const std::ptrdiff_t tail = static_cast<std::ptrdiff_t>(width - 4) * kChannelsPerPixel;
    Q extreme = load<Q>(pixels + tail);
    for (std::ptrdiff_t i = 0; i < tail; i += 4 * kChannelsPerPixel) {
        extreme = fold(load<Q>(pixels + i), extreme);
    }
    extreme = fold(swapPairs<T>(extreme), extreme);
    extreme = fold(swapNeighbours<T>(extreme), extreme);
    return firstPixel<T>(extreme);
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
                mask = static_cast<Mask<T>>(~Mask<T>{0});
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

/// Measures each tile of a row of blocks that fits into the scratch rows.
template <typename Depth>
void measureTiles(const Pictures<typename Depth::Channel>& pictures,
                  const Pyramid<typename Depth::Channel, std::uint32_t>& pyramid,
                  Workspace<typename Depth::Channel>& work) {
    using T = typename Depth::Channel;
    const std::int32_t level = pyramid.levels;
    const std::int32_t columns = pyramid.columnsAt(level);
    const std::int32_t* const bounds = pyramid.columns;
    const std::int32_t left = bounds[0];
    for (std::int32_t r = 0; r < pyramid.rowsAt(level); ++r) {
        const Region row{left, pyramid.rows[r], bounds[columns] - left, pyramid.rows[r + 1] - pyramid.rows[r]};
        if constexpr (sizeof(T) <= 2) {
            measureDown<Depth>(pictures.source, row, work);
            std::uint32_t* const sums = pyramid.sumsOfTile(r, 0);
            for (std::int32_t c = 0; c < columns; ++c) {
                sumTile(work.measure, bounds[c] - left, bounds[c + 1] - bounds[c], sums + c * kChannelsPerPixel);
            }
        }
        if (sizeof(T) > 2 || pictures.separate) {
            measureDown<Depth>(pictures.deciding, row, work);
        }
        T* const low = pyramid.low + pyramid.place(level, r, 0);
        T* const high = pyramid.high + pyramid.place(level, r, 0);
        for (std::int32_t c = 0; c < columns; ++c) {
            const std::int32_t x = bounds[c] - left;
            const std::int32_t width = bounds[c + 1] - bounds[c];
            const Pixel<T> lowest = extremeAcross<T, false>(work.measure.low.pixel(x), width);
            const Pixel<T> highest = extremeAcross<T, true>(work.measure.high.pixel(x), width);
            __builtin_memcpy(low + c * kChannelsPerPixel, &lowest, sizeof lowest);
            __builtin_memcpy(high + c * kChannelsPerPixel, &highest, sizeof highest);
        }
    }
}

/// The measure of a region of any size.
template <typename T>
struct RegionMeasure {
    Pixel<T> low;
    Pixel<T> high;
    std::uint64_t sums[kChannelsPerPixel];
};
template <typename Depth>
RegionMeasure<typename Depth::Channel> measureRegion(const Pictures<typename Depth::Channel>& pictures,
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
    const std::int32_t right = region.x + region.width;
    const std::int32_t bottom = region.y + region.height;
    for (std::int32_t y = region.y; y < bottom; y += kMostSummands) {
        for (std::int32_t x = region.x; x < right; x += kWidth) {
            const Region piece{x, y, right - x < kWidth ? right - x : kWidth,
                               bottom - y < kMostSummands ? bottom - y : kMostSummands};
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
    constexpr std::int32_t kStep = kChannelsPerPixel * Pyramid<T, S>::kRegisterPixels;
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
