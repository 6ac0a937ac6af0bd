// SPDX-License-Identifier: MIT
// Frames that several threads render, on their way into one video in order.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>

#include "cli/video/video.h"

namespace quorvel::cli {

class OrderedVideo {
public:
    explicit OrderedVideo(std::unique_ptr<VideoOutput> output) : output_(std::move(output)) {}

    VideoOutput& output() { return *output_; }
    /// Writes the frame of that place, counted from 0, after those before it, for which it waits. False when another
    /// thread has given up and the video will not be finished. Throws Failure.
    bool put(std::size_t place, const host::World& world, const CodedFrame* source);
    /// Lets every thread that waits go on.
    void giveUp();

private:
    std::unique_ptr<VideoOutput> output_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t next_ = 0;  ///< the place whose turn it is
    bool givenUp_ = false;
};

}  // namespace quorvel::cli
