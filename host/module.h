// SPDX-License-Identifier: MIT
// A plug-in module as a loaded file.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "host/error.h"
#include "sdk/pf_effect.h"

namespace quorvel::host {

class LoadedLibrary;

/// What a module says of itself through its identification callback.
struct Identity {
    std::string name;
    std::string matchName;
    std::string category;
    std::string entryPoint;
    A_long kind = 0;
    A_long apiMajor = 0;
    A_long apiMinor = 0;
    A_long reservedInfo = 0;
    friend bool operator==(const Identity&, const Identity&) = default;
};

/// Loads a module afresh each time: a second Module of the same file shares no state with the first.
/// Unloads it when destroyed.
class Module {
public:
    /// Throws HostError naming the file and the reason: missing, not a module, or which symbol is not there.
    explicit Module(const std::filesystem::path& file);
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    const std::filesystem::path& file() const { return file_; }
    /// As told by PluginDataEntryFunction when the module was loaded.
    const Identity& identity() const { return identity_; }
    PF_EffectMainFunction effectMain() const { return effectMain_; }
    PF_PluginDataEntryFunction pluginDataEntry() const { return pluginDataEntry_; }
    /// The address of an exported symbol, or null.
    void* symbol(const char* name) const;

private:
    std::filesystem::path file_;
    std::unique_ptr<LoadedLibrary> library_;
    PF_PluginDataEntryFunction pluginDataEntry_ = nullptr;
    PF_EffectMainFunction effectMain_ = nullptr;
    Identity identity_;
};

}  // namespace quorvel::host
