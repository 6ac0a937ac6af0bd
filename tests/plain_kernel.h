// SPDX-License-Identifier: MIT
// The reference that every way of rendering is held against, besides the model.
#pragma once

#include "effect/render/grid.h"
#include "tests/frames.h"

namespace quorvel::test {

template <typename T>
PixelView<T> viewOf(World& world) {
    return {world.channels<T>(0), world.width(), world.height(),
            world.rowBytes() / static_cast<std::ptrdiff_t>(sizeof(T))};
}
template <typename T>
PixelView<const T> viewOf(const World& world) {
    return {world.channels<T>(0), world.width(), world.height(),
            world.rowBytes() / static_cast<std::ptrdiff_t>(sizeof(T))};
}

/// Renders the frame's settings from `source` into `output` with the plain kernel, called directly.
template <typename Depth>
void renderPlainly(const Frame<typename Depth::Channel>& frame, const World& source, World& output) {
    using T = typename Depth::Channel;
    PixelView<const T> layer;
    if (frame.layer) {
        layer = viewOf<T>(*frame.layer);
    }
    mosaicFrame<Depth>(viewOf<T>(output), viewOf<T>(source), frame.paramValues(), layer, frame.originX, frame.originY,
                       0.5F);
}

}  // namespace quorvel::test
