// SPDX-License-Identifier: MIT
// Where this program lies, and what its module is called there: the one place in the program where systems differ.
#pragma once

#include <filesystem>

namespace quorvel::cli {

#if defined(_WIN32)
inline constexpr char kModuleName[] = "Quorvel.aex";
#else
inline constexpr char kModuleName[] = "Quorvel.so";
#endif

/// The running program's own file, links followed.
std::filesystem::path programFile();

}  // namespace quorvel::cli
