// SPDX-License-Identifier: MIT
// What the benchmarks render: two photographs and a picture of each other kind, in any size and depth.
#pragma once

#include <filesystem>

#include "host/world.h"

namespace quorvel::bench {

enum class Content { Photograph, OtherPhotograph, Flat, Gradient, Noise };
inline constexpr Content kContents[] = {Content::Photograph, Content::OtherPhotograph, Content::Flat, Content::Gradient,
                                        Content::Noise};

const char* nameOf(Content content);

/// Where the photographs are read from; set before the first one is asked for.
void setPhotographs(const std::filesystem::path& first, const std::filesystem::path& other);

/// Kept for the life of the program. Photographs are scaled to the size.
const host::World& picture(Content content, host::Depth depth, int width, int height);

}  // namespace quorvel::bench
