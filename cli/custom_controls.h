// SPDX-License-Identifier: MIT
// The controls that the effect draws itself, found in what the module declares.
#pragma once

#include "host/host.h"

namespace quorvel::cli {

/// The graph of the intensity curve, by its name; null in hosts that get none.
const host::Parameter* findGraph(const host::Host& host);

/// The banner: the custom control that is not the graph; null in hosts that get none.
const host::Parameter* findBanner(const host::Host& host);

/// The area that a custom control says it draws in, the title when it takes both.
PF_EffectArea areaOf(const host::Parameter& control);

}  // namespace quorvel::cli
