// SPDX-License-Identifier: MIT
// The one generator of random frames: a frame is made of nothing but its seed and what it is for, and is the same on
// every machine and with every compiler.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "effect/settings.h"
#include "tests/support/guarded_picture.h"

namespace quorvel::test {

enum class FrameFor {
    Renderers,  ///< up to 5000 pixels wide or layers of 33000, with every value that the renderers take
    Hosts,      ///< what a host can ask for: at most 70 x 50 pixels, as the model and the module render many of them
};

/// One frame to be rendered: settings, pictures in all layouts, and the output's place in the intensity layer.
template <typename Depth>
struct RandomFrame {
    using T = typename Depth::Channel;

    std::uint64_t seed;
    Settings settings{};
    bool inPlace = false;  ///< the output is its own source: it holds the source's pixels, in the source's layout
    std::int32_t originX = 0;
    std::int32_t originY = 0;
    GuardedPicture<T> source;
    GuardedPicture<T> output;  ///< as it is before rendering: filled with leftovers
    std::optional<GuardedPicture<T>> layer;

    /// Everything but the pixels, as text.
    std::string description() const;
};

template <typename Depth>
RandomFrame<Depth> randomFrame(std::uint64_t seed, FrameFor use = FrameFor::Renderers);

/// One cell of that size, no intensity layer, everything else random.
template <typename Depth>
RandomFrame<Depth> randomCell(std::uint64_t seed, std::int32_t width, std::int32_t height);

}  // namespace quorvel::test
