// SPDX-License-Identifier: MIT
// Measuring: the lowest and highest value of each channel, first down the rows, then across the columns.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/render/fast/kernel.h"
#include "effect/render/fast/vector.h"
#include "effect/render/fast/workspace.h"
#include "effect/render/numeric.h"

namespace quorvel {
namespace {

/// The picture that decides, addressed by output positions.
template <typename T>
struct DecidingPicture {
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

template <typename Depth>
DecidingPicture<typename Depth::Channel> decidingPicture(const MosaicJob<Depth>& job) {
    const auto& sampling = job.intensity;
    if (sampling.pixels == nullptr) {
        return {job.source.pixels, job.source.stride, {}, 0, 0};
    }
    if (sampling.stepX == 65536 && sampling.stepY == 65536 && !sampling.clamped) {
        return {sampling.pixels + (job.intensityY >> 16) * sampling.stride +
                    static_cast<std::ptrdiff_t>(job.intensityX >> 16) * kChannelsPerPixel,
                sampling.stride,
                {},
                0,
                0};
    }
    return {nullptr, 0, sampling, job.intensityX, job.intensityY};
}

[[gnu::always_inline]] inline std::int32_t held(std::int32_t value, std::int32_t size) {
    return value < 0 ? 0 : value < size ? value : size - 1;
}

/// The stretched intensity layer at the output pixels from x, y to the right.
template <typename T>
void sampleRow(const DecidingPicture<T>& picture, std::int32_t x, std::int32_t y, std::int32_t width, T* to) {
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

template <typename Depth, typename V>
[[gnu::always_inline]] inline void spreadColumn(const typename Depth::Channel* from, std::ptrdiff_t stride,
                                                std::int32_t rows, typename Depth::Channel* minimum,
                                                typename Depth::Channel* maximum, bool fresh) {
    V low = fresh ? splat<V>(Depth::kMinimumStart) : load<V>(minimum);
    V high = fresh ? splat<V>(Depth::kMaximumStart) : load<V>(maximum);
    for (; rows > 0; --rows, from += stride) {
        const V value = load<V>(from);
        low = smaller(value, low);
        high = larger(value, high);
    }
    store(minimum, low);
    store(maximum, high);
}

/// Spreads of each of `lanes` channel columns over some rows, begun afresh or carried on.
template <typename Depth>
[[gnu::always_inline]] inline void spreadRows(const typename Depth::Channel* from, std::ptrdiff_t stride,
                                              std::int32_t rows, std::int32_t lanes, typename Depth::Channel* minimum,
                                              typename Depth::Channel* maximum, bool fresh) {
    using T = typename Depth::Channel;
    if (lanes < kLanes<T>) {
        for (std::int32_t i = 0; i < lanes; i += kChannelsPerPixel) {
            spreadColumn<Depth, Vector<T, kChannelsPerPixel * sizeof(T)>>(from + i, stride, rows, minimum + i,
                                                                          maximum + i, fresh);
        }
        return;
    }
    // Measuring a column twice changes nothing.
    std::int32_t i = lanesToAlignment(from);
    if (i > 0) {
        spreadColumn<Depth, Lanes<T>>(from, stride, rows, minimum, maximum, fresh);
    }
    for (; i + kLanes<T> <= lanes; i += kLanes<T>) {
        spreadColumn<Depth, Lanes<T>>(from + i, stride, rows, minimum + i, maximum + i, fresh);
    }
    if (i < lanes) {
        i = lanes - kLanes<T>;
        spreadColumn<Depth, Lanes<T>>(from + i, stride, rows, minimum + i, maximum + i, fresh);
    }
}

/// Spreads of the pixel columns of a region, from the rows' first pixel on. At most kRowPixels wide.
template <typename Depth>
void spreadDown(const DecidingPicture<typename Depth::Channel>& picture, const Region& region,
                typename Depth::Channel* minimum, typename Depth::Channel* maximum,
                Row<typename Depth::Channel>& sampled) {
    const std::int32_t lanes = region.width * kChannelsPerPixel;
    if (picture.origin == nullptr) {
        for (std::int32_t j = 0; j < region.height; ++j) {
            sampleRow(picture, region.x, region.y + j, region.width, sampled.channels());
            spreadRows<Depth>(sampled.channels(), 0, 1, lanes, minimum, maximum, j == 0);
        }
        return;
    }
    // A few rows at a time keep tall blocks from walking through memory in narrow columns.
    for (std::int32_t j = 0; j < region.height; j += kMaximumTileSize) {
        const std::int32_t rows = region.height - j < kMaximumTileSize ? region.height - j : kMaximumTileSize;
        spreadRows<Depth>(picture.at(region.x, region.y + j), picture.stride, rows, lanes, minimum, maximum, j == 0);
    }
}

/// One spread out of those of `width` pixel columns.
template <typename T>
[[gnu::always_inline]] inline Spread<T> spreadAcross(const T* minimum, const T* maximum, std::int32_t width) {
    Spread<T> spread;
    if (width < 4) {
        using P = Vector<T, kChannelsPerPixel * sizeof(T)>;
        P low = load<P>(minimum);
        P high = load<P>(maximum);
        for (std::int32_t i = 1; i < width; ++i) {
            low = smaller(load<P>(minimum + i * kChannelsPerPixel), low);
            high = larger(load<P>(maximum + i * kChannelsPerPixel), high);
        }
        store(&spread.minimum, low);
        store(&spread.maximum, high);
        return spread;
    }
    using Q = Quartet<T>;
    // The last four pixels may overlap what went before.
    const std::ptrdiff_t tail = static_cast<std::ptrdiff_t>(width - 4) * kChannelsPerPixel;
    Q low = load<Q>(minimum + tail);
    Q high = load<Q>(maximum + tail);
    for (std::int32_t i = 0; i < tail; i += 4 * kChannelsPerPixel) {
        low = smaller(load<Q>(minimum + i), low);
        high = larger(load<Q>(maximum + i), high);
    }
    low = smaller(swapPairs<T>(low), low);
    high = larger(swapPairs<T>(high), high);
    low = smaller(swapNeighbours<T>(low), low);
    high = larger(swapNeighbours<T>(high), high);
    spread.minimum = firstPixel<T>(low);
    spread.maximum = firstPixel<T>(high);
    return spread;
}

template <typename T>
[[gnu::always_inline]] inline void widen(Spread<T>& spread, const Spread<T>& other) {
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        spread.minimum.channel[c] =
            other.minimum.channel[c] < spread.minimum.channel[c] ? other.minimum.channel[c] : spread.minimum.channel[c];
        spread.maximum.channel[c] =
            other.maximum.channel[c] > spread.maximum.channel[c] ? other.maximum.channel[c] : spread.maximum.channel[c];
    }
}

/// The spread of a region of any size.
template <typename Depth>
Spread<typename Depth::Channel> spreadOf(const DecidingPicture<typename Depth::Channel>& picture, Region region,
                                         Workspace<typename Depth::Channel>& work) {
    using T = typename Depth::Channel;
    const std::int32_t end = region.x + region.width;
    T* low = work.minimum[0].channels();
    T* high = work.maximum[0].channels();
    const auto measureNext = [&] {
        region.width = end - region.x < kRowPixels<T> ? end - region.x : kRowPixels<T>;
        spreadDown<Depth>(picture, region, low, high, work.sampled);
        region.x += region.width;
        return spreadAcross<T>(low, high, region.width);
    };
    Spread<T> spread = measureNext();
    while (region.x < end) {
        widen(spread, measureNext());
    }
    return spread;
}

/// Measures each tile of a row of blocks that fits into the scratch rows.
template <typename Depth>
void measureTiles(const DecidingPicture<typename Depth::Channel>& picture,
                  const Pyramid<typename Depth::Channel>& pyramid, Workspace<typename Depth::Channel>& work) {
    const std::int32_t left = pyramid.columns[0];
    const std::int32_t width = pyramid.columns[pyramid.tileColumns()] - left;
    for (std::int32_t r = 0; r < pyramid.tileRows(); ++r) {
        const Region row{left, pyramid.rows[r], width, pyramid.rows[r + 1] - pyramid.rows[r]};
        spreadDown<Depth>(picture, row, work.minimum[0].channels(), work.maximum[0].channels(), work.sampled);
        auto* tile = pyramid.tileRow(r);
        for (std::int32_t c = 0; c < pyramid.tileColumns(); ++c, ++tile) {
            const std::int32_t x = pyramid.columns[c] - left;
            tile->spread = spreadAcross(work.minimum[0].pixel(x), work.maximum[0].pixel(x),
                                        pyramid.columns[c + 1] - pyramid.columns[c]);
        }
    }
}

/// The spread of two nodes and the two below them: each two stand side by side, as four pixels.
template <typename T>
[[gnu::always_inline]] inline void joinSpreads(const void* above, const void* below, Spread<T>& joined) {
    using Q = Quartet<T>;
    static_assert(sizeof(Q) == 2 * sizeof(Spread<T>) && sizeof(Tile<T>) == sizeof(Spread<T>));
    const Q first = load<Q>(above);
    const Q second = load<Q>(below);
    const Q low = smaller(second, first);
    const Q high = larger(second, first);
    joined.minimum = firstPixel<T>(smaller(swapPairs<T>(low), low));
    // The maxima are in odd places.
    joined.maximum = firstPixel<T>(permutePixels<T, 1, 1, 3, 3>(larger(swapPairs<T>(high), high)));
}

/// Fills the upper levels from the tiles.
template <typename T>
void measureUpperLevels(const Pyramid<T>& pyramid) {
    for (std::int32_t l = pyramid.levels - 1; l >= 0; --l) {
        const bool fromTiles = l + 1 == pyramid.levels;
        const std::int32_t columns = pyramid.blocks << l;
        const void* const children = fromTiles ? static_cast<const void*>(pyramid.tiles) : pyramid.level(l + 1);
        const char* child = static_cast<const char*>(children);
        const std::ptrdiff_t childRow = 2 * columns * static_cast<std::ptrdiff_t>(sizeof(Spread<T>));
        Spread<T>* node = pyramid.level(l);
        for (std::int32_t r = 0; r < 1 << l; ++r, child += childRow) {
            for (std::int32_t c = 0; c < columns; ++c, ++node, child += 2 * sizeof(Spread<T>)) {
                joinSpreads<T>(child, child + childRow, *node);
            }
        }
    }
}

}  // namespace
}  // namespace quorvel
