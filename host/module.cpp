// SPDX-License-Identifier: MIT
#include "host/module.h"

#include <exception>
#include <vector>

#include "host/loader.h"
#include "host/module_file.h"
#include "host/session.h"

namespace quorvel::host {

namespace {

std::string text(const A_u_char* string) {
    return string != nullptr ? reinterpret_cast<const char*>(string) : "";
}

A_Err noteIdentity(PF_PluginDataPtr host, const A_u_char* name, const A_u_char* matchName, const A_u_char* category,
                   const A_u_char* entryPoint, A_long kind, A_long apiMajor, A_long apiMinor, A_long reservedInfo) {
    static_cast<std::vector<Identity>*>(host)->push_back(
        {text(name), text(matchName), text(category), text(entryPoint), kind, apiMajor, apiMinor, reservedInfo});
    return PF_Err_NONE;
}

constexpr char kIdentityEntry[] = "PluginDataEntryFunction";

/// Asks a module who it is. `file` is for messages.
Identity identify(PF_PluginDataEntryFunction entry, const std::string& file) {
    // A basic suite is there, but no command runs yet: its functions answer with an error.
    static SPBasicSuite basic = [] {
        SPBasicSuite suite;
        installBasicSuite(suite);
        return suite;
    }();
    std::vector<Identity> told;
    PF_Err result = PF_Err_NONE;
    try {
        result = entry(&told, noteIdentity, &basic, "Quorvel reference host", "1.3.0");
    } catch (const std::exception& exception) {
        throw HostError(file + ": " + kIdentityEntry + " failed with an exception: " + exception.what());
    } catch (...) {
        throw HostError(file + ": " + kIdentityEntry + " failed with an unknown exception");
    }
    if (result != PF_Err_NONE) {
        throw HostError(file + ": " + kIdentityEntry + " failed with error " + std::to_string(result));
    }
    if (told.size() != 1) {
        throw HostError(file + ": " + kIdentityEntry + " told of " + std::to_string(told.size()) +
                        " effects instead of one");
    }
    return told.front();
}

/// Loading a library runs its code, so one that is clearly no module is not loaded at all. What cannot be read is
/// left to the system's loader, which says what is wrong with it.
bool lacksIdentityEntry(const std::filesystem::path& file) {
    try {
        return !readModuleFile(file).exportsSymbol(kIdentityEntry);
    } catch (const HostError&) {
        return false;
    }
}

}  // namespace

Module::Module(const std::filesystem::path& file) : file_(file) {
    requireModuleFile(file);
    const auto requireEntry = [&](bool found, const std::string& name) {
        if (!found) {
            throw HostError(file.string() + ": no entry point \"" + name + "\"");
        }
    };
    requireEntry(!lacksIdentityEntry(file), kIdentityEntry);
    library_ = loadFresh(file);
    pluginDataEntry_ = reinterpret_cast<PF_PluginDataEntryFunction>(symbol(kIdentityEntry));
    requireEntry(pluginDataEntry_ != nullptr, kIdentityEntry);
    identity_ = identify(pluginDataEntry_, file.string());
    effectMain_ = reinterpret_cast<PF_EffectMainFunction>(symbol(identity_.entryPoint.c_str()));
    requireEntry(effectMain_ != nullptr, identity_.entryPoint);
}

Module::~Module() = default;

void* Module::symbol(const char* name) const {
    return library_->symbol(name);
}

}  // namespace quorvel::host
