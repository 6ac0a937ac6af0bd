// SPDX-License-Identifier: MIT
#include "host/command_result.h"

namespace quorvel::host {

std::string describe(const CommandResult& result) {
    if (!result.exception.empty()) {
        return "exception: " + result.exception;
    }
    return "error " + std::to_string(result.error) + (result.message.empty() ? "" : ": " + result.message);
}

}  // namespace quorvel::host
