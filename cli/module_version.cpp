// SPDX-License-Identifier: MIT
#include "cli/module_version.h"

#include <fmt/format.h>

#include <array>

namespace quorvel::cli {

std::string versionText(A_u_long word) {
    static constexpr std::array<const char*, 4> stages{"develop", "alpha", "beta", "release"};
    const ModuleVersion version = unpackVersion(word);
    return fmt::format("{}.{}.{} {}, build {}", version.version, version.subversion, version.bugfix,
                       stages[version.stage], version.build);
}

}  // namespace quorvel::cli
