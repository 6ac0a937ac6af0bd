// SPDX-License-Identifier: MIT
// quorvel params: the parameters as the module declares them.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/commands.h"
#include "cli/json_output.h"
#include "cli/module_options.h"
#include "cli/option_values.h"
#include "cli/parameter_text.h"
#include "cli/settings_option.h"
#include "cli/table.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

constexpr char kParamsExamples[] =
    "Examples:\n"
    "  quorvel params\n"
    "  quorvel params --host premiere-pro\n"
    "  quorvel params --api-version 13.8 --json\n"
    "  quorvel params --settings ./moving.json --frame 12\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 wrong command line.";

struct ParamsOptions {
    bool json = false;
    ModuleOptions module;
    SettingsOption settings;
    FrameOption frame;
};

std::string rangeText(const host::Parameter& parameter) {
    // The table says what a layer is by its kind; only as an option's value is it a file.
    return kindOf(parameter) == ParameterKind::Layer ? std::string{} : expectedText(parameter);
}

std::string optionText(const host::Parameter& parameter) {
    const auto names = optionNames(parameter);
    return names.empty() ? "" : "--" + names.front();
}

std::string shownName(const host::Parameter& parameter) {
    if (parameter.index == 0) {
        return "(input layer)";
    }
    return parameter.name().empty() ? "(no name)" : parameter.name();
}

/// A parameter's value in the settings at that moment: a number, a choice's name, or a layer's file.
nlohmann::ordered_json valueOf(const host::Parameter& parameter, const ParamsOptions& options,
                               const settings::Moment& moment) {
    const quorvel::Parameter* described = effectParameter(parameter);
    if (described == nullptr) {
        return nullptr;
    }
    const double value = options.settings.values().at(described->id, moment);
    switch (described->kind) {
        case quorvel::ParameterKind::Layer: {
            const std::string layer = options.settings.layerFile(described->id).string();
            return layer.empty() ? "none" : layer;
        }
        case quorvel::ParameterKind::Choice:
            return choiceNames(parameter).at(static_cast<std::size_t>(value));
        default:
            return value;
    }
}

void printTable(const std::vector<host::Parameter>& parameters, const ParamsOptions& options,
                const settings::Moment& moment) {
    std::vector<std::string> headings{"INDEX", "ID", "NAME", "OPTION", "KIND", "DEFAULT"};
    if (options.settings.isGiven()) {
        headings.emplace_back("VALUE");
    }
    headings.emplace_back("RANGE OR CHOICES");
    Table table(headings);
    for (const host::Parameter& parameter : parameters) {
        std::vector<std::string> cells{std::to_string(parameter.index),
                                       parameter.index == 0 ? "" : std::to_string(parameter.id()),
                                       shownName(parameter),
                                       optionText(parameter),
                                       kindName(kindOf(parameter)),
                                       defaultText(parameter)};
        if (options.settings.isGiven()) {
            const nlohmann::ordered_json value = valueOf(parameter, options, moment);
            cells.push_back(value.is_number()   ? numberText(value.get<double>())
                            : value.is_string() ? value.get<std::string>()
                                                : "");
        }
        cells.push_back(rangeText(parameter));
        table.add(std::move(cells));
    }
    table.print(std::cout);
}

nlohmann::ordered_json describe(const host::Parameter& parameter) {
    nlohmann::ordered_json entry;
    entry["index"] = parameter.index;
    entry["id"] = parameter.index == 0 ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(parameter.id());
    entry["name"] = parameter.name();
    entry["option"] =
        optionText(parameter).empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(optionText(parameter));
    entry["kind"] = kindName(kindOf(parameter));
    if (const auto range = rangeOf(parameter)) {
        entry["minimum"] = range->minimum;
        entry["maximum"] = range->maximum;
    }
    if (kindOf(parameter) == ParameterKind::Choice) {
        entry["choices"] = parameter.choices;
    }
    const std::string defaultValue = defaultText(parameter);
    if (const auto number = parseNumber(defaultValue)) {
        entry["default"] = *number;
    } else if (!defaultValue.empty()) {
        entry["default"] = defaultValue;
    }
    if (parameter.customUI) {
        entry["control"] = {{"width", parameter.def.ui_width}, {"height", parameter.def.ui_height}};
    }
    return entry;
}

void run(const ParamsOptions& options) {
    const settings::Moment moment = options.frame.moment(options.settings, options.settings.values().moves());
    const auto host = startHost(options.module);
    if (!options.json) {
        printTable(host->parameters(), options, moment);
        return;
    }
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const host::Parameter& parameter : host->parameters()) {
        nlohmann::ordered_json entry = describe(parameter);
        if (const auto value = valueOf(parameter, options, moment); options.settings.isGiven() && !value.is_null()) {
            entry["value"] = value;
        }
        list.push_back(std::move(entry));
    }
    printJson(list);
}

}  // namespace

void addParamsCommand(CLI::App& program) {
    const auto options = std::make_shared<ParamsOptions>();
    CLI::App* command =
        program.add_subcommand("params", "List the parameters that the module declares, or their values in settings");
    command->add_flag("--json", options->json, "Print JSON, for programs");
    options->settings.addTo(*command);
    options->frame.addTo(*command);
    addHostOptions(*command, options->module);
    addModuleOption(*command, options->module);
    command->footer(kParamsExamples);
    refuseOptionsAsValues(*command);
    command->callback([options] { run(*options); });
}

}  // namespace quorvel::cli
