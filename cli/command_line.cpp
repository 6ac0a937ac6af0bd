// SPDX-License-Identifier: MIT
#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>

#include "cli/build_info.h"
#include "cli/commands.h"
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

constexpr char kProgramHelp[] = "quorvel --help";

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

UsageError unexpected(const std::string& argument, const std::string& help) {
    return {"{}: unexpected argument; see {}", argument, help};
}

UsageError unknownOption(const std::string& argument, const CLI::App& command, const std::string& help) {
    const std::string name = argument.substr(0, argument.find('='));
    return {"{}: unknown option; {}", name, hint(name, optionNames(command), help)};
}

/// An option that does the program's whole work takes neither a command nor arguments.
void expectNothingElse(const CLI::App& program) {
    const std::vector<std::string> rest = program.remaining();
    if (!rest.empty()) {
        throw isOption(rest.front()) ? unknownOption(rest.front(), program, kProgramHelp)
                                     : unexpected(rest.front(), kProgramHelp);
    }
    if (const auto commands = program.get_subcommands(); !commands.empty()) {
        throw unexpected(commands.front()->get_name(), kProgramHelp);
    }
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
        [&program] {
            expectNothingElse(program);
            std::cout << buildInfo();
            throw CLI::Success();
        },
        "Print what a report should name");
    program.require_subcommand(1);
    program.footer(kOverview);
#if defined(QUORVEL_PICTURES)
    addRenderCommand(program, arguments);
    addPanelCommand(program, arguments);
    addSettingsCommand(program, arguments);
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

UsageError refusal(const CLI::App& program, const CLI::ParseError& error) {
    const auto commands = program.get_subcommands();
    // What comes before the command is the program's.
    const bool ofProgram = commands.empty() || !program.remaining().empty();
    const CLI::App& where = ofProgram ? program : *commands.front();
    const std::string help = ofProgram ? kProgramHelp : "quorvel " + where.get_name() + " --help";
    const std::vector<std::string> rest = where.remaining();
    if (rest.empty()) {
        const std::string missing = commands.empty() ? "no command given" : error.what();
        return {"{}; see {}", missing, help};
    }
    if (ofProgram && !isOption(rest.front())) {
        return {"{}: unknown command; {}", rest.front(), hint(rest.front(), commandNames(program), help)};
    }
    const auto option = std::find_if(rest.begin(), rest.end(), isOption);
    return option != rest.end() ? unknownOption(*option, where, help) : unexpected(rest.front(), help);
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
