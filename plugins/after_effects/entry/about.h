// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// Writes name, version and a line about the effect into `return_msg`, which the host then shows.
void showAbout(PF_InData* in_data, PF_OutData* out_data);

}  // namespace quorvel
