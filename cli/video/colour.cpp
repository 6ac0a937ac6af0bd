// SPDX-License-Identifier: MIT
#include "cli/video/colour.h"

namespace quorvel::cli {
namespace {

/// The fewest lines of a picture that is taken for high definition.
constexpr int kHighDefinitionLines = 720;

}  // namespace

Colour Colour::of(const AVFrame& frame) {
    return {frame.colorspace, frame.color_range, frame.color_primaries, frame.color_trc, frame.chroma_location};
}

void Colour::applyTo(AVFrame& frame) const {
    frame.colorspace = matrix;
    frame.color_range = range;
    frame.color_primaries = primaries;
    frame.color_trc = transfer;
    frame.chroma_location = siting;
}

void Colour::applyTo(AVCodecContext& encoder) const {
    encoder.colorspace = matrix;
    encoder.color_range = range;
    encoder.color_primaries = primaries;
    encoder.color_trc = transfer;
    encoder.chroma_sample_location = siting;
}

Colour completed(Colour colour, const AVPixFmtDescriptor& format, int height, const std::string& file,
                 std::vector<std::string>& notes) {
    if ((format.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0) {
        return colour;
    }
    const bool grey = format.nb_components < 3;
    std::string assumed;
    // A matrix for R'G'B' makes no sense of YUV.
    if (!grey && (colour.matrix == AVCOL_SPC_UNSPECIFIED || colour.matrix == AVCOL_SPC_RGB)) {
        const bool high = height >= kHighDefinitionLines;
        colour.matrix = high ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
        assumed = high ? "the matrix of BT.709" : "the matrix of BT.601";
    }
    if (colour.range == AVCOL_RANGE_UNSPECIFIED) {
        colour.range = grey ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
        assumed += std::string(assumed.empty() ? "" : " and ") + (grey ? "full range" : "limited range");
    }
    if (!assumed.empty()) {
        notes.push_back(file + ": does not say what its colours are; " + assumed + " assumed");
    }
    return colour;
}

}  // namespace quorvel::cli
