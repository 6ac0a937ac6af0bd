// SPDX-License-Identifier: MIT
// Reads a module's file without loading it, for modules of any platform.
#pragma once

#include <filesystem>
#include <optional>

#include "host/module_file/contents.h"
#include "host/module_file/pipl.h"

namespace quorvel::host {

/// Throws HostError naming the path unless it is a regular file.
void requireModuleFile(const std::filesystem::path& file);

/// Reads and checks the file. Throws HostError naming the file and what is wrong with it.
ModuleFile readModuleFile(const std::filesystem::path& file);

/// A module's resource description: the one inside the module, otherwise the one in a macOS resource file of the same
/// name beside it (".rsrc"), otherwise nothing. Throws HostError naming the damaged file.
std::optional<ResourceDescription> readResourceDescription(const std::filesystem::path& moduleFile,
                                                           const ModuleFile& contents);

}  // namespace quorvel::host
