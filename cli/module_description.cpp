// SPDX-License-Identifier: MIT
#include "cli/module_description.h"

#include <algorithm>

namespace quorvel::cli {
namespace {

constexpr char kIdentificationEntry[] = "PluginDataEntryFunction";

ModuleDescription::Reported askModule(const ModuleOptions& options) {
    host::Host host(moduleFile(options), profileFrom(options));
    require(host.globalSetup(), "global set-up", host);
    ModuleDescription::Reported reported{host.module().identity(), host.capabilities()};
    require(host.globalSetdown(), "global set-down", host);
    return reported;
}

}  // namespace

bool ModuleDescription::contradicts() const {
    return std::any_of(entryPoints.begin(), entryPoints.end(), [](const auto& entry) { return !entry.second; }) ||
           std::any_of(agreements.begin(), agreements.end(), [](const auto& one) { return !one.agree(); });
}

ModuleDescription describeModule(const ModuleOptions& options) {
    ModuleDescription module;
    module.file = moduleFile(options);
    module.contents = host::readModuleFile(module.file);
    module.resource = host::readResourceDescription(module.file, module.contents);
    if (module.contents.runsHere()) {
        module.reported = askModule(options);
    }

    const auto addEntryPoint = [&module](const std::string& name) {
        module.entryPoints[name] = module.contents.exportsSymbol(name);
    };
    addEntryPoint(kIdentificationEntry);
    if (module.resource) {
        for (const auto& [key, name] : module.resource->entryPoints) {
            addEntryPoint(name);
        }
    }
    if (module.reported) {
        addEntryPoint(module.reported->identity.entryPoint);
    }
    if (module.resource && module.reported) {
        module.agreements = compare(*module.resource, module.reported->identity, module.reported->capabilities);
    }
    return module;
}

}  // namespace quorvel::cli
