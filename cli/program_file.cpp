// SPDX-License-Identifier: MIT
#include "cli/program_file.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <string>
#endif

namespace quorvel::cli {

std::filesystem::path programFile() {
#if defined(_WIN32)
    std::wstring name(32768, L'\0');  // the longest path there is
    name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
    return name;
#else
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
#endif
}

}  // namespace quorvel::cli
