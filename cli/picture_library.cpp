// SPDX-License-Identifier: MIT
#include "cli/picture_library.h"

#include <dlfcn.h>

#include "cli/exit_status.h"
#include "cli/program_file.h"

namespace quorvel::cli {
namespace {

const Pictures& load() {
    const std::string file = companionFile("quorvel_pictures.so").string();
    // Lazily: the libraries have thousands of symbols, of which a run uses few.
    void* const library = dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL);
    void* const factory = library != nullptr ? dlsym(library, kPicturesFactory) : nullptr;
    if (factory == nullptr) {
        throw Failure("cannot load the picture libraries: {}", dlerror());
    }
    return *reinterpret_cast<PicturesFactory*>(factory)();
}

}  // namespace

const Pictures& pictures() {
    static const Pictures& loaded = load();
    return loaded;
}

}  // namespace quorvel::cli
