// SPDX-License-Identifier: MIT
// Whether a module's resource description agrees with what the running module reports.
#pragma once

#include <string>
#include <vector>

#include "host/module.h"
#include "host/module_file/pipl.h"

namespace quorvel::cli {

/// One property, as the resource describes it and as the running module reports it.
struct Agreement {
    std::string what;
    std::string described;  ///< "(missing)" when the resource lacks the property
    std::string reported;   ///< by the identification record or by global set-up
    bool agree() const { return described == reported; }
};

/// Compares every property that both the resource and the module state.
std::vector<Agreement> compare(const host::ResourceDescription& description, const host::Identity& identity,
                               const host::Capabilities& capabilities);

}  // namespace quorvel::cli
