// SPDX-License-Identifier: MIT
#include "cli/video_library.h"

#include "cli/picture_library.h"
#include "cli/shared_object.h"

namespace quorvel::cli {
namespace {

const Videos& loadVideos() {
    auto* const factory = reinterpret_cast<VideosFactory*>(
        loadCompanion("quorvel_video.so", kVideosFactory, "cannot load the video libraries"));
    return *factory(pictures().stagedNames());
}

}  // namespace

const Videos& videos() {
    static const Videos& loaded = loadVideos();
    return loaded;
}

}  // namespace quorvel::cli
