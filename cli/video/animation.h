// SPDX-License-Identifier: MIT
// Which files of picture formats are videos. Needs no library.
#pragma once

#include <filesystem>

namespace quorvel::cli {

/// Whether a picture file is a GIF or a PNG with more than one frame. False for a file that cannot be read.
bool isAnimation(const std::filesystem::path& file);

}  // namespace quorvel::cli
