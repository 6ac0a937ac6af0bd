// SPDX-License-Identifier: MIT
#include "cli/exit_status.h"

#include <iostream>

namespace quorvel::cli {

UsageError badValue(const std::string& option, const std::string& value, const std::string& accepted) {
    return UsageError(option + " " + (value.empty() ? "''" : value) + ": accepted is " + accepted);
}

void note(const std::string& text) {
    std::cerr << "quorvel: note: " << text << '\n';
}

}  // namespace quorvel::cli
