// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>

namespace quorvel::host {

/// A path as UTF-8, for messages. On Windows, path::string() converts to the code page, and throws for a character that
/// the code page lacks.
inline std::string pathText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {reinterpret_cast<const char*>(text.data()), text.size()};
}

}  // namespace quorvel::host
