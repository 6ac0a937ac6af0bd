// SPDX-License-Identifier: MIT
// Loads a module's file; each system has its own implementation.
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

/// Loads the file so that it shares no state with any other load of it in this process. Throws HostError with the file
/// and the system's reason. Safe to call from several threads.
std::unique_ptr<LoadedLibrary> loadFresh(const std::filesystem::path& file);

}  // namespace quorvel::host
