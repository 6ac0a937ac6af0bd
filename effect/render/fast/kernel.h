// SPDX-License-Identifier: MIT
// What the fast kernel is given, and its builds for each instruction set.
#pragma once

#include <cstdint>
#include <limits>

#include "effect/render/block.h"
#include "effect/render/depth.h"
#include "effect/render/pixels.h"

namespace quorvel {

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

/// The box filter of the curve, of at least 1 in `radius`. `periodic` points at sample 0 and holds `radius` more
/// samples on either side; `centre` and `result` hold `count`, a multiple of 16. Equals getCurveVal's sums in their
/// order.
struct CurveSmoothing {
    const float* centre;
    const float* periodic;
    float* result;
    int count;
    int radius;
    float fraction;
};

/// The kernels built for one instruction set.
struct KernelSet {
    void (*mosaic8)(const MosaicJob<Depth8>& job);
    void (*mosaic16)(const MosaicJob<Depth16>& job);
    void (*mosaicFloat)(const MosaicJob<DepthFloat>& job);
    void (*smoothCurve)(const CurveSmoothing& smoothing);
};

extern const KernelSet kBaselineKernels;
extern const KernelSet kAvx2Kernels;
extern const KernelSet kAvx512Kernels;

}  // namespace quorvel
