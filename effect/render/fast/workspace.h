// SPDX-License-Identifier: MIT
// The kernel's scratch memory: one object on the stack of each call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/render/fast/geometry.h"
#include "effect/render/fast/kernel.h"
#include "effect/render/fast/vector.h"

namespace quorvel {
namespace {

/// The lowest and highest value of each channel of a block.
template <typename T>
struct Spread {
    Pixel<T> minimum;
    Pixel<T> maximum;
};

/// What becomes of one channel of a tile: filled, kept (all ones, as a mask), or split further.
template <typename T>
inline constexpr Mask<T> kFilled = 0;
template <typename T>
inline constexpr Mask<T> kKept = static_cast<Mask<T>>(~Mask<T>{0});
template <typename T>
inline constexpr Mask<T> kSplit = 1;

template <typename T>
struct Verdict {
    Pixel<Mask<T>> state;
    Pixel<T> fill;  ///< for filled channels
};

/// A tile is first measured and then judged, channel by channel, in the same place: a channel's spread is not
/// needed once its own verdict stands.
template <typename T>
struct Tile {
    union {
        Spread<T> spread;
        Verdict<T> verdict;
    };
};

/// A row of blocks of the same depth, halved `levels` times into tiles.
template <typename T>
struct Pyramid {
    Tile<T>* tiles;         ///< rows of columns() tiles
    Spread<T>* upper;       ///< levels 0 to levels - 1, one after another, each in rows
    std::int32_t* columns;  ///< tileColumns() + 1 bounds
    std::int32_t* rows;     ///< tileRows() + 1 bounds
    std::int32_t blocks;
    std::int32_t levels;
    std::int32_t depth;  ///< of the blocks, in the quadtree

    std::int32_t tileColumns() const { return blocks << levels; }
    std::int32_t tileRows() const { return 1 << levels; }
    Tile<T>* tileRow(std::int32_t row) const { return tiles + row * tileColumns(); }
    /// Before level l stand blocks * (1 + 4 + ... + 4^(l-1)) nodes.
    Spread<T>* level(std::int32_t l) const { return upper + blocks * (((1 << (2 * l)) - 1) / 3); }
    Region region(std::int32_t l, std::int32_t row, std::int32_t column) const {
        const std::int32_t shift = levels - l;
        const std::int32_t x = columns[column << shift];
        const std::int32_t y = rows[row << shift];
        return {x, y, columns[(column + 1) << shift] - x, rows[(row + 1) << shift] - y};
    }
};

/// Blocks up to 256 pixels wide are measured tile by tile at once, several side by side.
inline constexpr std::int32_t kTileLevels = 5;
inline constexpr std::int32_t kMaximumTiles = 2048;
/// Larger blocks are first measured down to parts of at most that size, this many levels at a time.
inline constexpr std::int32_t kCoarseLevels = 4;
inline constexpr std::int32_t kCoarseSpan = 1 << kCoarseLevels;

/// Scratch rows hold so many bytes of pixels: the largest block in the largest depth.
inline constexpr std::size_t kRowBytes = 8192;
template <typename T>
inline constexpr std::int32_t kRowPixels = static_cast<std::int32_t>(kRowBytes / (kChannelsPerPixel * sizeof(T)));

/// A scratch row. Vectors may reach over either end.
template <typename T>
class Row {
public:
    T* channels() { return storage_ + kMargin; }
    T* pixel(std::int32_t x) { return storage_ + kMargin + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel; }

private:
    static constexpr std::size_t kMargin = 64 / sizeof(T);
    T storage_[kRowBytes / sizeof(T) + 2 * kMargin];
};

template <typename T>
struct Workspace {
    Row<T> minimum[2];
    Row<T> maximum[2];
    Row<Mask<T>> keep[2];
    Row<T> fill[2];
    Row<T> sampled;
    Tile<T> tiles[kMaximumTiles];
    Spread<T> upper[kMaximumTiles / 3 + 1];
    std::int32_t columns[kMaximumTiles + 1];
    std::int32_t rows[(1 << kTileLevels) + 1];
};

}  // namespace
}  // namespace quorvel
