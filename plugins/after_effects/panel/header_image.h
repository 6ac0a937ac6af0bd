// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "sdk/pf_effect.h"

namespace quorvel {

/// Draws the banner where this host version has it: in the parameter's title row, or, on version 13.23, in its control
/// area. The event counts as handled without an error even when the area is the wrong one and nothing is drawn.
PF_Err drawHeaderImage(PF_InData* in_data, PF_OutData* out_data, PF_EventExtra* extra, const std::uint8_t* pixels);

}  // namespace quorvel
