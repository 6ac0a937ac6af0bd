// SPDX-License-Identifier: MIT
// Whether a file has all the bytes that it announces.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace quorvel::cli {

/// How many bytes the file lacks of what its outermost boxes (MP4, QuickTime), elements (Matroska, WebM), chunks (AVI),
/// pages (Ogg), tags (Flash Video), objects (Windows Media), triplets (MXF) or packets (MPEG transport streams)
/// announce, and of a GIF the mark at its end. 0 for a whole file, for other formats, for recordings that announce no
/// size, and for a file that was cut between two of its parts. `format` is FFmpeg's name of the format.
std::uint64_t missingBytes(const std::filesystem::path& file, std::string_view format);

}  // namespace quorvel::cli
