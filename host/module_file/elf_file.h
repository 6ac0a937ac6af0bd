// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "host/module_file/contents.h"

namespace quorvel::host {

/// The first bytes of every ELF file.
inline constexpr std::string_view kElfMagic{
    "\x7F"
    "ELF"};

/// Reads a 64-bit little-endian shared object. Throws FormatError for anything else and for damage.
ModuleFile parseElf(std::span<const std::byte> bytes);

}  // namespace quorvel::host
