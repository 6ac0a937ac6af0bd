// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel::host {

/// The callbacks of PF_InData::utils: handles and strings.
PF_UtilCallbacks utilCallbacks();

/// "PF Handle Suite" 2, with the same handle functions.
const PF_HandleSuite& handleSuite();

}  // namespace quorvel::host
