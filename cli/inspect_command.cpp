// SPDX-License-Identifier: MIT
// quorvel inspect: what a module says of itself.
#include <CLI/CLI.hpp>
#include <array>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/commands.h"
#include "cli/module_options.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  quorvel inspect\n"
    "  quorvel inspect build/release/Quorvel.so --json\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 the command line is wrong.";

struct Options {
    bool json = false;
    ModuleOptions module;
};

/// Everything that is shown of a module, wherever it was learnt.
struct Description {
    std::string file;
    host::Identity identity;
    host::Capabilities capabilities;
    std::vector<std::pair<std::string, bool>> entryPoints;  ///< name, and whether the file exports it
};

/// Learns the description by loading the module and sending it global set-up.
Description describeByRunning(const ModuleOptions& options) {
    host::Host host(moduleFile(options), profileFrom(options));
    Description description;
    description.file = host.module().file().string();
    description.identity = host.module().identity();
    for (const std::string& name : {std::string("PluginDataEntryFunction"), description.identity.entryPoint}) {
        description.entryPoints.emplace_back(name, host.module().symbol(name.c_str()) != nullptr);
    }
    require(host.globalSetup(), "global set-up", host);
    description.capabilities = host.capabilities();
    require(host.globalSetdown(), "global set-down", host);
    return description;
}

/// The parts of the packed version word.
struct Version {
    A_u_long version;
    A_u_long subversion;
    A_u_long bugfix;
    A_u_long stage;
    A_u_long build;
    friend bool operator==(const Version&, const Version&) = default;
};

constexpr Version unpack(A_u_long word) {
    return {(word >> 19) & 7, (word >> 15) & 15, (word >> 11) & 15, (word >> 9) & 3, word & 511};
}
static_assert(unpack(PF_VERSION(5, 11, 9, PF_Stage_BETA, 300)) == Version{5, 11, 9, PF_Stage_BETA, 300});

std::string versionText(A_u_long word) {
    static constexpr std::array<const char*, 4> stages{"develop", "alpha", "beta", "release"};
    const Version version = unpack(word);
    return std::to_string(version.version) + "." + std::to_string(version.subversion) + "." +
           std::to_string(version.bugfix) + " " + stages[version.stage] + ", build " + std::to_string(version.build);
}

using FlagNames = std::vector<std::pair<A_long, const char*>>;

const FlagNames& outFlagNames() {
    static const FlagNames names{{PF_OutFlag_DISPLAY_ERROR_MESSAGE, "PF_OutFlag_DISPLAY_ERROR_MESSAGE"},
                                 {PF_OutFlag_CUSTOM_UI, "PF_OutFlag_CUSTOM_UI"},
                                 {PF_OutFlag_DEEP_COLOR_AWARE, "PF_OutFlag_DEEP_COLOR_AWARE"},
                                 {PF_OutFlag_SEND_UPDATE_PARAMS_UI, "PF_OutFlag_SEND_UPDATE_PARAMS_UI"}};
    return names;
}

const FlagNames& outFlag2Names() {
    static const FlagNames names{
        {PF_OutFlag2_I_AM_THREADSAFE, "PF_OutFlag2_I_AM_THREADSAFE"},
        {PF_OutFlag2_SUPPORTS_SMART_RENDER, "PF_OutFlag2_SUPPORTS_SMART_RENDER"},
        {PF_OutFlag2_FLOAT_COLOR_AWARE, "PF_OutFlag2_FLOAT_COLOR_AWARE"},
        {PF_OutFlag2_SUPPORTS_GET_FLATTENED_SEQUENCE_DATA, "PF_OutFlag2_SUPPORTS_GET_FLATTENED_SEQUENCE_DATA"},
        {PF_OutFlag2_SUPPORTS_THREADED_RENDERING, "PF_OutFlag2_SUPPORTS_THREADED_RENDERING"}};
    return names;
}

/// The names of the set bits, lowest first; a bit without a name here is shown by its number.
std::vector<std::string> flagNames(A_long word, const FlagNames& names) {
    std::vector<std::string> set;
    for (unsigned bit = 0; bit < 32; ++bit) {
        const A_u_long mask = A_u_long{1} << bit;
        if ((static_cast<A_u_long>(word) & mask) == 0) {
            continue;
        }
        std::string shown = "bit " + std::to_string(bit);
        for (const auto& [flag, name] : names) {
            if (static_cast<A_u_long>(flag) == mask) {
                shown = name;
            }
        }
        set.push_back(shown);
    }
    return set;
}

/// A four-character code, its first letter in the highest byte.
std::string codeText(A_long code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char letter = static_cast<char>((static_cast<A_u_long>(code) >> shift) & 0xFF);
        text += letter >= ' ' && letter <= '~' ? letter : '?';
    }
    return text;
}

void printLine(const char* label, const std::string& text) {
    std::cout << label << std::string(16 - std::string(label).size(), ' ') << text << '\n';
}

void printFlags(const char* label, A_long word, const FlagNames& names) {
    printLine(label, hexText(static_cast<A_u_long>(word)));
    for (const std::string& name : flagNames(word, names)) {
        printLine("", "  " + name);
    }
}

void print(const Description& module) {
    const host::Identity& identity = module.identity;
    printLine("file", module.file);
    printLine("name", identity.name);
    printLine("match name", identity.matchName);
    printLine("category", identity.category);
    printLine("kind", codeText(identity.kind));
    printLine("API version", std::to_string(identity.apiMajor) + "." + std::to_string(identity.apiMinor));
    printLine("reserved info", std::to_string(identity.reservedInfo));
    for (const auto& [name, present] : module.entryPoints) {
        printLine("entry point", name + (present ? "" : " (missing)"));
    }
    printLine("version", versionText(module.capabilities.version) + " (" + hexText(module.capabilities.version) + ")");
    printFlags("out flags", module.capabilities.outFlags, outFlagNames());
    printFlags("out flags 2", module.capabilities.outFlags2, outFlag2Names());
}

void printJson(const Description& module) {
    using Json = nlohmann::ordered_json;
    const host::Identity& identity = module.identity;
    const Version version = unpack(module.capabilities.version);
    Json entryPoints = Json::object();
    for (const auto& [name, present] : module.entryPoints) {
        entryPoints[name] = present;
    }
    const Json description{
        {"file", module.file},
        {"name", identity.name},
        {"match_name", identity.matchName},
        {"category", identity.category},
        {"kind", codeText(identity.kind)},
        {"api_version", {{"major", identity.apiMajor}, {"minor", identity.apiMinor}}},
        {"reserved_info", identity.reservedInfo},
        {"entry_points", entryPoints},
        {"version",
         {{"word", module.capabilities.version},
          {"major", version.version},
          {"minor", version.subversion},
          {"bugfix", version.bugfix},
          {"stage", version.stage},
          {"build", version.build}}},
        {"out_flags",
         {{"word", module.capabilities.outFlags}, {"names", flagNames(module.capabilities.outFlags, outFlagNames())}}},
        {"out_flags2",
         {{"word", module.capabilities.outFlags2},
          {"names", flagNames(module.capabilities.outFlags2, outFlag2Names())}}},
    };
    std::cout << description.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace

void addInspectCommand(CLI::App& program) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = program.add_subcommand("inspect", "Show a module's identity, version, flags and entry points");
    command->add_option("MODULE", options->module.module, "The module (default: the one that came with this program)")
        ->type_name("FILE");
    command->add_flag("--json", options->json, "For programs: a JSON object");
    addHostOptions(*command, options->module);
    command->footer(kExamples);
    command->callback([options] {
        const Description description = describeByRunning(options->module);
        if (options->json) {
            printJson(description);
        } else {
            print(description);
        }
    });
}

}  // namespace quorvel::cli
