// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel::host {

/// The callbacks of the two halves of a smart render: layers and the output.
PF_PreRenderCallbacks preRenderCallbacks();
PF_SmartRenderCallbacks smartRenderCallbacks();

}  // namespace quorvel::host
