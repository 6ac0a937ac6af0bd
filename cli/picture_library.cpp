// SPDX-License-Identifier: MIT
#include "cli/picture_library.h"

#include <dlfcn.h>

#include <initializer_list>

#include "cli/exit_status.h"
#include "cli/program_file.h"

namespace quorvel::cli {
namespace {

/// The loader looks for each symbol of a library in everything that is loaded with it: two hundred libraries for
/// these two, which have more symbols than all others together. Loaded first they are searched before the rest, in half
/// the time. A library that is missing is not needed.
void loadLargeLibraries() {
    for (const char* name : std::initializer_list<const char*>{QUORVEL_LARGE_LIBRARIES}) {
        (void)dlopen(name, RTLD_LAZY | RTLD_LOCAL);
    }
}

const Pictures& load() {
    loadLargeLibraries();
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
