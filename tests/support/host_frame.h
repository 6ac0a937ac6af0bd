// SPDX-License-Identifier: MIT
// Random frames as hosts' worlds, and what tests of the module want to know about them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/world.h"
#include "tests/support/current_test.h"
#include "tests/support/frame_renders.h"

namespace quorvel::test {

using host::World;

template <typename Channel>
constexpr host::Depth kHostDepth = sizeof(Channel) == 1   ? host::Depth::Bits8
                                   : sizeof(Channel) == 2 ? host::Depth::Bits16
                                                          : host::Depth::Float32;

/// The picture's pixels as a world, rows in the same order and with the same padding between them.
template <typename T>
World worldOf(PixelView<const T> picture) {
    const bool bottomUp = picture.stride < 0;
    const std::ptrdiff_t padding =
        (bottomUp ? -picture.stride : picture.stride) - std::ptrdiff_t{picture.width} * kChannelsPerPixel;
    World world(kHostDepth<T>, picture.width, picture.height,
                {static_cast<int>(padding) * static_cast<int>(sizeof(T)), bottomUp});
    std::fill(world.memory().begin(), world.memory().end(), std::byte{0x4D});
    for (std::int32_t y = 0; y < picture.height; ++y) {
        std::copy_n(picture.pixels + y * picture.stride, picture.width * kChannelsPerPixel, world.channels<T>(y));
    }
    return world;
}

template <typename T>
PixelView<const T> viewOf(const World& world) {
    return {world.channels<T>(0), world.width(), world.height(),
            world.rowBytes() / static_cast<std::ptrdiff_t>(sizeof(T))};
}

/// Whether the world holds the expected pixels, and its padding what it held `before`.
template <typename T>
testing::AssertionResult holds(PixelView<const T> expected, const World& before, const World& actual) {
    const std::string text = difference(expected, viewOf<T>(actual), currentTest());
    if (!text.empty()) {
        return testing::AssertionFailure() << text;
    }
    const auto padding = [](const World& world) {
        World copy = world.clone();
        for (int y = 0; y < copy.height(); ++y) {
            std::fill_n(copy.channels<T>(y), copy.width() * kChannelsPerPixel, T{});
        }
        return copy;
    };
    if (padding(before).memory() != padding(actual).memory()) {
        return testing::AssertionFailure() << "bytes between the rows were written";
    }
    return testing::AssertionSuccess();
}

}  // namespace quorvel::test
