// SPDX-License-Identifier: MIT
// The kernel's scratch memory: one object on the stack of each call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/arrange-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Blocks of up to 256 pixels a side are measured tile by tile at once, several side by side.
inline constexpr std::int32_t kTileLevels = 5;
inline constexpr std::int32_t kLargestTiledBlock = kMaximumTileSize << kTileLevels;
template <typename T>
inline constexpr std::int32_t kMaximumTiles = sizeof(T) == 1 ? 2048 : 1024;
/// Larger blocks are first measured down to parts of at most that size, this many levels at a time.
inline constexpr std::int32_t kCoarseLevels = 4;
inline constexpr std::int32_t kCoarseSpan = 1 << kCoarseLevels;

/// Scratch rows hold so many bytes of pixels. Rows of blocks that wide stay in the second cache until they are written.
inline constexpr std::size_t kRowBytes = 8192;
template <typename T>
inline constexpr std::int32_t kRowPixels = static_cast<std::int32_t>(kRowBytes / (kChannelsPerPixel * sizeof(T)));
static_assert(kRowPixels<float> >= kLargestTiledBlock);
/// Rows of split tiles are finished in spans of so many bytes: short ones where they are put together in scratch rows,
/// which stay in the first cache then.
template <typename T>
inline constexpr std::size_t kSpanBytes = kPutsBackExactly<T> ? 2048 : 512;
template <typename T>
inline constexpr std::int32_t kSpanPixels = static_cast<std::int32_t>(kSpanBytes<T> / (kChannelsPerPixel * sizeof(T)));

/// A scratch row. Vectors may reach over either end.
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

/// The vertical measure of some rows, for each of their columns.
template <typename T>
struct ColumnMeasure {
    Row<T> low;
    Row<T> high;
    /// For integers, in SumLanes: sums of channels 0 and 2, and of 1 and 3. For floats, in the first row alone, sums of
    /// each channel in no stated order: not finite if some summand is not.
    Row<T> even;
    Row<T, (sizeof(T) <= 2 ? kRowBytes : 0)> odd;
};

template <typename T>
struct Workspace {
    ColumnMeasure<T> measure;
    Row<T> sampled;                                       ///< a row of a stretched intensity layer
    Row<T, kSpanBytes<T>> sampledRows[kMaximumTileSize];  ///< spans of such rows, for a row of tiles
    Row<T, (kPutsBackExactly<T> ? 0 : kSpanBytes<T>)> finished[kMaximumTileSize];
    Row<Mask<T>> keep;  ///< of each pixel in the rows to be written
    Row<T> fill;
    // The arrays of the pyramid.
    static constexpr std::size_t kNodeChannels = channelsFor<T>(kMaximumTiles<T>, kTileLevels);
    alignas(64) T low[kNodeChannels];
    alignas(64) T high[kNodeChannels];
    alignas(64) T nodeFill[kNodeChannels];
    /// A tile more than there are: two are stored at once.
    alignas(64) std::uint32_t sums[sizeof(T) <= 2 ? kChannelsPerPixel * (kMaximumTiles<T> + 1) : 1];
    std::int32_t columns[kMaximumTiles<T> + 1];
    std::int32_t rows[(1 << kTileLevels) + 1];
};

}  // namespace
}  // namespace quorvel::fast
