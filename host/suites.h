// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_suites.h"

namespace quorvel::host {

/// The basic suite through which a module acquires and releases this host's suites.
SPBasicSuite basicSuite();

}  // namespace quorvel::host
