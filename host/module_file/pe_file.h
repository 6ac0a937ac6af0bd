// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "host/module_file/contents.h"

namespace quorvel::host {

/// The first bytes of every Portable Executable: its DOS header's signature.
inline constexpr std::string_view kDosMagic{"MZ"};

/// Reads a library for 64-bit Windows. Throws FormatError for anything else and for damage.
ModuleFile parsePortableExecutable(std::span<const std::byte> bytes);

}  // namespace quorvel::host
