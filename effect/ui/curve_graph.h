// SPDX-License-Identifier: MIT
#pragma once

#include "effect/ui/draw_control.h"

namespace quorvel {

/// Draws the intensity curve as the renderer sees it: a light line on a dark, translucent square of 48 x 48 pixels, at
/// the top left of a 50 x 50 picture that is transparent elsewhere. With separate curves for colour channels, one line
/// each. The control has to be 50 x 50. False when memory is short (nothing is written then); throws host errors
/// from reading parameters as int.
bool CurveGraphDraw(std::uint8_t* pixels, PF_InData* in_data, PF_ParamDef* params[], drawControlData* control);

}  // namespace quorvel
