// SPDX-License-Identifier: MIT
// Small helpers for words and numbers that people write.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::settings {

/// ASCII letters in lower case.
std::string lowerCase(std::string_view text);

/// "Linear Ramp Up" -> "linear-ramp-up": letters and digits in lower case, everything between as one hyphen.
std::string kebabCase(std::string_view text);

/// The whole text as a finite number; nothing when it is anything else.
std::optional<double> parseNumber(std::string_view text);
std::optional<int> parseInteger(std::string_view text);

/// "8, 16 or 32".
std::string listText(const std::vector<std::string>& entries);

/// The candidate that `word` is most likely a slip of: few letters wrong, missing, added or swapped. Empty when none
/// is close.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace quorvel::settings
