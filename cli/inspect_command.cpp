// SPDX-License-Identifier: MIT
// quorvel inspect: what a module file shows, what the module says of itself, and whether the two agree.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/json_output.h"
#include "cli/module_description.h"
#include "cli/module_version.h"
#include "cli/option_values.h"
#include "cli/text.h"
#include "host/base/path_text.h"

namespace quorvel::cli {
namespace {

constexpr char kInspectExamples[] =
    "Examples:\n"
    "  quorvel inspect\n"
    "  quorvel inspect Quorvel.aex --json\n"
    "\n"
    "A module of another platform is read, but not run.\n"
    "Exit status: 0 done, 1 failed or the module contradicts itself, 2 wrong command line.";

struct InspectOptions {
    bool json = false;
    ModuleOptions module;
};

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
        std::string shown = fmt::format("bit {}", bit);
        for (const auto& [flag, name] : names) {
            if (static_cast<A_u_long>(flag) == mask) {
                shown = name;
            }
        }
        set.push_back(shown);
    }
    return set;
}

void printLine(const std::string& label, const std::string& text) {
    constexpr std::size_t kColumn = 20;
    std::cout << fmt::format("{:<{}} {}\n", printable(label), kColumn - 1, printable(text));
}

void printList(const std::string& label, const std::vector<std::string>& entries) {
    printLine(label, entries.empty() ? "none" : entries.front());
    for (std::size_t i = 1; i < entries.size(); ++i) {
        printLine("", entries[i]);
    }
}

void printFlags(const std::string& label, A_long word, const FlagNames& names) {
    printLine(label, hexText(static_cast<A_u_long>(word)));
    for (const std::string& name : flagNames(word, names)) {
        printLine("", "  " + name);
    }
}

std::string versionLine(A_u_long word) {
    return fmt::format("{} ({})", versionText(word), hexText(word));
}

std::string apiText(A_long major, A_long minor) {
    return fmt::format("{}.{}", major, minor);
}

void printFile(const ModuleDescription& module) {
    printLine("file", host::pathText(module.file));
    printLine("format", std::string(host::formatName(module.contents.format)) +
                            (module.contents.forX86_64 ? ", x86-64" : ", another processor"));
    if (module.contents.fileVersion) {
        printLine("file version", *module.contents.fileVersion);
    }
    printList("exports", module.contents.exports);
    for (const auto& [name, exported] : module.entryPoints) {
        if (!exported) {
            printLine("", name + " (missing)");
        }
    }
    printList("needs", module.contents.imports);
}

/// One line for a property that the resource has.
template <typename Value, typename Text>
void printProperty(const char* label, const std::optional<Value>& value, Text text) {
    if (value) {
        printLine(std::string("PiPL ") + label, text(*value));
    }
}

void printResource(const host::ResourceDescription& resource) {
    const auto plain = [](const std::string& text) { return text; };
    const auto flags = [](A_long word) { return hexText(static_cast<A_u_long>(word)); };
    std::string keys;
    for (const std::string& key : resource.keys) {
        keys += (keys.empty() ? "" : " ") + key;
    }
    printLine("PiPL properties", keys);
    printProperty("name", resource.name, plain);
    printProperty("match name", resource.matchName, plain);
    printProperty("category", resource.category, plain);
    printProperty("kind", resource.kind, codeText);
    printProperty("API version", resource.apiVersion, [](const auto& v) { return apiText(v.first, v.second); });
    printProperty("reserved", resource.reservedInfo, [](A_long value) { return std::to_string(value); });
    for (const auto& [key, name] : resource.entryPoints) {
        printLine("PiPL entry " + key, name);
    }
    printProperty("version", resource.version, versionLine);
    printProperty("out flags", resource.outFlags, flags);
    printProperty("out flags 2", resource.outFlags2, flags);
}

void printReported(const ModuleDescription::Reported& reported) {
    const host::Identity& identity = reported.identity;
    printLine("name", identity.name);
    printLine("match name", identity.matchName);
    printLine("category", identity.category);
    printLine("kind", codeText(identity.kind));
    printLine("API version", apiText(identity.apiMajor, identity.apiMinor));
    printLine("reserved info", std::to_string(identity.reservedInfo));
    printLine("entry point", identity.entryPoint);
    printLine("version", versionLine(reported.capabilities.version));
    printFlags("out flags", reported.capabilities.outFlags, outFlagNames());
    printFlags("out flags 2", reported.capabilities.outFlags2, outFlag2Names());
}

void printAgreement(const ModuleDescription& module) {
    if (!module.resource) {
        printLine("agreement", "not checked: no resource description (PiPL)");
    } else if (!module.reported) {
        printLine("agreement", "not checked: the module is for another platform, so it was not run");
    } else {
        std::vector<std::string> differences;
        for (const Agreement& one : module.agreements) {
            if (!one.agree()) {
                differences.push_back(fmt::format("{}: PiPL {}, module {}", one.what, one.described, one.reported));
            }
        }
        if (differences.empty()) {
            differences.push_back(fmt::format(
                "PiPL, identification record and global set-up agree in all {} properties", module.agreements.size()));
        }
        printList("agreement", differences);
    }
}

void print(const ModuleDescription& module) {
    printFile(module);
    if (module.resource) {
        printResource(*module.resource);
    }
    if (module.reported) {
        printReported(*module.reported);
    }
    printAgreement(module);
}

using Json = nlohmann::ordered_json;

Json versionJson(A_u_long word) {
    const ModuleVersion version = unpackVersion(word);
    return {
        {"word", word},           {"major", version.version}, {"minor", version.subversion}, {"bugfix", version.bugfix},
        {"stage", version.stage}, {"build", version.build}};
}

Json flagsJson(A_long word, const FlagNames& names) {
    return {{"word", word}, {"names", flagNames(word, names)}};
}

Json apiJson(A_long major, A_long minor) {
    return {{"major", major}, {"minor", minor}};
}

Json resourceJson(const host::ResourceDescription& resource) {
    Json json{{"properties", resource.keys}, {"entry_points", resource.entryPoints}};
    const auto add = [&json](const char* key, const auto& value, auto convert) {
        if (value) {
            json[key] = convert(*value);
        }
    };
    const auto plain = [](const auto& value) { return value; };
    add("name", resource.name, plain);
    add("match_name", resource.matchName, plain);
    add("category", resource.category, plain);
    add("kind", resource.kind, codeText);
    add("api_version", resource.apiVersion, [](const auto& v) { return apiJson(v.first, v.second); });
    add("reserved_info", resource.reservedInfo, plain);
    add("version", resource.version, versionJson);
    add("out_flags", resource.outFlags, [](A_long word) { return flagsJson(word, outFlagNames()); });
    add("out_flags2", resource.outFlags2, [](A_long word) { return flagsJson(word, outFlag2Names()); });
    return json;
}

void printAsJson(const ModuleDescription& module) {
    Json json{{"file", host::pathText(module.file)}, {"format", host::formatName(module.contents.format)},
              {"x86_64", module.contents.forX86_64}, {"exports", module.contents.exports},
              {"entry_points", module.entryPoints},  {"needs", module.contents.imports},
              {"ran", module.reported.has_value()}};
    if (module.contents.fileVersion) {
        json["file_version"] = *module.contents.fileVersion;
    }
    if (module.reported) {
        const host::Identity& identity = module.reported->identity;
        const host::Capabilities& capabilities = module.reported->capabilities;
        json.update(Json{{"name", identity.name},
                         {"match_name", identity.matchName},
                         {"category", identity.category},
                         {"kind", codeText(identity.kind)},
                         {"api_version", apiJson(identity.apiMajor, identity.apiMinor)},
                         {"reserved_info", identity.reservedInfo},
                         {"entry_point", identity.entryPoint},
                         {"version", versionJson(capabilities.version)},
                         {"out_flags", flagsJson(capabilities.outFlags, outFlagNames())},
                         {"out_flags2", flagsJson(capabilities.outFlags2, outFlag2Names())}});
    }
    json["resource"] = module.resource ? resourceJson(*module.resource) : Json();
    json["agreements"] = Json::array();
    for (const Agreement& one : module.agreements) {
        json["agreements"].push_back(
            {{"what", one.what}, {"resource", one.described}, {"module", one.reported}, {"agree", one.agree()}});
    }
    printJson(json);
}

}  // namespace

void addInspectCommand(CLI::App& program) {
    const auto options = std::make_shared<InspectOptions>();
    CLI::App* command = program.add_subcommand("inspect", "Show a module's identity, version, flags and entry points");
    expectFile(command->add_option("MODULE", options->module.module,
                                   "The module (default: the one that came with this program)"));
    command->add_flag("--json", options->json, "Print JSON, for programs");
    addHostOptions(*command, options->module);
    command->footer(kInspectExamples);
    refuseOptionsAsValues(*command);
    command->callback([options] {
        const ModuleDescription description = describeModule(options->module);
        if (options->json) {
            printAsJson(description);
        } else {
            print(description);
        }
        if (description.contradicts()) {
            std::cout.flush();
            throw Failure(host::pathText(description.file) + ": the module contradicts itself");
        }
    });
}

}  // namespace quorvel::cli
