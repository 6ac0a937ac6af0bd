// SPDX-License-Identifier: MIT
// Writing rows whose decisions are made: what is kept, and what the rest is filled with.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/geometry.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Calls part(vector, channel) along a row of `channels` channels: a vector, which only tells its type, and the channel
/// where it begins. Most of the vectors are aligned in `output`. They may overlap.
template <typename T, typename Part>
[[gnu::always_inline]] inline void alongRow(const T* output, std::int32_t channels, const Part& part) {
    using V = Register<Mask<T>>;
    if (channels < kRegisterChannels<T>) {
        for (std::int32_t i = 0; i < channels; i += kChannelsPerPixel) {
            part(PixelVector<Mask<T>>{}, i);
        }
        return;
    }
    std::int32_t i = channelsToAlignment(output);
    if (i > 0) {
        part(V{}, 0);
    }
    for (; i + kRegisterChannels<T> <= channels; i += kRegisterChannels<T>) {
        part(V{}, i);
    }
    if (i < channels) {
        part(V{}, channels - kRegisterChannels<T>);
    }
}

/// Writes the source where kept, the fill elsewhere. Output and source may be the same row: writing a pixel twice
/// changes nothing. The next row, `stride` channels further, is prefetched.
template <typename T>
[[gnu::always_inline]] inline void mergeRow(T* output, std::ptrdiff_t stride, const T* source, const Mask<T>* keep,
                                            const T* fill, std::int32_t channels) {
    alongRow(output, channels, [&](auto type, std::int32_t i) {
        using V = decltype(type);
        fetchToWriteNext(output + i, stride);
        store(output + i, select(load<V>(keep + i), load<V>(source + i), load<V>(fill + i)));
    });
}

/// The same for a row of finished pixels.
template <typename T>
[[gnu::always_inline]] inline void copyRow(T* output, std::ptrdiff_t stride, const T* from, std::int32_t channels) {
    alongRow(output, channels, [&](auto type, std::int32_t i) {
        fetchToWriteNext(output + i, stride);
        store(output + i, load<decltype(type)>(from + i));
    });
}

/// Writes all rows of a region from one pair of scratch rows, or from `fill` alone if nothing is kept.
template <typename T>
void mergeRows(const PixelView<T>& output, const PixelView<const T>& source, const Region& region, bool anyKept,
               const Row<Mask<T>>& keep, const Row<T>& fill) {
    const std::ptrdiff_t across = static_cast<std::ptrdiff_t>(region.x) * kChannelsPerPixel;
    const std::int32_t channels = region.width * kChannelsPerPixel;
    for (std::int32_t y = region.y; y < region.y + region.height; ++y) {
        T* const to = output.pixels + y * output.stride + across;
        if (anyKept) {
            mergeRow<T>(to, output.stride, source.pixels + y * source.stride + across, keep.channels(), fill.channels(),
                        channels);
        } else {
            copyRow<T>(to, output.stride, fill.channels(), channels);
        }
    }
}

/// Sets `width` pixels of a pair of scratch rows, from pixel x on, to the same masks `kept` and the same fill.
/// Overwrites up to three pixels after them.
template <typename T>
[[gnu::always_inline]] inline void planUniform(Row<Mask<T>>& keep, Row<T>& fill, std::int32_t x, std::int32_t width,
                                               const Mask<T>* kept, const T* filled) {
    Pixel<T> pixel;
    Pixel<Mask<T>> mask;
    __builtin_memcpy(&pixel, filled, sizeof pixel);
    __builtin_memcpy(&mask, kept, sizeof mask);
    const auto keeps = repeat<Quartet<T>>(mask);
    const auto fills = repeat<Quartet<T>>(pixel);
    for (std::int32_t i = 0; i < width; i += 4) {
        store(keep.pixel(x + i), keeps);
        store(fill.pixel(x + i), fills);
    }
}

/// Writes a region of any size whose pixels all have the same masks `kept` and the same fill.
template <typename T>
void writeUniform(const PixelView<T>& output, const PixelView<const T>& source, Region region, const Mask<T>* kept,
                  const T* filled, Workspace<T>& work) {
    const std::int32_t end = region.x + region.width;
    bool anyKept = false;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        anyKept = anyKept || kept[c] != 0;
    }
    planUniform(work.keep, work.fill, 0, region.width < kRowPixels<T> ? region.width : kRowPixels<T>, kept, filled);
    for (; region.x < end; region.x += region.width) {
        region.width = end - region.x < kRowPixels<T> ? end - region.x : kRowPixels<T>;
        mergeRows(output, source, region, anyKept, work.keep, work.fill);
    }
}

}  // namespace
}  // namespace quorvel::fast
