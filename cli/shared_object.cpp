// SPDX-License-Identifier: MIT
#include "cli/shared_object.h"

#include <dlfcn.h>

#include "cli/exit_status.h"
#include "cli/program_file.h"

namespace quorvel::cli {

void* loadCompanion(const std::string& file, const char* symbol, const char* complaint) {
    const std::string path = companionFile(file).string();
    // Lazily: the libraries have thousands of symbols, of which a run uses few.
    void* const library = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    void* const function = library != nullptr ? dlsym(library, symbol) : nullptr;
    if (function == nullptr) {
        throw Failure("{}: {}", complaint, dlerror());
    }
    return function;
}

}  // namespace quorvel::cli
