// SPDX-License-Identifier: MIT
// A video's frames by their numbers.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "cli/video/video.h"

namespace quorvel::cli {

/// Reads a video forwards, frame by frame, for callers that ask for ascending numbers. For one thread at a time.
class VideoFrames {
public:
    /// The video must be at its beginning and outlive this.
    explicit VideoFrames(VideoInput& video) : video_(&video) {}

    /// The frame of that number, from 0; null when the video ends before it. Throws Failure.
    CodedFramePtr at(int number);
    /// The last frame that was read; null for none.
    const CodedFramePtr& last() const { return last_; }
    /// How many have been read.
    int count() const { return count_; }

private:
    VideoInput* video_;
    CodedFramePtr last_;
    int count_ = 0;
    bool ended_ = false;
};

}  // namespace quorvel::cli
