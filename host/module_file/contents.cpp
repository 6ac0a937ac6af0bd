// SPDX-License-Identifier: MIT
#include "host/module_file/contents.h"

#include <algorithm>

namespace quorvel::host {

std::string_view formatName(ModuleFormat format) {
    return format == ModuleFormat::Elf ? "ELF" : "PE";
}

std::string_view systemName(ModuleFormat format) {
    return format == ModuleFormat::Elf ? "Linux" : "Windows";
}

bool ModuleFile::runsHere() const {
#if defined(__x86_64__) || defined(_M_X64)
    constexpr bool kX86_64 = true;
#else
    constexpr bool kX86_64 = false;
#endif
    return format == kOwnFormat && forX86_64 == kX86_64;
}

bool ModuleFile::exportsSymbol(std::string_view name) const {
    return std::binary_search(exports.begin(), exports.end(), name);
}

}  // namespace quorvel::host
