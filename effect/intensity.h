// SPDX-License-Identifier: MIT
// How the intensity layer lies over the frame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/numeric.h"
#include "effect/pixels.h"

namespace quorvel {

/// The layer whose contrast decides where blocks split, in the depth of the frame; borrowed. Null `view.pixels`: the
/// source itself decides. The origin is the output's place in the layer, in pixels.
template <typename T>
struct IntensityLayer {
    PixelView<const T> view;
    std::int32_t originX = 0;
    std::int32_t originY = 0;
};

/// How the layer is read: at 16.16 fixed-point positions, `stepX` and `stepY` apart for neighbouring output pixels.
/// Null `pixels`: the source decides.
template <typename T>
struct IntensitySampling {
    const T* pixels = nullptr;  ///< advanced to the channel that is processed, as block pointers are
    std::ptrdiff_t stride = 0;  ///< in channels
    std::int32_t stepX = 0;
    std::int32_t stepY = 0;
    /// Positions wrap around on layers of 32768 pixels and more; they are then clamped to this size.
    bool clamped = false;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// The layer's sampling, and the 16.16 position of the output's first pixel in it.
template <typename T>
struct IntensityMapping {
    IntensitySampling<T> sampling;
    std::int32_t originX = 0;
    std::int32_t originY = 0;
};

/// Reads the layer 1:1 where it covers the output's rectangle at a non-negative origin; otherwise stretches it over
/// the output. A layer without area counts as none. `width` and `height` are the output's, at least 1.
template <typename T>
IntensityMapping<T> mapIntensity(const IntensityLayer<T>& layer, std::int32_t width, std::int32_t height) {
    IntensityMapping<T> mapping;
    IntensitySampling<T>& sampling = mapping.sampling;
    const PixelView<const T>& view = layer.view;
    if (view.pixels == nullptr || view.width < 1 || view.height < 1) {
        return mapping;
    }
    sampling.pixels = view.pixels;
    sampling.stride = view.stride;
    sampling.width = view.width;
    sampling.height = view.height;
    // On smaller layers, positions stay within 31 bits and within the layer.
    sampling.clamped = view.width >= 32768 || view.height >= 32768;

    // As differences: the sums of origin and size could overflow.
    const bool covers = layer.originX >= 0 && layer.originY >= 0 && view.height >= height && view.width >= width &&
                        layer.originY <= view.height - height && layer.originX <= view.width - width;
    if (covers) {
        mapping.originX = wrappingMultiply(layer.originX, 65536);
        mapping.originY = wrappingMultiply(layer.originY, 65536);
        sampling.stepX = sampling.stepY = 65536;
    } else {
        sampling.stepX = wrappingMultiply(view.width, 65536) / width;
        sampling.stepY = wrappingMultiply(view.height, 65536) / height;
    }
    return mapping;
}

}  // namespace quorvel
