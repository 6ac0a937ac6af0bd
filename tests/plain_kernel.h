// SPDX-License-Identifier: MIT
// The reference that every way of rendering is held against, besides the model.
#pragma once

#include <cstddef>
#include <type_traits>

#include "effect/plain/render.h"
#include "tests/frames.h"

namespace quorvel::test {

/// `T` is const for a picture that is only read.
template <typename T, typename AnyWorld>
PixelView<T> viewOf(AnyWorld& world) {
    return {world.template channels<std::remove_const_t<T>>(0), world.width(), world.height(),
            world.rowBytes() / static_cast<std::ptrdiff_t>(sizeof(T))};
}

/// Renders the frame's settings from `source` into `output` with the plain kernel, called directly.
template <typename Depth>
void renderPlainly(const Frame<typename Depth::Channel>& frame, const World& source, World& output) {
    using T = typename Depth::Channel;
    IntensityLayer<T> layer{{}, frame.originX, frame.originY};
    if (frame.layer) {
        layer.view = viewOf<const T>(*frame.layer);
    }
    plain::render<Depth>(viewOf<T>(output), viewOf<const T>(source), frame.effectSettings(), layer);
}

}  // namespace quorvel::test
