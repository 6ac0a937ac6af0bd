// SPDX-License-Identifier: MIT
#include "cli/module_options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <optional>

#include "cli/exit_status.h"
#include "cli/program_file.h"
#include "cli/text.h"
#include "host/base/path_text.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;

std::optional<PF_SpecVersion> parseVersion(const std::string& text) {
    PF_SpecVersion version{};
    const char* end = text.data() + text.size();
    const auto major = std::from_chars(text.data(), end, version.major);
    if (major.ec != std::errc{} || major.ptr == end || *major.ptr != '.') {
        return std::nullopt;
    }
    const auto minor = std::from_chars(major.ptr + 1, end, version.minor);
    if (minor.ec != std::errc{} || minor.ptr != end || version.major < 0 || version.minor < 0) {
        return std::nullopt;
    }
    return version;
}

}  // namespace

void addHostOptions(CLI::App& command, ModuleOptions& options) {
    command.add_option("--host", options.application, "The host to play: after-effects (default) or premiere-pro")
        ->type_name("NAME")
        ->group("Host");
    command.add_option("--api-version", options.apiVersion, "Its effect API version, such as 13.27")
        ->type_name("MAJOR.MINOR")
        ->group("Host");
}

void addModuleOption(CLI::App& command, ModuleOptions& options) {
    command.add_option("--module", options.module, "The effect module (default: the one that came with this program)")
        ->type_name("FILE")
        ->group("Host");
}

host::Profile profileFrom(const ModuleOptions& options) {
    host::Profile profile = host::Profile::afterEffects();
    const std::string application = lowerCase(options.application);
    if (application == "premiere-pro") {
        profile = host::Profile::premierePro();
    } else if (!application.empty() && application != "after-effects") {
        throw badValue("--host", options.application, "after-effects or premiere-pro");
    }
    if (!options.apiVersion.empty()) {
        const auto version = parseVersion(options.apiVersion);
        if (!version) {
            throw badValue("--api-version", options.apiVersion, "MAJOR.MINOR, such as 13.27");
        }
        profile.apiVersion = *version;
    }
    return profile;
}

fs::path moduleFile(const ModuleOptions& options) {
    if (!options.module.empty()) {
        return options.module;
    }
    std::error_code error;
    const fs::path folder = programFile().parent_path();
    const fs::path beside = folder / kModuleName;
    const fs::path installed = folder.parent_path() / "lib" / "quorvel" / kModuleName;
    return !fs::exists(beside, error) && fs::exists(installed, error) ? installed : beside;
}

std::unique_ptr<host::Host> startHost(const ModuleOptions& options) {
    auto host = std::make_unique<host::Host>(moduleFile(options), profileFrom(options));
    host->start();
    return host;
}

void require(const host::CommandResult& result, const std::string& command, const host::Host& host) {
    if (!result.ok()) {
        throw Failure(host::pathText(host.module().file()) + ": " + command + ": " + host::describe(result));
    }
}

}  // namespace quorvel::cli
