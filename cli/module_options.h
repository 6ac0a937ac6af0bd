// SPDX-License-Identifier: MIT
// Which module is loaded, by which host: the options that every command shares.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/instance.h"

namespace CLI {
class App;
}

namespace quorvel::cli {

struct ModuleOptions {
    std::string module;  ///< a file; empty: the module that came with the program
    host::Application application = host::Application::AfterEffects;
    std::optional<PF_SpecVersion> apiVersion;  ///< nothing: the application's usual one
};

/// Adds --host and --api-version to a command, and --module unless the command takes the module otherwise.
void addHostOptions(CLI::App& command, ModuleOptions& options);
void addModuleOption(CLI::App& command, ModuleOptions& options);

host::Profile profileFrom(const ModuleOptions& options);

/// The file given, or else the module that came with the program: beside it, or in ../lib/quorvel when installed.
std::filesystem::path moduleFile(const ModuleOptions& options);

/// The host with its module set up. Throws HostError naming the file and the reason.
std::unique_ptr<host::Host> startHost(const ModuleOptions& options);

/// Throws Failure with command, code and the module's message unless the command succeeded.
void require(const host::CommandResult& result, const std::string& command, const host::Host& host);

/// Applies the effect to a layer for the length of `work`: sequence set-up before it, sequence set-down after it.
/// Throws Failure when either fails.
void withInstance(host::Host& host, const std::function<void(host::Instance&)>& work);

}  // namespace quorvel::cli
