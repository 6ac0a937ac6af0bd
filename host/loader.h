// SPDX-License-Identifier: MIT
// The one place where systems differ in loading a module.
#pragma once

#include <filesystem>
#include <memory>

namespace quorvel::host {

/// A loaded library; unloaded by its destructor.
class LoadedLibrary {
public:
    virtual ~LoadedLibrary() = default;
    /// The address of an exported symbol, or null.
    virtual void* symbol(const char* name) const = 0;
};

/// Loads a copy of the file that shares no state with any other in the process. Throws HostError with the file and the
/// system's reason. Safe to call from several threads.
std::unique_ptr<LoadedLibrary> loadFresh(const std::filesystem::path& file);

}  // namespace quorvel::host
