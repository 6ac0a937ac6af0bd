// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "cli/video/av.h"
#include "cli/video/video.h"

namespace quorvel::cli {

struct CodedFrame {
    av::FramePtr frame;
    std::int64_t number = 0;    ///< in its video, from 0
    std::int64_t time = 0;      ///< when it is shown, in units of the video's time base
    std::int64_t duration = 0;  ///< 0 when it is unknown
};

}  // namespace quorvel::cli
