// SPDX-License-Identifier: MIT
// Whether frames that may be transparent are.
#pragma once

#include <filesystem>

#include "cli/video/av.h"

namespace quorvel::cli {

/// Whether a decoder delivers alpha however opaque the frames are, as those of palettes do.
bool alwaysDeliversAlpha(AVCodecID codec, AVPixelFormat format);

/// Whether a frame of the file has a pixel that is not opaque. Decodes until it finds one.
bool isTransparent(const std::filesystem::path& file);

}  // namespace quorvel::cli
