// SPDX-License-Identifier: MIT
// Picture files into the host's worlds.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "cli/pictures/picture.h"

namespace quorvel::cli {

struct ReadSettings {
    /// The world's depth; nothing: the file's own (8-bit integers 8, other integers up to 16 bits 16, the rest float).
    std::optional<host::Depth> depth;
    /// Every N-th pixel of every N-th row of the picture as shown is taken.
    int downsample = 1;
    /// Which part of a file with several (a page, a frame, an OpenEXR part): its number from 1, or its name. Empty: the
    /// first, with a note when there are more.
    std::string part;
    /// Which layer of an OpenEXR file: its channels LAYER.R, LAYER.G, LAYER.B and LAYER.A are rendered. Empty: R, G, B
    /// and A.
    std::string layer;
    /// Leave the pixels as they are stored instead of turning them as the orientation tag says.
    bool storedOrientation = false;
    /// Keep the channels that are not rendered, for an output that holds them.
    bool keepFurtherChannels = false;
};

/// Whether the content of an existing file, or for want of a mark its name, is that of a picture format. The standard
/// input and pipes are always taken for pictures.
bool isPictureFile(const std::filesystem::path& file);

/// Reads a picture: a regular file, a pipe, or the standard input when `file` is "-". Grey is spread to R, G and B; a
/// missing alpha is full. The world is the picture as shown: turned upright, and for OpenEXR the display window, with
/// transparent pixels outside the data window. Throws Failure with one line naming the file and the reason when it is
/// missing, damaged, cut short, or larger than the host or the memory takes.
Picture readPicture(const std::filesystem::path& file, const ReadSettings& settings);

}  // namespace quorvel::cli
