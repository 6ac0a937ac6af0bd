// SPDX-License-Identifier: MIT
// What a module file holds, whatever its format.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel::host {

enum class ModuleFormat { Elf, PortableExecutable };

/// The format that this system loads.
#if defined(_WIN32)
inline constexpr ModuleFormat kOwnFormat = ModuleFormat::PortableExecutable;
#else
inline constexpr ModuleFormat kOwnFormat = ModuleFormat::Elf;
#endif

/// "ELF" or "PE".
std::string_view formatName(ModuleFormat format);
/// The system that loads modules of that format: "Linux" or "Windows".
std::string_view systemName(ModuleFormat format);

/// One module as its file shows it.
struct ModuleFile {
    ModuleFormat format = ModuleFormat::Elf;
    bool forX86_64 = false;
    std::vector<std::string> exports;  ///< names of exported symbols, sorted
    std::vector<std::string> imports;  ///< the libraries it needs, in the file's order
    /// Dotted, from the version information resource ("1.3.0.1"); Windows only.
    std::optional<std::string> fileVersion;
    /// The raw little-endian resource description; Windows only.
    std::optional<std::vector<std::byte>> pipl;

    /// True when the system and processor that this was compiled for can load the module.
    bool runsHere() const;
    bool exportsSymbol(std::string_view name) const;
};

}  // namespace quorvel::host
