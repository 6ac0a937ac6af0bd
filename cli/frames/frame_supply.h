// SPDX-License-Identifier: MIT
// Hands a run's frames out to its threads, with what has to be read in order read already.
#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "cli/frames/frame_plan.h"
#include "cli/frames/video_frames.h"
#include "cli/video/video.h"

namespace quorvel::cli {

struct SuppliedFrame {
    std::size_t place = 0;  ///< among the frames of the run, from 0
    PlannedFrame plan;
    CodedFramePtr input;                ///< null unless the input is a video
    std::vector<CodedFramePtr> layers;  ///< of all layers; null where one is no video
    std::string failure;                ///< why it could not be read; then there is no frame after it
};

class FrameSupply {
public:
    /// `input` and each of `layers` is a video at its beginning, or null for pictures.
    FrameSupply(const FramePlan& plan, Missing missing, VideoInput* input, const std::vector<VideoInput*>& layers);

    /// The next frame of the run; nothing when there are no more. Any number of threads may ask at once.
    std::optional<SuppliedFrame> next();
    /// How many frames of the input video have been read.
    int framesRead() const { return input_ ? input_->count() : 0; }

private:
    std::optional<SuppliedFrame> nextOfVideo();
    /// False when the frame is left out because a layer's video has ended.
    bool readLayers(SuppliedFrame& frame);

    const FramePlan& plan_;
    Missing missing_;
    std::mutex mutex_;
    std::size_t place_ = 0;    ///< of the next frame
    std::size_t planned_ = 0;  ///< how many of the plan's frames have been looked at
    int number_ = 0;           ///< of the video's next frame
    bool ended_ = false;
    std::optional<VideoFrames> input_;
    std::vector<std::optional<VideoFrames>> layers_;
};

}  // namespace quorvel::cli
