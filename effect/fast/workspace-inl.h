// SPDX-License-Identifier: MIT
// The kernel's scratch memory: one object on the stack of each call of a kernel.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/depth.h"
#include "effect/fast/arrange-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Blocks of up to 256 pixels a side are measured tile by tile, several blocks side by side.
inline constexpr std::int32_t kTileLevels = 5;
inline constexpr std::int32_t kLargestTiledBlock = kMaximumTileSize << kTileLevels;
/// Larger blocks are first measured in parts, this many levels at a time, until the parts are that small.
inline constexpr std::int32_t kCoarseLevels = 4;
inline constexpr std::int32_t kCoarseSpan = 1 << kCoarseLevels;

/// The bytes of pixels in a scratch row. A row of blocks of that width stays in the second cache until it is written.
inline constexpr std::size_t kRowBytes = 8192;
template <typename T>
inline constexpr std::int32_t kRowPixels = static_cast<std::int32_t>(kRowBytes / (kChannelsPerPixel * sizeof(T)));
static_assert(kRowPixels<float> >= kLargestTiledBlock);
/// At least the tiles of one block; as many as a scratch row has pixels, if those are more.
template <typename T>
inline constexpr std::int32_t kMaximumTiles = kRowPixels<T> > (1 << 2 * kTileLevels) ? kRowPixels<T>
                                                                                     : 1 << 2 * kTileLevels;
/// Rows of split tiles are finished in spans of so many bytes. Spans that go through scratch rows are short, so that
/// they stay in the first cache.
template <typename T>
inline constexpr std::size_t kSpanBytes = kPutsBackExactly<T> ? 2048 : 512;
template <typename T>
inline constexpr std::int32_t kSpanPixels = static_cast<std::int32_t>(kSpanBytes<T> / (kChannelsPerPixel * sizeof(T)));

/// A scratch row. Loads and stores of a register may reach beyond either end.
template <typename T, std::size_t Bytes = kRowBytes>
class Row {
public:
    T* channels() { return storage_ + kMargin; }
    const T* channels() const { return storage_ + kMargin; }
    T* pixel(std::int32_t x) { return channels() + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel; }
    const T* pixel(std::int32_t x) const { return channels() + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel; }

private:
    static constexpr std::size_t kMargin = 64 / sizeof(T);
    alignas(64) T storage_[Bytes / sizeof(T) + 2 * kMargin];
};

/// The measure of each pixel column of some rows.
template <typename T>
struct ColumnMeasure {
    Row<T> low;
    Row<T> high;
    /// For integers, in lanes of SumLane: sums of channels 0 and 2 (`even`), and of 1 and 3 (`odd`). For floats, `even`
    /// holds a sum of each channel in no fixed order. It only tells whether all summands are finite.
    Row<T> even;
    Row<T, (DepthOf<T>::kIsInteger ? kRowBytes : 0)> odd;
};

template <typename T>
struct Workspace {
    ColumnMeasure<T> measure;
    Row<T> sampled;                                       ///< a row of a stretched intensity layer
    Row<T, kSpanBytes<T>> sampledRows[kMaximumTileSize];  ///< spans of such rows, for one row of tiles
    Row<T, (kPutsBackExactly<T> ? 0 : kSpanBytes<T>)> finished[kMaximumTileSize];
    Row<Mask<T>> keep;  ///< what uniform tiles keep, pixel by pixel, and what they are filled with
    Row<T> fill;
    // The arrays of the Pyramid.
    static constexpr std::size_t kNodeChannels = channelsFor<T>(kMaximumTiles<T>, kTileLevels);
    alignas(64) T low[kNodeChannels];
    alignas(64) T high[kNodeChannels];
    alignas(64) T nodeFill[kNodeChannels];
    /// Room for one more tile: two may be stored at once.
    alignas(64) std::uint32_t sums[DepthOf<T>::kIsInteger ? kChannelsPerPixel * (kMaximumTiles<T> + 1) : 1];
    std::int32_t columns[kMaximumTiles<T> + 1];
    std::int32_t rows[(1 << kTileLevels) + 1];
};

}  // namespace
}  // namespace quorvel::fast
