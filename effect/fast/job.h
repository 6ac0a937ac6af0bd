// SPDX-License-Identifier: MIT
// One frame's work for the fast kernels.
#pragma once

#include <cstdint>
#include <limits>

#include "effect/depth.h"
#include "effect/intensity.h"
#include "effect/pixels.h"

namespace quorvel::fast {

/// The contrasts that count as busy: those from `first` to `last`, or all but those. At first all.
template <typename T>
struct BusyRange {
    T first = std::numeric_limits<T>::lowest();
    T last = std::numeric_limits<T>::max();
    bool outside = false;
};

/// Frames less wide are the plain kernel's: the fast ones take whole registers of pixels out of rows.
inline constexpr std::int32_t kNarrowestFrame = 16;

/// One frame's work, prepared for the kernels. Borrowed for the call, tables included.
template <typename Depth>
struct MosaicJob {
    using T = typename Depth::Channel;
    PixelView<T> output;        ///< at least kNarrowestFrame wide and 1 high; may be the source's memory
    PixelView<const T> source;  ///< of the same size
    /// `intensity.pixels` is null when the source decides; the origin is the first output pixel's 16.16 position.
    IntensitySampling<T> intensity;
    std::int32_t intensityX = 0;
    std::int32_t intensityY = 0;
    /// At least 1 each, and cells not so thin that a block has less than three pixels before it is a tile's size.
    std::int32_t gridWidth = 1;
    std::int32_t gridHeight = 1;
    std::int32_t maximumDepth = 0;
    T threshold{};
    /// R, G and B in one quadtree; otherwise each processed channel in its own.
    bool joint = false;
    bool processed[kChannelsPerPixel] = {};
    /// For processed channels: Depth::kLevels curve values, and what they come to for a contrast.
    const T* tables[kChannelsPerPixel] = {};
    BusyRange<T> busy[kChannelsPerPixel] = {};
    /// False when some channel's busy contrasts are not a single range: then only the tables tell.
    bool rangesHold = false;
};

}  // namespace quorvel::fast
