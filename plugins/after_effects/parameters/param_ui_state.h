// SPDX-License-Identifier: MIT
// "Curve Phase Split (RGB)" has an effect only if colour channels have curves of their own; it is greyed out
// otherwise. All of this runs on the host's user-interface thread.
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// The panel is shown or a value has changed: enables or disables the split control to match "Channels", in the host's
/// own definition, and has the host redraw it when that changed anything.
/// Returns the host's error; throws 516 as an int when the host lacks the suite for it.
PF_Err UIOnParamsUpdated(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[]);

/// The user changed a parameter, whichever: the same.
PF_Err UIOnUserChangedParam(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                            const PF_UserChangedParamExtra* extra);

/// Which colour channels take a curve of their own for the current "Channels": CurveSplit bits, 0 for none. The last
/// argument is not read.
int curveSplitsEnabled(PF_InData* in_data, PF_ParamDef* params[], int unused);

}  // namespace quorvel
