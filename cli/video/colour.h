// SPDX-License-Identifier: MIT
// What a video says of the meaning of its values.
#pragma once

#include <string>
#include <vector>

#include "cli/video/av.h"

namespace quorvel::cli {

struct Colour {
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVChromaLocation siting = AVCHROMA_LOC_UNSPECIFIED;

    static Colour of(const AVFrame& frame);
    void applyTo(AVFrame& frame) const;
    void applyTo(AVCodecContext& encoder) const;
};

/// The colour with an assumption in place of what is unspecified and matters: BT.709 from 720 lines on, BT.601 below;
/// limited range, but full for grey. Adds one note naming the file when something had to be assumed.
Colour completed(Colour colour, const AVPixFmtDescriptor& format, int height, const std::string& file,
                 std::vector<std::string>& notes);

}  // namespace quorvel::cli
