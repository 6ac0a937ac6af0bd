// SPDX-License-Identifier: MIT
#include "cli/frames/video_frames.h"

#include <utility>

namespace quorvel::cli {

CodedFramePtr VideoFrames::at(int number) {
    while (count_ <= number && !ended_) {
        CodedFramePtr frame = video_->next();
        ended_ = frame == nullptr;
        if (frame) {
            last_ = std::move(frame);
            ++count_;
        }
    }
    return count_ == number + 1 ? last_ : nullptr;
}

}  // namespace quorvel::cli
