// SPDX-License-Identifier: MIT
#include "cli/exit_status.h"

#include <iostream>

#include "cli/text.h"

namespace quorvel::cli {

UsageError badValue(const std::string& option, const std::string& value, const std::string& expected) {
    return {"{} {}: expected {}", option, value.empty() ? "''" : value, expected};
}

Failure memoryFailure(const std::string& file, int width, int height, double bytes) {
    const std::string size =
        bytes < 1e9 ? fmt::format("{:.0f} MB", bytes / 1e6) : fmt::format("{:.1f} GB", bytes / 1e9);
    return {"{}: not enough memory for {} x {} pixels ({})", file, width, height, size};
}

int fail(ExitStatus status, const std::string& message) {
    std::cerr << "quorvel: " << printable(message) << '\n';
    return status;
}

void note(const std::string& text) {
    std::cerr << "quorvel: note: " << printable(text) << '\n';
}

}  // namespace quorvel::cli
