// SPDX-License-Identifier: MIT
#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>

#include "cli/build_info.h"
#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/help_text.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

constexpr char kOverview[] =
    "Examples:\n"
    "  quorvel render photo.jpg -o mosaic.png --mosaic-intensity 0.5\n"
    "  quorvel render --help\n"
    "  quorvel panel -o panel.png\n"
    "  quorvel params\n"
    "  quorvel inspect --json\n"
    "\n"
    "Results go to the standard output, messages to the error output.\n"
    "Exit status: 0 done, 1 failed, 2 wrong command line.";

bool isOption(const std::string& argument) {
    return argument.size() > 1 && argument[0] == '-';
}

std::vector<std::string> commandNames(const CLI::App& program) {
    std::vector<std::string> names;
    for (const CLI::App* command : program.get_subcommands({})) {
        if (!command->get_group().empty()) {
            names.push_back(command->get_name());
        }
    }
    return names;
}

std::vector<std::string> optionNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

std::string hint(const std::string& word, const std::vector<std::string>& candidates, const std::string& help) {
    const std::string meant = nearest(word, candidates);
    return meant.empty() ? "see " + help : "did you mean " + meant + "?";
}

}  // namespace

void defineProgram(CLI::App& program, const std::vector<std::string>& arguments) {
    program.name("quorvel");
    program.description("Quorvel, an adaptive mosaic effect: renders pictures through the effect's module.");
    const auto helpText = std::make_shared<HelpText>();
    helpText->label("Positionals", "Arguments");
    program.formatter(helpText);
    program.allow_windows_style_options(false);  // what starts with a slash is a file everywhere
    program.option_defaults()->take_last();
    program.set_help_flag("-h,--help", "Print this help");
    program.set_version_flag("-V,--version", "quorvel " QUORVEL_VERSION, "Print the program's version");
    program.add_flag_callback(
        "--build-info",
        [] {
            std::cout << buildInfo();
            throw CLI::Success();
        },
        "Print what a report should name");
    program.require_subcommand(1);
    program.footer(kOverview);
#if defined(QUORVEL_PICTURES)
    addRenderCommand(program, arguments);
    addPanelCommand(program, arguments);
#else
    (void)arguments;
#endif
    addParamsCommand(program);
    addInspectCommand(program);
    addAboutCommand(program);
    addCompletionCommand(program);
    for (CLI::App* command : program.get_subcommands({})) {
        command->group("Commands");
    }
    addManualCommand(program);  // not listed
}

std::vector<std::string> forParser(const std::vector<std::string>& arguments) {
    std::vector<std::string> result;
    bool onlyFiles = false;
    for (const std::string& argument : arguments) {
        if (onlyFiles && isOption(argument)) {
            result.push_back("./" + argument);
        } else if (!onlyFiles && argument == "--") {
            onlyFiles = true;  // the parser knows this sign, but counts it as one argument too many
        } else if (!onlyFiles && argument.starts_with("--") && argument.ends_with('=')) {
            result.push_back(argument.substr(0, argument.size() - 1));
            result.emplace_back();
        } else {
            result.push_back(argument);
        }
    }
    std::reverse(result.begin(), result.end());
    return result;
}

std::string unexpectedArgument(const CLI::App& program) {
    const auto commands = program.get_subcommands();
    // What comes before the command is the program's.
    const bool ofProgram = commands.empty() || !program.remaining().empty();
    const CLI::App& where = ofProgram ? program : *commands.front();
    const std::string help = ofProgram ? "quorvel --help" : "quorvel " + where.get_name() + " --help";
    const std::vector<std::string> rest = where.remaining();
    if (rest.empty()) {
        return {};
    }
    if (ofProgram && !isOption(rest.front())) {
        return rest.front() + ": unknown command; " + hint(rest.front(), commandNames(program), help);
    }
    const auto option = std::find_if(rest.begin(), rest.end(), isOption);
    if (option != rest.end()) {
        const std::string name = option->substr(0, option->find('='));
        return name + ": unknown option; " + hint(name, optionNames(where), help);
    }
    return rest.front() + ": unexpected argument; see " + help;
}

void defineCompletely(CLI::App& program) {
    const std::vector<std::string> none;
    defineProgram(program, none);
    for (const std::string& name : commandNames(program)) {
        try {
            program.parse(std::vector<std::string>{"--help", name});
        } catch (const CLI::Success&) {  // stops before the command would run
            continue;
        }
    }
}

}  // namespace quorvel::cli
