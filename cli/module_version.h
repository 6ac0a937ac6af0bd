// SPDX-License-Identifier: MIT
// The version of an effect, which modules report as one packed word.
#pragma once

#include <string>

#include "sdk/pf_effect.h"

namespace quorvel::cli {

struct ModuleVersion {
    A_u_long version;
    A_u_long subversion;
    A_u_long bugfix;
    A_u_long stage;
    A_u_long build;
    friend bool operator==(const ModuleVersion&, const ModuleVersion&) = default;
};

constexpr ModuleVersion unpackVersion(A_u_long word) {
    return {(word >> 19) & 7, (word >> 15) & 15, (word >> 11) & 15, (word >> 9) & 3, word & 511};
}
static_assert(unpackVersion(PF_VERSION(5, 11, 9, PF_Stage_BETA, 300)) == ModuleVersion{5, 11, 9, PF_Stage_BETA, 300});

/// "1.3.0 release, build 1".
std::string versionText(A_u_long word);

}  // namespace quorvel::cli
