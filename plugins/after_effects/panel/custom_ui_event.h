// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "plugins/after_effects/panel/draw_control.h"

namespace quorvel {

/// One event for the effect's custom controls, on the user-interface thread: draws a control or the banner, and sets
/// `*aboutRequested` (which may be null) to 1 on a double click on the banner. Events of other kinds, for other
/// parameters or areas do nothing. Returns the first host error; throws host errors from reading parameters as int.
/// The fourth argument is not read.
PF_Err handleCustomUIEvent(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], const void* unread,
                           PF_EventExtra* extra, int headerIndex, const std::uint8_t* headerPixels, int* aboutRequested,
                           int controlCount, drawControlData* const controls[]);

}  // namespace quorvel
