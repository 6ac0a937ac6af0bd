// SPDX-License-Identifier: MIT
// The pictures that a frame is made from, read at output positions.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/intensity.h"
#include "effect/fast/job.h"
#include "effect/fast/vector-inl.h"
#include "effect/numeric.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// The source, or an intensity layer.
template <typename T>
struct Picture {
    /// Read as it is: the pixel at output position 0, 0. Otherwise null, and rows have to be sampled.
    const T* origin = nullptr;
    std::ptrdiff_t stride = 0;  ///< in channels
    IntensitySampling<T> sampling;
    std::int32_t sampleX = 0;  ///< 16.16 position of output pixel 0, 0 in the layer
    std::int32_t sampleY = 0;

    const T* at(std::int32_t x, std::int32_t y) const {
        return origin + y * stride + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel;
    }
};

/// What a frame is made from.
template <typename T>
struct Pictures {
    Picture<T> source;
    Picture<T> deciding;  ///< the source itself, unless `separate`
    bool separate;
};

template <typename Depth>
Pictures<typename Depth::Channel> picturesOf(const MosaicJob<Depth>& job) {
    using T = typename Depth::Channel;
    const Picture<T> source{job.source.pixels, job.source.stride, {}, 0, 0};
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

/// Clamped to 0 to size - 1.
[[gnu::always_inline]] inline std::int32_t held(std::int32_t value, std::int32_t size) {
    return value < 0 ? 0 : value < size ? value : size - 1;
}

/// The row of a stretched intensity layer that stands at row y of the output.
template <typename T>
const T* layerRow(const Picture<T>& picture, std::int32_t y) {
    const IntensitySampling<T>& sampling = picture.sampling;
    const std::int32_t row = wrappingAdd(picture.sampleY, wrappingMultiply(y, sampling.stepY)) >> 16;
    return sampling.pixels + (sampling.clamped ? held(row, sampling.height) : row) * sampling.stride;
}

/// Pixels of such a row, for the output's from x on.
template <typename T>
void sampleRow(const Picture<T>& picture, const T* row, std::int32_t x, std::int32_t width, T* to) {
    const IntensitySampling<T>& sampling = picture.sampling;
    std::int32_t position = wrappingAdd(picture.sampleX, wrappingMultiply(x, sampling.stepX));
    const auto copyColumns = [&](const auto& columnOf) {
        for (std::int32_t i = 0; i < width; ++i, to += kChannelsPerPixel) {
            const auto column = static_cast<std::ptrdiff_t>(columnOf(position >> 16));
            __builtin_memcpy(to, row + column * kChannelsPerPixel, sizeof(Pixel<T>));
            position = wrappingAdd(position, sampling.stepX);
        }
    };
    if (sampling.clamped) {
        copyColumns([&](std::int32_t column) { return held(column, sampling.width); });
    } else {
        copyColumns([](std::int32_t column) { return column; });
    }
}

}  // namespace
}  // namespace quorvel::fast
