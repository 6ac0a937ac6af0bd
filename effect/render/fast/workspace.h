// SPDX-License-Identifier: MIT
// The kernel's scratch memory: one object on the stack of each call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/render/fast/arrange.h"
#include "effect/render/fast/geometry.h"
#include "effect/render/fast/kernel.h"
#include "effect/render/fast/vector.h"

namespace quorvel {
namespace {

/// A row of blocks of the same depth, halved `levels` times into tiles, as quadtrees of nodes. Level 0 are the blocks,
/// level `levels` the tiles; each level is a picture of one pixel per node. A node is first measured and then judged,
/// in the same place: its spread is not needed once it stands what becomes of its channels.
/// S: what holds the sums of a tile.
template <typename T, typename S>
struct Pyramid {
    union {
        T* low;         ///< the lowest value of each channel
        Mask<T>* open;  ///< the channels that are split further
    };
    union {
        T* high;        ///< the highest
        Mask<T>* keep;  ///< the channels that stay as they are in the source; all others are filled
    };
    T* fill;                ///< the colour of filled channels
    S* sums;                ///< of each channel of each tile, for integers
    std::int32_t* columns;  ///< columnsAt(levels) + 1 bounds
    std::int32_t* rows;     ///< rowsAt(levels) + 1 bounds
    std::int32_t blocks;
    std::int32_t levels;
    std::int32_t depth;  ///< of the blocks, in the quadtree

    std::int32_t columnsAt(std::int32_t level) const { return blocks << level; }
    static std::int32_t rowsAt(std::int32_t level) { return 1 << level; }
    /// In nodes: rows begin and end with whole registers, so that none has to be handled in pieces.
    std::int32_t strideAt(std::int32_t level) const {
        return (columnsAt(level) + kRegisterPixels<T> - 1) / kRegisterPixels<T> * kRegisterPixels<T>;
    }
    /// Where a node's channels begin in the arrays.
    std::ptrdiff_t place(std::int32_t level, std::int32_t row, std::int32_t column) const {
        std::int32_t pixels = 0;
        for (std::int32_t l = 0; l < level; ++l) {
            pixels += strideAt(l) * rowsAt(l);
        }
        return static_cast<std::ptrdiff_t>(pixels + row * strideAt(level) + column) * kChannelsPerPixel;
    }
    S* sumsOfTile(std::int32_t row, std::int32_t column) const {
        return sums + static_cast<std::ptrdiff_t>(row * columnsAt(levels) + column) * kChannelsPerPixel;
    }
    Region region(std::int32_t level, std::int32_t row, std::int32_t column) const {
        const std::int32_t shift = levels - level;
        const std::int32_t x = columns[column << shift];
        const std::int32_t y = rows[row << shift];
        return {x, y, columns[(column + 1) << shift] - x, rows[(row + 1) << shift] - y};
    }
};

/// The channels that the arrays of a pyramid need room for, the padding of rows and what vectors reach over included.
template <typename T>
constexpr std::size_t channelsFor(std::int32_t tiles, std::int32_t levels) {
    return static_cast<std::size_t>(kChannelsPerPixel *
                                    (tiles + (tiles - 1) / 3 + ((2 << levels) + 4) * kRegisterPixels<T>));
}

/// Blocks up to 256 pixels wide are measured tile by tile at once, several side by side.
inline constexpr std::int32_t kTileLevels = 5;
inline constexpr std::int32_t kLargestTiledBlock = kMaximumTileSize << kTileLevels;
template <typename T>
inline constexpr std::int32_t kMaximumTiles = sizeof(T) == 1 ? 2048 : 1024;
/// Larger blocks are first measured down to parts of at most that size, this many levels at a time.
inline constexpr std::int32_t kCoarseLevels = 4;
inline constexpr std::int32_t kCoarseSpan = 1 << kCoarseLevels;

/// Scratch rows hold so many bytes of pixels: the largest block in the largest depth. Rows of blocks that wide stay in
/// the second cache until they are written.
inline constexpr std::size_t kRowBytes = 8192;
template <typename T>
inline constexpr std::int32_t kRowPixels = static_cast<std::int32_t>(kRowBytes / (kChannelsPerPixel * sizeof(T)));
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
    T* pixel(std::int32_t x) { return storage_ + kMargin + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel; }

private:
    static constexpr std::size_t kMargin = 64 / sizeof(T);
    alignas(64) T storage_[Bytes / sizeof(T) + 2 * kMargin];
};

/// The vertical measure of some rows, for each of their columns.
template <typename T>
struct ColumnMeasure {
    Row<T> low;
    Row<T> high;
    /// For integers, in lanes of two channels: sums of channels 0 and 2, and of 1 and 3.
    /// For floats, in the first row, sums of each channel in no order: not finite if some summand is not.
    Row<T> even;
    Row<T, (sizeof(T) <= 2 ? kRowBytes : 0)> odd;
};

template <typename T>
struct Workspace {
    ColumnMeasure<T> measure;
    Row<T> sampled;
    Row<T, kSpanBytes<T>> sampledRows[kMaximumTileSize];
    Row<T, (kPutsBackExactly<T> ? 0 : kSpanBytes<T>)> finished[kMaximumTileSize];
    Row<Mask<T>> keep;
    Row<T> fill;
    static constexpr std::size_t kNodeChannels = channelsFor<T>(kMaximumTiles<T>, kTileLevels);
    alignas(64) T low[kNodeChannels];
    alignas(64) T high[kNodeChannels];
    alignas(64) T nodeFill[kNodeChannels];
    alignas(64) std::uint32_t sums[sizeof(T) <= 2 ? kChannelsPerPixel * (kMaximumTiles<T> + 1) : 1];
    std::int32_t columns[kMaximumTiles<T> + 1];
    std::int32_t rows[(1 << kTileLevels) + 1];
};

}  // namespace
}  // namespace quorvel
