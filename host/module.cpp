// SPDX-License-Identifier: MIT
#include "host/module.h"

#include <exception>
#include <optional>
#include <vector>

#include "host/base/path_text.h"
#include "host/basic_suite.h"
#include "host/loader.h"
#include "host/module_file/module_file.h"

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

/// Asks a module for its identity. `file` is for messages.
Identity identify(PF_PluginDataEntryFunction entry, const std::string& file) {
    static SPBasicSuite basic = basicSuiteWithoutSuites();
    std::vector<Identity> described;
    PF_Err result = PF_Err_NONE;
    try {
        result = entry(&described, noteIdentity, &basic, "Quorvel reference host", QUORVEL_VERSION);
    } catch (const std::exception& exception) {
        throw HostError(file + ": " + kIdentityEntry + " failed with an exception: " + exception.what());
    } catch (...) {
        throw HostError(file + ": " + kIdentityEntry + " failed with an unknown exception");
    }
    if (result != PF_Err_NONE) {
        throw HostError(file + ": " + kIdentityEntry + " failed with error " + std::to_string(result));
    }
    if (described.size() != 1) {
        throw HostError(file + ": " + kIdentityEntry + " described " + std::to_string(described.size()) +
                        " effects, expected 1");
    }
    return described.front();
}

void requireEntry(bool found, const std::string& name, const std::string& file) {
    if (!found) {
        throw HostError(file + ": no entry point \"" + name + "\"");
    }
}

/// Loading a library runs its code, so what is certainly no module for this system is refused before. A file that
/// cannot be read as a module is left to the system's loader, which knows more reasons.
void checkBeforeLoading(const std::filesystem::path& file) {
    std::optional<ModuleFile> contents;
    try {
        contents = readModuleFile(file);
    } catch (const HostError&) {
        return;
    }
    if (contents->format != kOwnFormat) {
        throw HostError(pathText(file) + ": a " + std::string(systemName(contents->format)) + " module, not one for " +
                        std::string(systemName(kOwnFormat)));
    }
    if (!contents->runsHere()) {
        throw HostError(pathText(file) + ": a module for another processor");
    }
    requireEntry(contents->exportsSymbol(kIdentityEntry), kIdentityEntry, pathText(file));
}

}  // namespace

Module::Module(const std::filesystem::path& file) : file_(file) {
    requireModuleFile(file);
    checkBeforeLoading(file);
    library_ = loadFresh(file);
    pluginDataEntry_ = reinterpret_cast<PF_PluginDataEntryFunction>(symbol(kIdentityEntry));
    requireEntry(pluginDataEntry_ != nullptr, kIdentityEntry, pathText(file));
    identity_ = identify(pluginDataEntry_, pathText(file));
    effectMain_ = reinterpret_cast<PF_EffectMainFunction>(symbol(identity_.entryPoint.c_str()));
    requireEntry(effectMain_ != nullptr, identity_.entryPoint, pathText(file));
}

Module::~Module() = default;

void* Module::symbol(const char* name) const {
    return library_->symbol(name);
}

}  // namespace quorvel::host
