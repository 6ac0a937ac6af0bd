// SPDX-License-Identifier: MIT
// Frames of all pixel formats as planes of plain samples, and those as the host's worlds. Nothing here changes a
// value but for the number of bits that it is counted in.
#pragma once

#include "cli/pictures/placement.h"
#include "cli/video/av.h"
#include "host/world.h"

namespace quorvel::cli {

/// A frame's colours and its alpha apart, each planar and in the machine's byte order.
struct Planes {
    /// GBRP, GBRP16 or GBRPF32, or Y'CbCr with the frame's own sampling and depth.
    av::FramePtr colours;
    /// Its first plane has the alpha, of the full range of `describe(*alpha)`'s bits; null for none.
    av::FramePtr alpha;
};

/// The depth of a world that holds what the format holds.
host::Depth depthOf(AVPixelFormat format);
bool hasAlpha(AVPixelFormat format);
bool isRgb(const AVFrame& frame);

/// Shares the frame's pixels where they lie in planes already. Grey becomes R'G'B', or Y'CbCr when its range is
/// limited. Throws Failure, which names no file, for a format that is not supported.
Planes separated(const AVFrame& frame);

/// `planes.colours` is R'G'B'.
host::World worldOf(const Planes& planes, const Placement& placement, host::Depth depth);

/// The planar R'G'B' format with samples of that depth.
AVPixelFormat rgbFormat(host::Depth depth);
/// Y'CbCr without alpha, planar; AV_PIX_FMT_NONE when there is no such format.
AVPixelFormat yuvFormat(int log2ChromaWidth, int log2ChromaHeight, int bits);

/// The world's colours in a format of R'G'B' samples of 8 bits, 16 bits or float, in either byte order, packed or
/// planar; its alpha too where the format has it.
av::FramePtr rgbFrame(const host::World& world, AVPixelFormat format);

/// Puts the world's alpha into the fourth plane of a format with planar alpha, beside the planes of `colours`.
av::FramePtr withAlpha(const AVFrame& colours, AVPixelFormat format, const host::World& world);

}  // namespace quorvel::cli
