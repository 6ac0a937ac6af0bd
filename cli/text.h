// SPDX-License-Identifier: MIT
// Small helpers for words and numbers on the command line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::cli {

/// ASCII letters in lower case.
std::string lowerCase(std::string_view text);

/// "Linear Ramp Up" -> "linear-ramp-up": letters and digits in lower case, everything between as one hyphen.
std::string kebabCase(std::string_view text);

/// The whole text as a finite number; nothing when it is anything else.
std::optional<double> parseNumber(std::string_view text);
std::optional<int> parseInteger(std::string_view text);

/// A number as a person writes it: "16", "0.25", at most five decimals.
std::string numberText(double value);

/// A 32-bit word as "0x00098601".
std::string hexText(std::uint32_t word);

/// The letters of a four-character code, which has the first letter in the highest byte; '?' for what cannot be
/// printed.
std::string codeText(std::int32_t code);

/// UTF-8 text from a file, a module or the command line, fit for a terminal: what could steer it (control characters,
/// marks that turn the direction of writing) or is not UTF-8 is shown as \x1B or \u202E.
std::string printable(std::string_view text);

/// Breaks lines at spaces so that none is longer than `width` bytes, unless one word is. Breaks that are there stay;
/// lines keep their indentation, also where they go on.
std::string wrapped(std::string_view text, std::size_t width);

/// "8, 16 or 32".
std::string listText(const std::vector<std::string>& entries);

/// The candidate that `word` is most likely a slip of: few letters wrong, missing, added or swapped. Empty when none
/// is close.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace quorvel::cli
