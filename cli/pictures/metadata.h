// SPDX-License-Identifier: MIT
// What a file says besides its pixels, on its way from one format to another.
#pragma once

#include <OpenImageIO/imageio.h>

#include <string>
#include <vector>

#include "cli/pictures/formats.h"
#include "cli/pictures/traits.h"
#include "cli/pictures/write_settings.h"

namespace quorvel::cli {

/// The output's description: the input's metadata without what is true of the input file alone. `depth` is that of the
/// output's samples.
OIIO::ImageSpec outputSpec(const Format& format, const host::World& world, const PictureTraits& traits,
                           const WriteSettings& settings, host::Depth depth);

/// A note for each kind of metadata that the input has and the format cannot hold.
std::vector<std::string> notesOnLosses(const std::string& name, const Format& format, const PictureTraits& traits);

}  // namespace quorvel::cli
