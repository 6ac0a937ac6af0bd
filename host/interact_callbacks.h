// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel::host {

/// The callbacks of PF_InData::inter: parameters, abort and progress.
PF_InteractCallbacks interactCallbacks();

}  // namespace quorvel::host
