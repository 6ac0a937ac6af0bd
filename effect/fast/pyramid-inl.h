// SPDX-License-Identifier: MIT
// The quadtrees of a row of blocks, down to tiles.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/geometry.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// A row of blocks of the same depth, halved `levels` times into tiles, as quadtrees of nodes. Level 0 are the blocks,
/// level `levels` the tiles; each level is a picture of one pixel per node. A node is first measured and then judged,
/// in the same place: its spread is not needed once it is decided what becomes of its channels.
/// S: the integer that holds the sum of a tile.
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
    S* sums;                ///< of each channel of each tile, row by row, if channels are integers
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

/// The channels that the arrays of a pyramid need room for: of the tiles, of less than a third as many nodes above
/// them, and of what pads the rows of all levels and vectors reach over.
template <typename T>
constexpr std::size_t channelsFor(std::int32_t tiles, std::int32_t levels) {
    const std::int32_t nodes = tiles + (tiles - 1) / 3;
    const std::int32_t padding = ((2 << levels) + 4) * kRegisterPixels<T>;
    return static_cast<std::size_t>(nodes + padding) * kChannelsPerPixel;
}

/// What has been decided for nodes side by side, as in a Pyramid. Read in whole registers.
template <typename T>
struct Verdicts {
    const Mask<T>* open;
    const Mask<T>* keep;
    const T* fill;
    std::int32_t step;  ///< 1: one after another; 0: the same for all, given as one register of them
};

}  // namespace
}  // namespace quorvel::fast
