// SPDX-License-Identifier: MIT
// The options of a command that writes a video.
#pragma once

#include <optional>
#include <string>

#include "cli/video/video_settings.h"

namespace CLI {
class App;
}

namespace quorvel::cli {

/// Must outlive the parsing of the command line.
class VideoOptions {
public:
    /// Adds --codec, --rate, --audio, --subtitles and --format.
    void addTo(CLI::App& command);

    /// Whether a video is written under that name; "-" is the standard output, where PNGs make a video when there may
    /// be `several`. Throws UsageError when --format does not fit the name.
    bool makeVideoOf(const std::string& output, bool several) const;
    /// Throws UsageError when one of the options is given, for an output that is no video.
    void refuseAll() const;
    /// Whether --rate was given.
    bool hasRate() const { return rate_.has_value(); }
    /// What the options say; the rest is for the command to fill in.
    VideoWriteSettings settings() const;

private:
    VideoWriteSettings settings_;
    std::optional<FrameRate> rate_;
    std::optional<AudioChoice> audio_;
    std::optional<SubtitleChoice> subtitles_;
};

}  // namespace quorvel::cli
