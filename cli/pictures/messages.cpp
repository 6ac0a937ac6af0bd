// SPDX-License-Identifier: MIT
#include "cli/pictures/messages.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <vector>

namespace quorvel::cli {
namespace {

constexpr std::size_t kLongestDetail = 300;

std::string trimmed(std::string_view line) {
    constexpr std::string_view gap = " \t\r.";
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(line.substr(first, line.find_last_not_of(gap) + 1 - first));
}

/// One line of at most kLongestDetail bytes, which ends between two characters.
std::string oneLine(const std::string& detail) {
    std::vector<std::string> lines;
    std::istringstream stream(detail);
    for (std::string line; std::getline(stream, line);) {
        line = trimmed(line);
        if (!line.empty() && std::find(lines.begin(), lines.end(), line) == lines.end()) {
            lines.push_back(line);
        }
    }
    std::string joined;
    for (const std::string& line : lines) {
        joined += (joined.empty() ? "" : "; ") + line;
    }
    if (joined.size() > kLongestDetail) {
        std::size_t end = kLongestDetail;
        while (end > 0 && (static_cast<unsigned char>(joined[end]) & 0xC0u) == 0x80u) {
            --end;
        }
        joined = joined.substr(0, end) + " ...";
    }
    return joined;
}

}  // namespace

Failure pictureFailure(const std::string& file, const std::string& what, const std::string& detail) {
    const std::string reason = oneLine(detail);
    return Failure("{}: {}{}{}", file, what, reason.empty() ? "" : ": ", reason);
}

}  // namespace quorvel::cli
