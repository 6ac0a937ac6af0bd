// SPDX-License-Identifier: MIT
// A picture between its file and the effect.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/world.h"

namespace quorvel::cli {

/// What a picture file has besides the pixels that are rendered: metadata, placement, compression, its own sample
/// type, further channels. Carried from the input to the output, opaque to everybody else.
struct PictureTraits;

/// A picture read from a file. Channel values are those of the file, with neither colour conversion nor
/// (un)premultiplication.
struct Picture {
    host::World world;
    bool hasAlpha = false;
    std::shared_ptr<const PictureTraits> traits;
    std::vector<std::string> notes;  ///< what the user may want to know, such as channels left out
};

/// For a picture that was made and not read: nothing but the pixels.
std::shared_ptr<const PictureTraits> plainTraits(const host::World& world);

}  // namespace quorvel::cli
