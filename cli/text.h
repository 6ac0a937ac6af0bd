// SPDX-License-Identifier: MIT
// Small helpers for words and numbers on the command line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "settings/words.h"

namespace quorvel::cli {

using settings::kebabCase;
using settings::listText;
using settings::lowerCase;
using settings::nearest;
using settings::parseInteger;
using settings::parseNumber;

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

}  // namespace quorvel::cli
