// SPDX-License-Identifier: MIT
// Everything that can be learnt of a module: from its file, from its resource description, and by running it.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/agreement.h"
#include "cli/module_options.h"
#include "host/module_file/module_file.h"

namespace quorvel::cli {

struct ModuleDescription {
    /// What the module said when it was asked.
    struct Reported {
        host::Identity identity;
        host::Capabilities capabilities;
    };

    std::filesystem::path file;
    host::ModuleFile contents;
    std::optional<host::ResourceDescription> resource;
    std::optional<Reported> reported;   ///< nothing for a module of another platform
    std::vector<Agreement> agreements;  ///< one a property, when there are a resource and a report
    /// What the host calls by name, and whether the file exports it.
    std::map<std::string, bool> entryPoints;

    bool contradicts() const;
};

/// Reads the file, and runs the module (identification and global set-up) when it is for this platform.
/// Throws HostError or Failure with one line naming the file.
ModuleDescription describeModule(const ModuleOptions& options);

}  // namespace quorvel::cli
