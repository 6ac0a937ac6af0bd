// SPDX-License-Identifier: MIT
// Picture files in and out of the host's worlds; the only place that knows OpenImageIO.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/world.h"

namespace quorvel::cli {

/// What a picture file has besides its pixels: metadata, placement, compression and its own sample type. Carried
/// from the input to the output, opaque to everybody else.
struct PictureTraits;

/// A picture read from a file. Channel values are those of the file, with neither colour conversion nor
/// (un)premultiplication.
struct Picture {
    host::World world;
    bool hasAlpha = false;
    std::shared_ptr<const PictureTraits> traits;
    std::vector<std::string> notes;  ///< what the user may want to know, such as channels left out
};

struct ReadSettings {
    /// The world's depth; nothing: the file's own (8-bit integers 8, other integers up to 16 bits 16, the rest float).
    std::optional<host::Depth> depth;
    /// Every N-th pixel of every N-th row is taken.
    int downsample = 1;
};

/// Reads the first picture of a file. Grey is spread to R, G and B; a missing alpha is full. Throws Failure with one
/// line naming the file and the reason when it is missing, damaged, cut short, or larger than the host takes.
Picture readPicture(const std::filesystem::path& file, const ReadSettings& settings);

/// For a picture that was made and not read: nothing but the pixels.
std::shared_ptr<const PictureTraits> plainTraits(const host::World& world);

struct WriteSettings {
    bool alpha = false;          ///< write the alpha channel
    bool clobber = true;         ///< replace a file that is there
    bool fullPrecision = false;  ///< float as 32 bits even when the input had half floats
};

/// Writes a world to a file, with everything the input file carried. The format follows the name's ending; the
/// samples are of the world's depth, or the nearest that the format can hold. The file appears complete or not at
/// all. Returns notes for the user; throws Failure naming the file.
std::vector<std::string> writePicture(const std::filesystem::path& file, const host::World& world,
                                      const PictureTraits& traits, const WriteSettings& settings);

/// The same as a PNG on the standard output.
std::vector<std::string> writePictureToStandardOutput(const host::World& world, const PictureTraits& traits,
                                                      const WriteSettings& settings);

/// Whether a picture can be written under that name.
bool isWritableFormat(const std::filesystem::path& file);

/// What `isWritableFormat` accepts, for messages: "a name ending in .png, .tif, ...".
std::string writableFormats();

}  // namespace quorvel::cli
