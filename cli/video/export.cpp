// SPDX-License-Identifier: MIT
// The shared object's only export.
#include "cli/video/av.h"
#include "cli/video_library.h"

namespace quorvel::cli {

std::string videoLibraryVersions() {
    const auto text = [](const char* name, unsigned version) {
        return fmt::format("{} {}.{}.{}", name, AV_VERSION_MAJOR(version), AV_VERSION_MINOR(version),
                           AV_VERSION_MICRO(version));
    };
    return text("libavformat", avformat_version()) + ", " + text("libavcodec", avcodec_version()) + ", " +
           text("libavfilter", avfilter_version());
}

extern "C" __attribute__((visibility("default"))) const Videos* quorvelVideos(StagedNames& names) {
    static constexpr Videos functions{isVideoFile, openVideo, checkVideoSettings, createVideo, videoLibraryVersions};
    useStagedNames(names);
    av::keepMessages();
    return &functions;
}

}  // namespace quorvel::cli
