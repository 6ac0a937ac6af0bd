// SPDX-License-Identifier: MIT
// What needs the picture libraries. It is a shared object of its own, loaded only when a command works with pictures:
// everything else then starts without those libraries.
#pragma once

#include "cli/panel_drawing.h"
#include "cli/pictures/read.h"
#include "cli/pictures/write.h"
#include "cli/staged_names.h"

namespace quorvel::cli {

/// The names and versions of the picture libraries, "OpenImageIO 2.4.7, Cairo 1.16.0, ...".
std::string pictureLibraryVersions();

/// Bounds the number of threads that reading or writing one picture uses, here and in the libraries; at least 1.
void limitThreads(int count);

/// The functions of the shared object; each is described where it is declared.
struct Pictures {
    decltype(&cli::readPicture) readPicture;
    decltype(&cli::plainTraits) plainTraits;
    decltype(&cli::writePicture) writePicture;
    decltype(&cli::writePictureToStandardOutput) writePictureToStandardOutput;
    decltype(&cli::isWritableFormat) isWritableFormat;
    decltype(&cli::writableFormats) writableFormats;
    decltype(&cli::holdsFurtherChannels) holdsFurtherChannels;
    decltype(&cli::checkCompression) checkCompression;
    decltype(&cli::drawPanel) drawPanel;
    decltype(&cli::pictureLibraryVersions) describeLibraries;
    decltype(&cli::limitThreads) limitThreads;
    decltype(&cli::isPictureFile) isPictureFile;
    decltype(&cli::stagedNames) stagedNames;
};

/// Loads the shared object at the first call; it stays until the program ends. Throws Failure when that is impossible.
const Pictures& pictures();

/// What the shared object exports, and the name that it exports it under.
using PicturesFactory = const Pictures*();
inline constexpr char kPicturesFactory[] = "quorvelPictures";

}  // namespace quorvel::cli
