// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "host/parameter.h"
#include "host/world.h"

namespace quorvel::host {

/// One frame to render. Worlds and values are borrowed for the call. Input, output and the chosen layers have the same
/// depth, and the input is at least as wide and as high as the output; otherwise rendering throws HostError.
struct FrameRequest {
    const World* input = nullptr;             ///< null: a layer without pixels
    World* output = nullptr;                  ///< rendered into; null: no output world
    const ParameterValues* values = nullptr;  ///< null: every parameter at its default
    A_long time = 0;
    A_long timeStep = 1;
    A_u_long timeScale = 24;
    PF_RationalScale downsampleX{1, 1};
    PF_RationalScale downsampleY{1, 1};
    /// The pixel format that the host reports for every world of the frame; empty: each world's own.
    std::optional<PF_PixelFormat> pixelFormat;
};

}  // namespace quorvel::host
