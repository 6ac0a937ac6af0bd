// SPDX-License-Identifier: MIT
// Where blocks begin and end. Columns and rows are halved independently, so every block of the quadtree is one column
// interval times one row interval.
#pragma once

#include <cstdint>

namespace quorvel::fast {
namespace {

/// A rectangle of pixels in the frame.
struct Region {
    std::int32_t x;
    std::int32_t y;
    std::int32_t width;
    std::int32_t height;
};

/// Tiles, the blocks at which the pyramid ends, have at most this many pixels a side. They are halved at most twice
/// more, which leaves one or two pixels a side.
inline constexpr std::int32_t kMaximumTileSize = 8;

/// How many times a cell is halved until even its largest blocks are tiles.
constexpr std::int32_t levelsToTiles(std::int32_t width, std::int32_t height) {
    std::int32_t levels = 0;
    // The larger half of n is (n + 1) / 2.
    while (width > kMaximumTileSize || height > kMaximumTileSize) {
        width = (width + 1) / 2;
        height = (height + 1) / 2;
        ++levels;
    }
    return levels;
}

/// Halves intervals `levels` times. Every 2^levels-th item of `bounds` is given; the items between are filled in.
inline void halveRepeatedly(std::int32_t* bounds, std::int32_t intervals, std::int32_t levels) {
    const std::int32_t last = intervals << levels;
    for (std::int32_t step = (1 << levels) / 2; step > 0; step /= 2) {
        for (std::int32_t i = step; i < last; i += 2 * step) {
            bounds[i] = bounds[i - step] + (bounds[i + step] - bounds[i - step]) / 2;
        }
    }
}

/// The bounds of the four intervals that two halvings make of one. Some may be empty.
struct Quarters {
    std::int32_t bounds[5];
};
constexpr Quarters quartersOf(std::int32_t begin, std::int32_t end) {
    const std::int32_t middle = begin + (end - begin) / 2;
    return {{begin, begin + (middle - begin) / 2, middle, middle + (end - middle) / 2, end}};
}

}  // namespace
}  // namespace quorvel::fast
