// SPDX-License-Identifier: MIT
// Which module is played, by which host: the options that every command shares.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "host/host.h"

namespace CLI {
class App;
}

namespace quorvel::cli {

/// The options' texts as given; empty when not given.
struct ModuleOptions {
    std::string module;
    std::string application;
    std::string apiVersion;
};

/// Adds --host and --api-version to a command, and --module unless the command takes the module otherwise.
void addHostOptions(CLI::App& command, ModuleOptions& options);
void addModuleOption(CLI::App& command, ModuleOptions& options);

/// Throws UsageError for texts that name no host or version.
host::Profile profileFrom(const ModuleOptions& options);

/// The file given, or else the module that came with the program: beside it, or in ../lib/quorvel when installed.
std::filesystem::path moduleFile(const ModuleOptions& options);

/// The host with its module set up. Throws UsageError, or HostError naming the file and the reason.
std::unique_ptr<host::Host> startHost(const ModuleOptions& options);

/// Throws Failure with command, code and the module's message unless the command went well.
void require(const host::CommandResult& result, const std::string& command, const host::Host& host);

}  // namespace quorvel::cli
