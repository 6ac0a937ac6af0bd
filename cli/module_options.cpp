// SPDX-License-Identifier: MIT
#include "cli/module_options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <utility>
#include <vector>

#include "cli/exit_status.h"
#include "cli/option_values.h"
#include "cli/program_file.h"
#include "host/base/path_text.h"
#include "host/instance.h"

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

std::string versionText(const PF_SpecVersion& version) {
    return fmt::format("{}.{}", version.major, version.minor);
}

}  // namespace

void addHostOptions(CLI::App& command, ModuleOptions& options) {
    using host::Application;
    const std::string newest = versionText(host::Profile::afterEffects().apiVersion);
    const std::string premierePro = versionText(host::Profile::premierePro().apiVersion);
    expectChoice(command.add_option("--host", options.application, "The host to emulate (default after-effects)"),
                 std::vector<std::pair<std::string, Application>>{{"after-effects", Application::AfterEffects},
                                                                  {"premiere-pro", Application::PremierePro}})
        ->type_name("NAME")
        ->group("Host");
    command
        .add_option_function<std::string>(
            "--api-version",
            [&options, newest](const std::string& text) {
                options.apiVersion = parseVersion(text);
                if (!options.apiVersion) {
                    throw badValue("--api-version", text, "MAJOR.MINOR, each 0 to 32767, such as " + newest);
                }
            },
            fmt::format("The version of its effect API (default {}, premiere-pro {})", newest, premierePro))
        ->type_name("MAJOR.MINOR")
        ->group("Host");
}

void addModuleOption(CLI::App& command, ModuleOptions& options) {
    expectFile(command.add_option("--module", options.module,
                                  "The effect module (default: the one that came with this program)"))
        ->group("Host");
}

host::Profile profileFrom(const ModuleOptions& options) {
    host::Profile profile = options.application == host::Application::PremierePro ? host::Profile::premierePro()
                                                                                  : host::Profile::afterEffects();
    profile.apiVersion = options.apiVersion.value_or(profile.apiVersion);
    return profile;
}

fs::path moduleFile(const ModuleOptions& options) {
    return options.module.empty() ? companionFile(kModuleName) : pathFrom(options.module);
}

std::unique_ptr<host::Host> startHost(const ModuleOptions& options) {
    auto host = std::make_unique<host::Host>(moduleFile(options), profileFrom(options));
    host->start();
    return host;
}

void require(const host::CommandResult& result, const std::string& command, const host::Host& host) {
    if (!result.ok()) {
        throw Failure("{}: {}: {}", host::pathText(host.module().file()), command, host::describe(result));
    }
}

void withInstance(host::Host& host, const std::function<void(host::Instance&)>& work) {
    host::Instance instance(host);
    require(instance.sequenceSetup(), "sequence set-up", host);
    work(instance);
    require(instance.sequenceSetdown(), "sequence set-down", host);
}

}  // namespace quorvel::cli
