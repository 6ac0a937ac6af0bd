// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace quorvel::cli {

/// What a report about the program should name, one fact a line: version, compiler, instruction sets, module,
/// libraries. Parts that are missing are named with the reason.
std::string buildInfo();

}  // namespace quorvel::cli
