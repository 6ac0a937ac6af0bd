// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// An event for the custom controls, on the user-interface thread; hosts that have no custom controls are answered
/// with no error. A double click on the banner shows the About text.
PF_Err uiEvent(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_EventExtra* extra);

}  // namespace quorvel
