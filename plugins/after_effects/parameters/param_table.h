// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// Sent once per loaded module, on the main thread: declares every parameter that this host and version gets.
/// Returns the first add_param error of an ordinary parameter, with `num_params` unset; throws std::logic_error when
/// the ids known do not add up to the number reported.
PF_Err UIInitParams(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[]);

}  // namespace quorvel
