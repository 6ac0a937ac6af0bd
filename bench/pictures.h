// SPDX-License-Identifier: MIT
// What the benchmarks render: one picture of each kind, in any size and depth.
#pragma once

#include <filesystem>

#include "host/world.h"

namespace quorvel::bench {

enum class Content { Photograph, Flat, Gradient, Noise };
inline constexpr Content kContents[] = {Content::Photograph, Content::Flat, Content::Gradient, Content::Noise};

const char* nameOf(Content content);

/// Where photographs are read from; set before the first one is asked for.
void setPhotograph(const std::filesystem::path& file);

/// Kept for the life of the program. The photograph is scaled to the size.
const host::World& picture(Content content, host::Depth depth, int width, int height);

}  // namespace quorvel::bench
