// SPDX-License-Identifier: MIT
// What needs FFmpeg. It is a shared object of its own, loaded only when a command works with videos.
#pragma once

#include "cli/staged_names.h"
#include "cli/video/video.h"

namespace quorvel::cli {

/// The functions of the shared object; each is described where it is declared.
struct Videos {
    decltype(&cli::isVideoFile) isVideoFile;
    decltype(&cli::openVideo) openVideo;
    decltype(&cli::checkVideoSettings) checkSettings;
    decltype(&cli::createVideo) createVideo;
    decltype(&cli::videoLibraryVersions) describeLibraries;
};

/// Loads the shared object at the first call; it stays until the program ends. Throws Failure when that is impossible.
const Videos& videos();

/// What the shared object exports, and the name that it exports it under. A signal removes the files that are known to
/// `names`.
using VideosFactory = const Videos*(StagedNames& names);
inline constexpr char kVideosFactory[] = "quorvelVideos";

}  // namespace quorvel::cli
