// SPDX-License-Identifier: MIT
// Averages of blocks that are filled: tiles and whatever is larger.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/geometry.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// The truncated averages of `count` pixels of integer channels, given their sums. The exact quotient of sum + 0.5 is
/// at least half of 1 / count away from every integer. The rounding errors are far smaller for sums below 2^50, and
/// sums are below 2^47.
template <typename T, typename S>
[[gnu::always_inline]] inline Pixel<T> quotients(const S* sums, std::int32_t count) {
    const double reciprocal = 1.0 / static_cast<double>(count);
    Pixel<T> average;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        const double sum = static_cast<double>(static_cast<std::int64_t>(sums[c]));
        average.channel[c] = static_cast<T>(static_cast<std::int32_t>((sum + 0.5) * reciprocal));
    }
    return average;
}

using FloatPixel = PixelVector<float>;

/// Sums of blocks in the fixed order (row by row, left to right), which is part of the result. Each channel is one
/// chain of additions that wait for each other, so `Count` blocks are summed side by side. Their sizes may differ by a
/// row and a column.
template <std::size_t Count>
void sumSideBySide(const PixelView<const float>& source, const Region* regions, FloatPixel* sums) {
    const float* from[Count];
    std::int32_t commonWidth = regions[0].width;
    std::int32_t rows = 0;
    for (std::size_t b = 0; b < Count; ++b) {
        from[b] = source.pixels + regions[b].y * source.stride +
                  static_cast<std::ptrdiff_t>(regions[b].x) * kChannelsPerPixel;
        commonWidth = regions[b].width < commonWidth ? regions[b].width : commonWidth;
        rows = regions[b].height > rows ? regions[b].height : rows;
    }
    FloatPixel running[Count] = {};
    for (std::int32_t j = 0; j < rows; ++j) {
        bool full = true;
        for (std::size_t b = 0; b < Count; ++b) {
            full = full && j < regions[b].height;
        }
        if (full) {
            for (std::int32_t i = 0; i < commonWidth; ++i) {
                for (std::size_t b = 0; b < Count; ++b) {
                    running[b] += load<FloatPixel>(from[b] + i * kChannelsPerPixel);
                }
            }
        }
        for (std::size_t b = 0; b < Count; ++b) {
            if (j < regions[b].height) {
                for (std::int32_t i = full ? commonWidth : 0; i < regions[b].width; ++i) {
                    running[b] += load<FloatPixel>(from[b] + i * kChannelsPerPixel);
                }
            }
            from[b] += source.stride;
        }
    }
    for (std::size_t b = 0; b < Count; ++b) {
        sums[b] = running[b];
    }
}

}  // namespace
}  // namespace quorvel::fast
