// SPDX-License-Identifier: MIT
#pragma once

#include "sdk/pf_suites.h"

namespace quorvel::host {

/// The basic suite of a host without suites: AcquireSuite and ReleaseSuite answer PF_Err_BAD_CALLBACK_PARAM, the rest
/// works.
SPBasicSuite basicSuiteWithoutSuites();

}  // namespace quorvel::host
