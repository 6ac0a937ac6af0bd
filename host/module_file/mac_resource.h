// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace quorvel::host {

/// The data of one resource in a macOS resource file; nothing when the file has none of that four-letter type and id.
/// The result points into `bytes`. Throws FormatError for a damaged file.
std::optional<std::span<const std::byte>> findMacResource(std::span<const std::byte> bytes, std::string_view type,
                                                          int id);

}  // namespace quorvel::host
