// SPDX-License-Identifier: MIT
// Small helpers for words and numbers on the command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

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

}  // namespace quorvel::cli
