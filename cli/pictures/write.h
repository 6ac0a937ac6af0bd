// SPDX-License-Identifier: MIT
// The host's worlds into picture files.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/pictures/picture.h"
#include "cli/pictures/write_settings.h"

namespace quorvel::cli {

/// Writes a world to a file, with everything the input file carried that the format can hold. The format follows the
/// name's ending; the samples are of the world's depth, or the nearest that the format can hold. The file appears
/// complete or not at all. Returns notes for the user, among them what the format cannot hold; throws Failure naming
/// the file.
std::vector<std::string> writePicture(const std::filesystem::path& file, const host::World& world,
                                      const PictureTraits& traits, const WriteSettings& settings);

/// The same as a PNG on the standard output.
std::vector<std::string> writePictureToStandardOutput(const host::World& world, const PictureTraits& traits,
                                                      const WriteSettings& settings);

/// Whether a picture can be written under that name.
bool isWritableFormat(const std::filesystem::path& file);

/// What `isWritableFormat` accepts, for messages: "a name ending in .png, .tif, ...".
std::string writableFormats();

/// Whether the format of that name holds channels besides red, green, blue and alpha.
bool holdsFurtherChannels(const std::filesystem::path& file);

/// Throws UsageError when the format of that name has no such compression or quality. "-" is PNG.
void checkCompression(const std::filesystem::path& file, const WriteSettings& settings);

}  // namespace quorvel::cli
