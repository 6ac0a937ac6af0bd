// SPDX-License-Identifier: MIT
// The source and the intensity layer, read at output positions.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/job.h"
#include "effect/fast/vector-inl.h"
#include "effect/intensity.h"
#include "effect/numeric.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// The source or an intensity layer, as it lies over the output.
template <typename T>
struct PlacedLayer {
    /// The pixel at output position 0, 0, if the layer is read 1:1. Null if its rows must be sampled.
    const T* origin = nullptr;
    std::ptrdiff_t stride = 0;  ///< in channels
    IntensitySampling<T> sampling;
    std::int32_t sampleX = 0;  ///< 16.16 position of output pixel 0, 0 in the layer
    std::int32_t sampleY = 0;

    const T* at(std::int32_t x, std::int32_t y) const {
        return origin + y * stride + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel;
    }
};

/// What a frame is computed from.
template <typename T>
struct FrameInputs {
    PlacedLayer<T> source;
    PlacedLayer<T> deciding;  ///< whose contrast decides; the source itself unless `separate`
    bool separate;
};

template <typename Depth>
FrameInputs<typename Depth::Channel> inputsOf(const MosaicJob<Depth>& job) {
    using T = typename Depth::Channel;
    const PlacedLayer<T> source{job.source.pixels, job.source.stride, {}, 0, 0};
    const auto& sampling = job.intensity;
    if (sampling.pixels == nullptr) {
        return {source, source, false};
    }
    if (sampling.stepX == 65536 && sampling.stepY == 65536 && !sampling.clamped) {
        return {source,
                {sampling.pixels + (job.intensityY >> 16) * sampling.stride +
                     static_cast<std::ptrdiff_t>(job.intensityX >> 16) * kChannelsPerPixel,
                 sampling.stride,
                 {},
                 0,
                 0},
                true};
    }
    return {source, {nullptr, 0, sampling, job.intensityX, job.intensityY}, true};
}

/// `value` clamped to 0 to size - 1.
[[gnu::always_inline]] inline std::int32_t clampIndex(std::int32_t value, std::int32_t size) {
    return value < 0 ? 0 : value < size ? value : size - 1;
}

/// The row of a stretched intensity layer for row y of the output.
template <typename T>
const T* layerRow(const PlacedLayer<T>& layer, std::int32_t y) {
    const IntensitySampling<T>& sampling = layer.sampling;
    const std::int32_t row = wrappingAdd(layer.sampleY, wrappingMultiply(y, sampling.stepY)) >> 16;
    return sampling.pixels + (sampling.clamped ? clampIndex(row, sampling.height) : row) * sampling.stride;
}

/// Samples `width` pixels of such a row for the output's pixels from x on.
template <typename T>
void sampleRow(const PlacedLayer<T>& layer, const T* row, std::int32_t x, std::int32_t width, T* to) {
    const IntensitySampling<T>& sampling = layer.sampling;
    std::int32_t position = wrappingAdd(layer.sampleX, wrappingMultiply(x, sampling.stepX));
    const auto copyColumns = [&](const auto& columnOf) {
        for (std::int32_t i = 0; i < width; ++i, to += kChannelsPerPixel) {
            const auto column = static_cast<std::ptrdiff_t>(columnOf(position >> 16));
            __builtin_memcpy(to, row + column * kChannelsPerPixel, sizeof(Pixel<T>));
            position = wrappingAdd(position, sampling.stepX);
        }
    };
    if (sampling.clamped) {
        copyColumns([&](std::int32_t column) { return clampIndex(column, sampling.width); });
    } else {
        copyColumns([](std::int32_t column) { return column; });
    }
}

}  // namespace
}  // namespace quorvel::fast
