// SPDX-License-Identifier: MIT
// The picture formats: how their files are recognised, what they hold, and how they compress.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/world.h"

namespace quorvel::cli {

/// How a writer compresses: a name of the format's own, a level, or both. Empty means the default.
struct Compression {
    std::string name;
    std::optional<int> level;
};

/// A file format that pictures are read from and written to.
struct Format {
    std::string_view name;   ///< OpenImageIO's
    std::string_view title;  ///< for messages
    /// Names of files in this format end in one of these; the first is the usual one.
    std::span<const std::string_view> endings;
    host::Depth deepest;  ///< the most that a sample can hold; the writers only tell by converting silently
    bool floatOnly = false;
    bool alpha = true;
    bool exif = false;                        ///< holds Exif data, and orientation with it
    bool orientation = false;                 ///< holds the orientation
    bool profile = false;                     ///< holds an ICC profile
    bool xmp = false;                         ///< holds XMP data
    bool iptc = false;                        ///< holds IPTC data
    bool quality = false;                     ///< takes a quality of 1 to 100
    int minimumLevel = 0, maximumLevel = -1;  ///< a compression may be a level alone
    std::span<const std::string_view> compressions{};
};

/// By OpenImageIO's name; null when there is none.
const Format* formatNamed(std::string_view name);

/// By the ending of a file's name, in upper or lower case; null when there is none.
const Format* formatOfEnding(const std::filesystem::path& file);

/// By a file's first bytes and, for the one format that has no mark there, its last; null when there is none.
const Format* formatOfContent(std::string_view first, std::string_view last);
inline constexpr std::size_t kFirstBytes = 12;
inline constexpr std::size_t kLastBytes = 18;

/// "PNG, TIFF, ... or PNM".
std::string formatTitles();
/// "a name ending in .png, .tif, ... or .ppm".
std::string formatEndings();

/// What `--compression` takes for that format, for messages; empty when it takes nothing.
std::string compressionChoices(const Format& format);

/// Nothing when the format has no such compression.
std::optional<Compression> parseCompression(const Format& format, std::string_view text);

}  // namespace quorvel::cli
