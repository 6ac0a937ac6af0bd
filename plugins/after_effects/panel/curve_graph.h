// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/after_effects/panel/draw_control.h"

namespace quorvel {

/// Draws the intensity curve for the control's current parameter values. The control has to have the graph's size.
/// False when memory is short (nothing is written then); throws host errors from reading parameters as int.
bool CurveGraphDraw(std::uint8_t* pixels, PF_InData* in_data, PF_ParamDef* params[], drawControlData* control);

}  // namespace quorvel
