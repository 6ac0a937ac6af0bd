// SPDX-License-Identifier: MIT
// Y'CbCr to R'G'B' and back: zscale, bicubic chroma at its siting, no dither.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "cli/video/av.h"
#include "cli/video/colour.h"

namespace quorvel::cli {

/// Converts frames between two planar pixel formats of one size. Any number of threads may use it at once; the result
/// does not depend on which does.
class Conversion {
public:
    struct End {
        AVPixelFormat format = AV_PIX_FMT_NONE;
        Colour colour;
    };
    /// R'G'B' ends may leave their colour out. Primaries and transfer are not converted.
    Conversion(End from, End to, int width, int height);
    ~Conversion();
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    /// Throws Failure, which names no file. The result has pixels of its own and nothing of the frame's but its size.
    av::FramePtr operator()(const AVFrame& frame) const;

private:
    class Graph;
    std::unique_ptr<Graph> take() const;

    End from_, to_;
    int width_, height_;          ///< of the frames
    int evenWidth_, evenHeight_;  ///< the same, but whole chroma samples
    mutable std::mutex mutex_;
    mutable std::vector<std::unique_ptr<Graph>> idle_;
};

}  // namespace quorvel::cli
