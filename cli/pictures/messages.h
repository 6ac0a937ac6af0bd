// SPDX-License-Identifier: MIT
// Messages about picture files: one line each, whatever a library has to say.
#pragma once

#include <string>

#include "cli/exit_status.h"

namespace quorvel::cli {

/// "FILE: WHAT", or "FILE: WHAT: DETAIL" when a library gave a detail. Of a detail of several lines each line is said
/// once, and a long one is cut.
Failure pictureFailure(const std::string& file, const std::string& what, const std::string& detail = {});

}  // namespace quorvel::cli
