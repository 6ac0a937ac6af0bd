// SPDX-License-Identifier: MIT
// The two parameters that the effect draws itself.
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// Declares the header banner and its custom user interface under the given id.
/// Returns the first host error; after a failed add_param no user interface is declared.
PF_Err AddUIHeaderImage(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], int id);

/// Declares a custom-drawn control of the given size (pixels) and parameter flags. Errors as above.
PF_Err AddUICustomParam(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], int id, const char* name,
                        int width, int height, int flags);

}  // namespace quorvel
