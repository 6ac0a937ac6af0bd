// SPDX-License-Identifier: MIT
// quorvel manual: the manual page, made from the help, for the build to install.
#include <CLI/CLI.hpp>
#include <iostream>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/help_text.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

/// Text for roff: nothing in it is a request, and hyphens stay what they are.
std::string roff(const std::string& text) {
    std::string result;
    bool lineStart = true;
    for (const char letter : text) {
        if (lineStart && (letter == '.' || letter == '\'')) {
            result += "\\&";
        }
        lineStart = letter == '\n';
        if (letter == '\\') {
            result += "\\e";
        } else if (letter == '-') {
            result += "\\-";
        } else {
            result += letter;
        }
    }
    return result;
}

std::string optionsText(const CLI::App& app) {
    std::string text;
    for (const CLI::Option* option : app.get_options()) {
        const std::string value = option->nonpositional() ? valueName(*option) : "";
        text += fmt::format(".TP\n.B {}{}\n{}\n", roff(optionNamesText(*option)),
                            value.empty() ? "" : " \\fI" + roff(value) + "\\fR", roff(option->get_description()));
    }
    return text;
}

/// Examples and remarks, as they are laid out in the help.
std::string verbatim(const std::string& text) {
    return ".PP\n.nf\n" + roff(wrapped(text, 80)) + "\n.fi\n";
}

std::string manual(const CLI::App& program) {
    std::string text = fmt::format(
        ".TH QUORVEL 1 \"\" \"quorvel {}\" \"User Commands\"\n"
        ".SH NAME\nquorvel \\- adaptive mosaic effect for pictures\n"
        ".SH SYNOPSIS\n.B quorvel\n.I COMMAND\n[\\fIOPTIONS\\fR]\n.br\n"
        ".SH DESCRIPTION\n{}\n.SH OPTIONS\n{}.SH COMMANDS\n",
        QUORVEL_VERSION, roff(program.get_description()), optionsText(program));
    for (const CLI::App* command : program.get_subcommands({})) {
        if (command->get_group().empty()) {
            continue;
        }
        const std::string required = requiredArguments(*command);
        text += fmt::format(".SS quorvel {} [OPTIONS]{}\n{}.\n{}{}", command->get_name(),
                            required.empty() ? "" : " " + roff(required), roff(command->get_description()),
                            optionsText(*command), verbatim(command->get_footer()));
    }
    return text + ".SH EXAMPLES\n" + verbatim(program.get_footer());
}

}  // namespace

void addManualCommand(CLI::App& program) {
    CLI::App* command = program.add_subcommand("manual", "Print the manual page in roff");
    command->group("");
    command->callback([] {
        CLI::App complete;
        defineCompletely(complete);
        std::cout << manual(complete);
    });
}

}  // namespace quorvel::cli
