// SPDX-License-Identifier: MIT
#include "cli/help_text.h"

#include <algorithm>
#include <sstream>

#include "cli/text.h"

namespace quorvel::cli {
namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kLeftColumn = 32;

/// An entry, and what it means in the column beside it.
std::string row(const std::string& entry, const std::string& meaning) {
    std::string text = "  " + entry;
    if (text.size() + 2 > kLeftColumn) {
        text += '\n';
        text += std::string(kLeftColumn, ' ');
    } else {
        text.resize(kLeftColumn, ' ');
    }
    std::istringstream lines(wrapped(meaning, kWidth - kLeftColumn));
    std::string line;
    for (bool first = true; std::getline(lines, line); first = false) {
        text += (first ? "" : "\n" + std::string(kLeftColumn, ' ')) + line;
    }
    return text + '\n';
}

}  // namespace

std::string optionNamesText(const CLI::Option& option) {
    return option.nonpositional() ? option.get_name(false, true) : option.get_name(true, false);
}

std::string valueName(const CLI::Option& option) {
    if (option.get_items_expected_max() == 0) {
        return {};
    }
    const std::string name = option.get_type_name();
    return name.substr(0, name.find(':'));  // what follows describes the validators
}

std::string requiredArguments(const CLI::App& app) {
    std::string text;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : " ") + part; };
    for (const CLI::Option* option : app.get_options()) {
        if (!option->nonpositional()) {
            add(option->get_required() ? option->get_name(true) : "[" + option->get_name(true) + "]");
        }
    }
    for (const CLI::Option* option : app.get_options()) {
        if (option->nonpositional() && option->get_required()) {
            const auto& letters = option->get_snames();
            add((letters.empty() ? option->get_name() : "-" + letters.front()) + " " + valueName(*option));
        }
    }
    if (!app.get_subcommands({}).empty()) {
        add("COMMAND");
    }
    return text;
}

std::string HelpText::make_usage(const CLI::App* app, std::string name) const {
    const std::string required = requiredArguments(*app);
    return "\nUsage: " + name + " [OPTIONS]" + (required.empty() ? "" : " " + required) + "\n";
}

std::string HelpText::make_option(const CLI::Option* option, bool isPositional) const {
    const std::string value = isPositional ? "" : valueName(*option);
    return row(optionNamesText(*option) + (value.empty() ? "" : " " + value), option->get_description());
}

std::string HelpText::make_subcommand(const CLI::App* command) const {
    return row(command->get_name(), command->get_description());
}

std::string HelpText::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const {
    std::string help = wrapped(Formatter::make_help(app, std::move(name), mode), kWidth);
    for (std::size_t at = 0; (at = help.find("\n\n\n", at)) != std::string::npos;) {
        help.erase(at, 1);
    }
    return help;
}

}  // namespace quorvel::cli
