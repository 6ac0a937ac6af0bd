// SPDX-License-Identifier: MIT
#include "host/module.h"

#include "host/loader.h"

namespace quorvel::host {

namespace {

std::string text(const A_u_char* string) {
    return string != nullptr ? reinterpret_cast<const char*>(string) : "";
}

A_Err noteIdentity(PF_PluginDataPtr host, const A_u_char* name, const A_u_char* matchName, const A_u_char* category,
                   const A_u_char* entryPoint, A_long kind, A_long apiMajor, A_long apiMinor, A_long reservedInfo) {
    *static_cast<Identity*>(host) = {text(name), text(matchName), text(category), text(entryPoint),
                                     kind,       apiMajor,        apiMinor,       reservedInfo};
    return PF_Err_NONE;
}

constexpr char kIdentityEntry[] = "PluginDataEntryFunction";

}  // namespace

Module::Module(const std::filesystem::path& file) : file_(file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) {
        throw HostError(file.string() + ": no such module");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw HostError(file.string() + ": not a module: not a regular file");
    }
    library_ = loadFresh(file);

    pluginDataEntry_ = reinterpret_cast<PF_PluginDataEntryFunction>(symbol(kIdentityEntry));
    if (pluginDataEntry_ == nullptr) {
        throw HostError(file.string() + ": no entry point \"" + kIdentityEntry + "\"");
    }
    const PF_Err result = pluginDataEntry_(&identity_, noteIdentity, nullptr, "Quorvel reference host", "1.3.0");
    if (result != PF_Err_NONE) {
        throw HostError(file.string() + ": " + kIdentityEntry + " failed with error " + std::to_string(result));
    }
    effectMain_ = reinterpret_cast<PF_EffectMainFunction>(symbol(identity_.entryPoint.c_str()));
    if (effectMain_ == nullptr) {
        throw HostError(file.string() + ": no entry point \"" + identity_.entryPoint + "\"");
    }
}

Module::~Module() = default;

void* Module::symbol(const char* name) const {
    return library_->symbol(name);
}

}  // namespace quorvel::host
