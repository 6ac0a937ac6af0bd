// SPDX-License-Identifier: MIT
// Writing: each output pixel once, row by row, from two scratch rows that say what is kept and what is filled.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/render/fast/vector.h"
#include "effect/render/fast/workspace.h"

namespace quorvel {
namespace {

template <typename V, typename T>
[[gnu::always_inline]] inline void mergeLanes(T* output, const T* source, const Mask<T>* keep, const T* fill) {
    store(output, select(load<V>(keep), load<V>(source), load<V>(fill)));
}

/// Source where kept, fill elsewhere. Output and source may be the same row: doing a pixel twice changes nothing.
template <typename T>
void mergeRow(T* output, const T* source, const Mask<T>* keep, const T* fill, std::int32_t lanes) {
    using V = Vector<Mask<T>, kVectorBytes>;
    if (lanes < kLanes<T>) {
        for (std::int32_t i = 0; i < lanes; i += kChannelsPerPixel) {
            mergeLanes<Vector<Mask<T>, kChannelsPerPixel * sizeof(T)>>(output + i, source + i, keep + i, fill + i);
        }
        return;
    }
    mergeLanes<V>(output, source, keep, fill);
    std::int32_t i = lanesToAlignment(output);
    for (; i + kLanes<T> <= lanes; i += kLanes<T>) {
        mergeLanes<V>(output + i, source + i, keep + i, fill + i);
    }
    if (i < lanes) {
        i = lanes - kLanes<T>;
        mergeLanes<V>(output + i, source + i, keep + i, fill + i);
    }
}

/// Merges the rows of a region with one pair of scratch rows.
template <typename T>
void mergeRows(const PixelView<T>& output, const PixelView<const T>& source, const Region& region, Row<Mask<T>>& keep,
               Row<T>& fill) {
    const std::ptrdiff_t across = static_cast<std::ptrdiff_t>(region.x) * kChannelsPerPixel;
    for (std::int32_t y = region.y; y < region.y + region.height; ++y) {
        mergeRow<T>(output.pixels + y * output.stride + across, source.pixels + y * source.stride + across,
                    keep.channels(), fill.channels(), region.width * kChannelsPerPixel);
    }
}

/// The same verdict for `width` pixels from x on. Up to three pixels behind them are overwritten.
template <typename T>
[[gnu::always_inline]] inline void planEvenly(Row<Mask<T>>& keep, Row<T>& fill, std::int32_t x, std::int32_t width,
                                              const Verdict<T>& verdict) {
    const auto keeps = repeat<Quartet<T>>(verdict.state);
    const auto fills = repeat<Quartet<T>>(verdict.fill);
    for (std::int32_t i = 0; i < width; i += 4) {
        store(keep.pixel(x + i), keeps);
        store(fill.pixel(x + i), fills);
    }
}

/// Writes a region of any size that has one verdict, none of it kSplit.
template <typename T>
void writeEvenly(const PixelView<T>& output, const PixelView<const T>& source, Region region, const Verdict<T>& verdict,
                 Workspace<T>& work) {
    const std::int32_t end = region.x + region.width;
    planEvenly(work.keep[0], work.fill[0], 0, region.width < kRowPixels<T> ? region.width : kRowPixels<T>, verdict);
    for (; region.x < end; region.x += region.width) {
        region.width = end - region.x < kRowPixels<T> ? end - region.x : kRowPixels<T>;
        mergeRows(output, source, region, work.keep[0], work.fill[0]);
    }
}

}  // namespace
}  // namespace quorvel
