// SPDX-License-Identifier: MIT
// WebP through its own library: OpenImageIO multiplies the colours of translucent pixels by alpha when it reads, and
// divides them when it writes.
#pragma once

#include <OpenImageIO/imageio.h>

#include <memory>
#include <vector>

#include "cli/pictures/encode.h"

namespace quorvel::cli {

/// A reader of still and animated files; each frame is a part, shown as an animation would.
std::unique_ptr<OIIO::ImageInput> createWebpInput();

/// Throws Failure naming the file.
std::vector<unsigned char> encodeWebp(const EncodeRequest& request);

}  // namespace quorvel::cli
