// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// Sent once when the host loads the effect, on its main thread. Reports the version and the capability flags given;
/// in Premiere Pro also registers the three pixel formats that the renderer takes.
/// Throws 13 as an int, with a message for the user, when Premiere Pro lacks a suite this needs.
PF_Err GlobalSetup(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_LayerDef* output, int outFlags,
                   int outFlags2);

}  // namespace quorvel
