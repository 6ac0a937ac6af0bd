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

/// A row of blocks on the same level, halved `levels` times into tiles, as quadtrees of nodes. Levels are counted
/// from the blocks, which are level 0; the tiles are level `levels`. A level is stored like an image with one pixel per
/// node. A node is first measured and then decided in the same memory: a spread is not needed after the decision.
/// S: the integer that holds the sum of a tile.
template <typename T, typename S>
struct Pyramid {
    union {
        T* low;         ///< measured: the lowest value of each channel
        Mask<T>* open;  ///< decided: the channels that are split further
    };
    union {
        T* high;        ///< measured: the highest value
        Mask<T>* keep;  ///< decided: the channels that stay as they are in the source; the others are filled
    };
    T* fill;                ///< the colour of filled channels
    S* sums;                ///< of each channel of each tile, row by row; integers only
    std::int32_t* columns;  ///< columnsAt(levels) + 1 bounds
    std::int32_t* rows;     ///< rowsAt(levels) + 1 bounds
    std::int32_t blocks;
    std::int32_t levels;
    std::int32_t topLevel;  ///< of the blocks, in the quadtree of their cell

    std::int32_t columnsAt(std::int32_t level) const { return blocks << level; }
    static std::int32_t rowsAt(std::int32_t level) { return 1 << level; }
    /// In nodes. Rows take whole registers, so that none is handled in pieces.
    std::int32_t strideAt(std::int32_t level) const {
        return (columnsAt(level) + kRegisterPixels<T> - 1) / kRegisterPixels<T> * kRegisterPixels<T>;
    }
    /// The index of a node's first channel in the arrays.
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

/// How many channels an array of a pyramid must hold: those of the tiles, of the nodes above them (less than a third as
/// many), and the padding at the ends of rows and of the array.
template <typename T>
constexpr std::size_t channelsFor(std::int32_t tiles, std::int32_t levels) {
    const std::int32_t nodes = tiles + (tiles - 1) / 3;
    const std::int32_t padding = ((2 << levels) + 4) * kRegisterPixels<T>;
    return static_cast<std::size_t>(nodes + padding) * kChannelsPerPixel;
}

/// The decisions for nodes side by side, as in a Pyramid. They are read in whole registers.
template <typename T>
struct Decisions {
    const Mask<T>* open;
    const Mask<T>* keep;
    const T* fill;
    std::int32_t step;  ///< 1: one per node; 0: the same for all nodes, given as one register
};

}  // namespace
}  // namespace quorvel::fast
