// SPDX-License-Identifier: MIT
// The program `quorvel`: parses the command line, runs a command, and turns whatever goes wrong into one line and an
// exit status.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/staged_names.h"
#include "cli/standard_streams.h"

namespace quorvel::cli {

namespace {

constexpr char kOverview[] =
    "Examples:\n"
    "  quorvel render photo.jpg -o mosaic.png\n"
    "  quorvel render --help\n"
    "  quorvel panel -o panel.png\n"
    "  quorvel params\n"
    "  quorvel inspect --json\n"
    "\n"
    "Results go to the standard output, messages to the error output.\n"
    "Exit status: 0 done, 1 failed, 2 the command line is wrong.";

int fail(ExitStatus status, const std::string& message) {
    std::cerr << "quorvel: " << message << '\n';
    return status;
}

/// What the parser could not place, in the user's words; empty when that is not what went wrong.
std::string unexpectedArgument(const CLI::App& program) {
    const auto commands = program.get_subcommands();
    const CLI::App& where = commands.empty() ? program : *commands.front();
    const std::string help = commands.empty() ? "quorvel --help" : "quorvel " + where.get_name() + " --help";
    const std::vector<std::string> rest = where.remaining();
    for (const std::string& argument : rest) {
        if (argument.size() > 1 && argument[0] == '-') {
            return argument + ": unknown option; accepted is what " + help + " lists";
        }
    }
    if (rest.empty()) {
        return {};
    }
    return rest.front() + (commands.empty() ? ": unknown command" : ": one argument too many") + "; accepted is what " +
           help + " lists";
}

int parseAndRun(CLI::App& program, std::vector<std::string> arguments) {
    try {
        std::reverse(arguments.begin(), arguments.end());  // the order in which CLI11 takes them
        program.parse(std::move(arguments));
        return kExitSuccess;
    } catch (const CLI::Success& wanted) {  // help or version
        return program.exit(wanted);
    } catch (const CLI::ArgumentMismatch& error) {
        // The parser's own words speak of types; they begin with the option's name.
        const std::string words = error.what();
        return fail(kExitUsage, words.substr(0, words.find(':')) + ": takes one value, which is missing");
    } catch (const CLI::ParseError& error) {
        const std::string unexpected = unexpectedArgument(program);
        return fail(kExitUsage, unexpected.empty() ? error.what() : unexpected);
    }
}

int run(const std::vector<std::string>& arguments) {
    CLI::App program("Quorvel, an adaptive mosaic effect: renders pictures through the effect's module.", "quorvel");
    program.allow_windows_style_options(false);  // what starts with a slash is a file everywhere
    program.option_defaults()->take_last();
    program.set_version_flag("--version", "quorvel " QUORVEL_VERSION, "Print the program's version");
    program.require_subcommand(1);
    program.get_formatter()->column_width(34);
    program.footer(kOverview);
#if defined(QUORVEL_PICTURES)
    addRenderCommand(program, arguments);
    addPanelCommand(program, arguments);
#endif
    addParamsCommand(program);
    addInspectCommand(program);
    addAboutCommand(program);
    if (arguments.empty()) {
        return fail(kExitUsage, "a command is missing; accepted is what quorvel --help lists");
    }
    const int status = parseAndRun(program, arguments);
    if (status == kExitSuccess && !std::cout.flush()) {
        return fail(kExitFailure, "standard output: cannot be written");
    }
    return status;
}

}  // namespace
}  // namespace quorvel::cli

int main(int argumentCount, char** arguments) {
    using namespace quorvel::cli;
    openMissingStandardStreams();
#if defined(QUORVEL_PICTURES)
    removeStagedFilesOnSignals();
#endif
    try {
        return run({arguments + 1, arguments + argumentCount});
    } catch (const UsageError& error) {
        return fail(kExitUsage, error.what());
    } catch (const std::bad_alloc&) {
        return fail(kExitFailure, "not enough memory");
    } catch (const std::exception& error) {
        return fail(kExitFailure, error.what());
    }
}
