// SPDX-License-Identifier: MIT
#include "cli/build_info.h"

#include <CLI/CLI.hpp>
#include <array>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/exit_status.h"
#include "cli/module_description.h"
#include "cli/module_version.h"
#include "cli/program_file.h"
#include "cli/text.h"
#include "effect/fast/instruction_set.h"
#include "host/base/path_text.h"
#if defined(QUORVEL_PICTURES)
#include "cli/picture_library.h"
#include "cli/video_library.h"
#endif

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;

std::string compiler() {
#if defined(__clang__)
    return "Clang " __clang_version__;
#elif defined(__GNUC__)
    return "GCC " __VERSION__;
#else
    return "unknown";
#endif
}

std::string moduleText(const fs::path& file) {
    try {
        ModuleOptions options;
        options.module = host::pathText(file);
        const ModuleDescription module = describeModule(options);
        return module.reported
                   ? module.reported->identity.name + " " + versionText(module.reported->capabilities.version)
                   : "for another platform";
    } catch (const std::exception& error) {
        return error.what();
    }
}

#if defined(QUORVEL_PICTURES)
/// What `load` delivers says of itself, or why it cannot be loaded.
template <typename Load>
std::string versionsOf(const Load& load) {
    try {
        return load().describeLibraries();
    } catch (const Failure& error) {
        return error.what();
    }
}

std::string pictureLibraries() {
    return versionsOf(pictures);
}

std::string videoLibraries() {
    return versionsOf(videos);
}
#else
constexpr char kNoLibraries[] = "none; built without render and panel";

std::string pictureLibraries() {
    return kNoLibraries;
}

std::string videoLibraries() {
    return kNoLibraries;
}
#endif

}  // namespace

std::string buildInfo() {
    using fast::InstructionSet;
    constexpr std::array sets{InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512};
    std::string built;
    for (const InstructionSet set : sets) {
        built += (built.empty() ? "" : ", ") + std::string(fast::nameOf(set));
    }
    const fs::path module = companionFile(kModuleName);
    std::string text = "quorvel " QUORVEL_VERSION "\n";
    const auto add = [&text](const char* what, const std::string& fact) {
        text += fmt::format("{:<18} {}\n", what, printable(fact));
    };
    add("compiler", compiler());
    add("instruction sets", built + "; chosen: " + fast::nameOf(fast::chosenInstructionSet()));
    add("module", moduleText(module));
    add("module file", host::pathText(module));
    add("libraries", fmt::format("CLI11 " CLI11_VERSION ", fmt {}.{}.{}, nlohmann-json {}.{}.{}", FMT_VERSION / 10000,
                                 FMT_VERSION / 100 % 100, FMT_VERSION % 100, NLOHMANN_JSON_VERSION_MAJOR,
                                 NLOHMANN_JSON_VERSION_MINOR, NLOHMANN_JSON_VERSION_PATCH));
    add("picture libraries", pictureLibraries());
    add("video libraries", videoLibraries());
    return text;
}

}  // namespace quorvel::cli
