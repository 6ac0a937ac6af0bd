// SPDX-License-Identifier: MIT
// Whether a file has all the bytes that it announces.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace quorvel::cli {

/// How many bytes the file lacks of what its outermost boxes (MP4, QuickTime), elements (Matroska, WebM) or chunks
/// (AVI) announce. 0 for a whole file, for other formats, and for recordings that announce no size. `format` is
/// FFmpeg's name of the format.
std::uint64_t missingBytes(const std::filesystem::path& file, std::string_view format);

}  // namespace quorvel::cli
