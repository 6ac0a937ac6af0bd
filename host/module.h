// SPDX-License-Identifier: MIT
// A loaded module, and what it reports about itself.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "host/base/error.h"
#include "sdk/pf_effect.h"

namespace quorvel::host {

class LoadedLibrary;

/// What a module reports through its identification callback.
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

/// What global set-up reports.
struct Capabilities {
    A_u_long version = 0;
    PF_OutFlags outFlags = 0;
    PF_OutFlags2 outFlags2 = 0;
};

/// Loads a module and unloads it when destroyed. A second Module of the same file shares no state with the first.
class Module {
public:
    /// Throws HostError naming the file and the reason: missing, not a module, for another system or processor, or
    /// which entry point is missing. Where the file alone shows the reason, none of its code runs.
    explicit Module(const std::filesystem::path& file);
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    const std::filesystem::path& file() const { return file_; }
    /// As reported by PluginDataEntryFunction when the module was loaded.
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
