// SPDX-License-Identifier: MIT
// Writing rows of which it has been decided what is kept and what it is filled with.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/geometry.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Runs `part` on registers' worth of a row of `lanes` channels, stored to whole registers where it can be: it is given
/// a vector to tell the type and a place. It may be run twice for some places.
template <typename T, typename Part>
[[gnu::always_inline]] inline void alongRow(const T* output, std::int32_t lanes, const Part& part) {
    using V = Lanes<Mask<T>>;
    if (lanes < kLanes<T>) {
        for (std::int32_t i = 0; i < lanes; i += kChannelsPerPixel) {
            part(PixelVector<Mask<T>>{}, i);
        }
        return;
    }
    std::int32_t i = lanesToAlignment(output);
    if (i > 0) {
        part(V{}, 0);
    }
    for (; i + kLanes<T> <= lanes; i += kLanes<T>) {
        part(V{}, i);
    }
    if (i < lanes) {
        part(V{}, lanes - kLanes<T>);
    }
}

/// Source where kept, fill elsewhere. Output and source may be the same row: doing a pixel twice changes nothing.
/// `stride` leads to the next row.
template <typename T>
[[gnu::always_inline]] inline void mergeRow(T* output, std::ptrdiff_t stride, const T* source, const Mask<T>* keep,
                                            const T* fill, std::int32_t lanes) {
    alongRow(output, lanes, [&](auto type, std::int32_t i) {
        using V = decltype(type);
        fetchToWriteNext(output + i, stride);
        store(output + i, select(load<V>(keep + i), load<V>(source + i), load<V>(fill + i)));
    });
}

/// The same for pixels that are all finished.
template <typename T>
[[gnu::always_inline]] inline void copyRow(T* output, std::ptrdiff_t stride, const T* from, std::int32_t lanes) {
    alongRow(output, lanes, [&](auto type, std::int32_t i) {
        fetchToWriteNext(output + i, stride);
        store(output + i, load<decltype(type)>(from + i));
    });
}

/// Writes the rows of a region by one pair of scratch rows, or by the second alone when nothing is kept.
template <typename T>
void mergeRows(const PixelView<T>& output, const PixelView<const T>& source, const Region& region, bool anyKept,
               const Row<Mask<T>>& keep, const Row<T>& fill) {
    const std::ptrdiff_t across = static_cast<std::ptrdiff_t>(region.x) * kChannelsPerPixel;
    const std::int32_t lanes = region.width * kChannelsPerPixel;
    for (std::int32_t y = region.y; y < region.y + region.height; ++y) {
        T* const to = output.pixels + y * output.stride + across;
        if (anyKept) {
            mergeRow<T>(to, output.stride, source.pixels + y * source.stride + across, keep.channels(), fill.channels(),
                        lanes);
        } else {
            copyRow<T>(to, output.stride, fill.channels(), lanes);
        }
    }
}

/// Plans the same for `width` pixels from x on: what of them is kept (as masks), and what the rest is filled with. Up
/// to three pixels behind them are overwritten.
template <typename T>
[[gnu::always_inline]] inline void planEvenly(Row<Mask<T>>& keep, Row<T>& fill, std::int32_t x, std::int32_t width,
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

/// Writes a region of any size in which the same is kept and filled everywhere.
template <typename T>
void writeEvenly(const PixelView<T>& output, const PixelView<const T>& source, Region region, const Mask<T>* kept,
                 const T* filled, Workspace<T>& work) {
    const std::int32_t end = region.x + region.width;
    bool anyKept = false;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        anyKept = anyKept || kept[c] != 0;
    }
    planEvenly(work.keep, work.fill, 0, region.width < kRowPixels<T> ? region.width : kRowPixels<T>, kept, filled);
    for (; region.x < end; region.x += region.width) {
        region.width = end - region.x < kRowPixels<T> ? end - region.x : kRowPixels<T>;
        mergeRows(output, source, region, anyKept, work.keep, work.fill);
    }
}

}  // namespace
}  // namespace quorvel::fast
