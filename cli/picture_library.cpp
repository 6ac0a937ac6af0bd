// SPDX-License-Identifier: MIT
#include "cli/picture_library.h"

#include <dlfcn.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdlib>
#include <exception>
#include <initializer_list>

#include "cli/exit_status.h"
#include "cli/shared_object.h"

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

constexpr char kTooLittleMemory[] = "cannot load the picture libraries: not enough memory";

/// About how many addresses the libraries take. Some of them crash where there are fewer.
constexpr std::size_t kLibraryAddresses = std::size_t{480} << 20;

bool hasRoomForLibraries() {
    // Reserved, not taken: only a limit on addresses says no.
    void* const room =
        ::mmap(nullptr, kLibraryAddresses, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return room != MAP_FAILED && ::munmap(room, kLibraryAddresses) == 0;
}

/// Says what happened when a library throws out of its own initialisation, which nobody can catch.
[[noreturn]] void failWhileLoading() {
    std::_Exit(fail(kExitFailure, kTooLittleMemory));
}

/// Uncaught exceptions end with `failWhileLoading` while this lives.
class LoadingGuard {
public:
    LoadingGuard() : before_(std::set_terminate(failWhileLoading)) {}
    ~LoadingGuard() { std::set_terminate(before_); }
    LoadingGuard(const LoadingGuard&) = delete;
    LoadingGuard& operator=(const LoadingGuard&) = delete;

private:
    std::terminate_handler before_;
};

const Pictures& load() {
    if (!hasRoomForLibraries()) {
        throw Failure(kTooLittleMemory);
    }
    const LoadingGuard guard;
    loadLargeLibraries();
    auto* const factory = reinterpret_cast<PicturesFactory*>(
        loadCompanion("quorvel_pictures.so", kPicturesFactory, "cannot load the picture libraries"));
    return *factory();
}

}  // namespace

const Pictures& pictures() {
    static const Pictures& loaded = load();
    return loaded;
}

}  // namespace quorvel::cli
