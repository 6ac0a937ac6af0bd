// SPDX-License-Identifier: MIT
// What a module file shows without being loaded: for modules of other platforms, and before trusting one.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/pipl.h"

namespace quorvel::host {

enum class ModuleFormat { Elf, PortableExecutable };

/// "ELF" or "PE".
std::string_view formatName(ModuleFormat format);

/// The static side of one module.
struct ModuleFile {
    ModuleFormat format = ModuleFormat::Elf;
    bool forX86_64 = false;
    std::vector<std::string> exports;  ///< names of exported symbols, sorted
    std::vector<std::string> imports;  ///< the libraries it needs, in the file's order
    /// Dotted, from the version information resource ("1.3.0.1"); Windows only.
    std::optional<std::string> fileVersion;
    /// The raw little-endian resource description, Windows only.
    std::optional<std::vector<std::byte>> pipl;

    /// True when the system this was compiled for can load the module.
    bool runsHere() const;
    bool exportsSymbol(std::string_view name) const;
};

/// Throws HostError naming the file unless it is there and a regular file.
void requireModuleFile(const std::filesystem::path& file);

/// Reads and checks the file; throws HostError naming the file and what is wrong with it.
ModuleFile readModuleFile(const std::filesystem::path& file);

/// The resource description that belongs to a module: from within the module, or from a macOS resource file of the
/// same name beside it, or nothing. Throws HostError naming the file that is damaged.
std::optional<ResourceDescription> readResourceDescription(const std::filesystem::path& moduleFile,
                                                           const ModuleFile& contents);

/// The formats behind readModuleFile. They throw FormatError.
ModuleFile parseElf(std::span<const std::byte> bytes);
ModuleFile parsePortableExecutable(std::span<const std::byte> bytes);

/// The data of one resource in a macOS resource file; nothing when it has none of that type and id.
std::optional<std::span<const std::byte>> findMacResource(std::span<const std::byte> bytes, std::string_view type,
                                                          int id);

}  // namespace quorvel::host
