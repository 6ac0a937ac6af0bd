// SPDX-License-Identifier: MIT
// One frame's work for the fast kernels.
#pragma once

#include <cstdint>
#include <limits>

#include "effect/depth.h"
#include "effect/intensity.h"
#include "effect/pixels.h"

namespace quorvel::fast {

/// The contrasts that are busy: those from `first` to `last`, or all others if `outside`. By default all are.
template <typename T>
struct BusyRange {
    T first = std::numeric_limits<T>::lowest();
    T last = std::numeric_limits<T>::max();
    bool outside = false;
};

/// Narrower frames use the plain renderer: the kernels load whole registers of pixels from rows.
inline constexpr std::int32_t kNarrowestFrame = 16;

/// One frame's work, prepared for the kernels. Borrowed for the call, tables included.
template <typename Depth>
struct MosaicJob {
    using T = typename Depth::Channel;
    PixelView<T> output;        ///< at least kNarrowestFrame wide and 1 high; may be the source's memory
    PixelView<const T> source;  ///< of the same size
    /// Null `intensity.pixels`: the source decides. X and Y are the first output pixel's place in the layer, in 16.16
    /// fixed point.
    IntensitySampling<T> intensity;
    std::int32_t intensityX = 0;
    std::int32_t intensityY = 0;
    /// In cells, at least 1 each. No cell is so thin that a block gets narrower than three pixels before it is a tile.
    std::int32_t gridWidth = 1;
    std::int32_t gridHeight = 1;
    std::int32_t maximumLevel = 0;
    T threshold{};
    /// R, G and B share one quadtree; otherwise each processed channel has its own.
    bool joint = false;
    bool processed[kChannelsPerPixel] = {};
    /// For processed channels: Depth::kSamples curve values, and the contrasts that are busy by them.
    const T* tables[kChannelsPerPixel] = {};
    BusyRange<T> busy[kChannelsPerPixel] = {};
    /// Whether `busy` is valid. False if the busy contrasts of some channel are not one range: the tables decide then.
    bool rangesHold = false;
};

}  // namespace quorvel::fast
