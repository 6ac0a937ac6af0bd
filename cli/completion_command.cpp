// SPDX-License-Identifier: MIT
// quorvel completion: scripts with which a shell completes commands, options and values.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/help_text.h"
#include "cli/option_values.h"

namespace quorvel::cli {
namespace {

constexpr char kCompletionExamples[] =
    "Examples:\n"
    "  eval \"$(quorvel completion bash)\"\n"
    "  quorvel completion zsh > ~/.zfunc/_quorvel\n"
    "\n"
    "Exit status: 0 done, 1 failed, 2 wrong command line.";

enum class Shell { Bash, Zsh };

bool isListed(const CLI::App* command) {
    return !command->get_group().empty();
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    return CLI::detail::split(option.get_name(false, true), ',');
}

std::string joined(const std::vector<std::string>& words, const std::string& separator) {
    return CLI::detail::join(words, separator);
}

/// The options of the program or of a command, without positionals.
std::vector<CLI::Option*> optionsOf(CLI::App& app) {
    return app.get_options([](CLI::Option* option) { return option->nonpositional(); });
}

/// One case for each option that takes a value: its choices, a file, or nothing to offer.
std::string bashValues(CLI::App& command) {
    std::string cases;
    for (CLI::Option* option : optionsOf(command)) {
        if (valueName(*option).empty()) {
            continue;
        }
        const std::vector<std::string> choices = choicesOf(*option);
        const std::string offer = !choices.empty()               ? "words='" + joined(choices, " ") + "'"
                                  : valueName(*option) == "FILE" ? "files=1"
                                                                 : ":";
        for (const std::string& name : namesOf(*option)) {
            cases += fmt::format("        '{} {}') {} ;;\n", command.get_name(), name, offer);
        }
    }
    return cases;
}

std::string bashWords(CLI::App& app) {
    std::vector<std::string> words;
    for (const CLI::Option* option : optionsOf(app)) {
        for (const std::string& name : namesOf(*option)) {
            words.push_back(name);
        }
    }
    return joined(words, " ");
}

std::string bashScript(CLI::App& program) {
    std::string commands;
    std::string values;
    std::string options;
    for (CLI::App* command : program.get_subcommands(isListed)) {
        commands += command->get_name() + " ";
        values += bashValues(*command);
        std::string files;
        std::string choices;
        for (CLI::Option* option : command->get_options()) {
            if (!option->nonpositional()) {
                files = valueName(*option) == "FILE" ? "; files=1" : "";
                choices = joined(choicesOf(*option), " ");
            }
        }
        options += fmt::format("            {}) words='{}'{} ;;\n", command->get_name(),
                               bashWords(*command) + (choices.empty() ? "" : " " + choices), files);
    }
    return fmt::format(R"(# Completes the arguments of quorvel in bash.
_quorvel() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} words='' files='' command=''
    (( COMP_CWORD > 1 )) && command=${{COMP_WORDS[1]}}
    case "$command ${{COMP_WORDS[COMP_CWORD - 1]}}" in
{values}        *) case $command in
{options}            '') words='{commands}{program}' ;;
        esac ;;
    esac
    COMPREPLY=()
    [[ -z $words ]] || mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    if [[ -n $files && $current != -* ]]; then
        local found
        mapfile -t found < <(compgen -f -- "$current")
        COMPREPLY+=("${{found[@]}}")
        compopt -o filenames 2> /dev/null
    fi
}}
complete -F _quorvel quorvel
)",
                       fmt::arg("values", values), fmt::arg("options", options), fmt::arg("commands", commands),
                       fmt::arg("program", bashWords(program)));
}

/// Text inside single quotes and an option's brackets.
std::string zshText(const std::string& text) {
    std::string result;
    for (const char letter : text) {
        if (letter == '\'') {
            result += "'\\''";
        } else {
            result += std::string(letter == '[' || letter == ']' || letter == ':' ? "\\" : "") + letter;
        }
    }
    return result;
}

/// ":what it is:how to complete it" for a value; empty for a flag.
std::string zshValue(CLI::Option& option, const std::string& name) {
    if (name.empty()) {
        return {};
    }
    const std::vector<std::string> choices = choicesOf(option);
    const std::string action = !choices.empty() ? "(" + joined(choices, " ") + ")" : name == "FILE" ? "_files" : " ";
    return ":" + zshText(name) + ":" + action;
}

std::string zshArguments(CLI::App& app) {
    std::string lines;
    for (CLI::Option* option : app.get_options()) {
        const std::string value = zshValue(*option, valueName(*option));
        if (!option->nonpositional()) {
            lines += " \\\n                '" + value + "'";
            continue;
        }
        for (const std::string& name : namesOf(*option)) {
            // A value may follow in the same word: --depth=8, -oFILE.
            const std::string sameWord = value.empty() ? "" : name.starts_with("--") ? "=" : "+";
            lines += fmt::format(" \\\n                '({}){}[{}]{}'", joined(namesOf(*option), " "), name + sameWord,
                                 zshText(option->get_description()), value);
        }
    }
    return lines;
}

std::string zshScript(CLI::App& program) {
    std::string commands;
    std::string cases;
    for (CLI::App* command : program.get_subcommands(isListed)) {
        commands += fmt::format("        '{}:{}'\n", command->get_name(), zshText(command->get_description()));
        cases += fmt::format("        {})\n            _arguments{} ;;\n", command->get_name(), zshArguments(*command));
    }
    return fmt::format(R"(#compdef quorvel
# Completes the arguments of quorvel in zsh.
_quorvel() {{
    local -a commands=(
{commands}    )
    if (( CURRENT == 2 )); then
        _describe command commands
        _arguments{program}
        return
    fi
    local command=$words[2]
    shift words
    (( CURRENT-- ))
    case $command in
{cases}    esac
}}
if [[ $funcstack[1] == _quorvel ]]; then
    _quorvel "$@"
else
    compdef _quorvel quorvel
fi
)",
                       fmt::arg("commands", commands), fmt::arg("program", zshArguments(program)),
                       fmt::arg("cases", cases));
}

}  // namespace

void addCompletionCommand(CLI::App& program) {
    const auto shell = std::make_shared<Shell>();
    CLI::App* command = program.add_subcommand("completion", "Print a completion script for bash or zsh");
    expectChoice(command->add_option("SHELL", *shell, "bash or zsh"),
                 std::vector<std::pair<std::string, Shell>>{{"bash", Shell::Bash}, {"zsh", Shell::Zsh}})
        ->type_name("SHELL")
        ->required();
    command->footer(kCompletionExamples);
    command->callback([shell] {
        CLI::App complete;
        defineCompletely(complete);
        std::cout << (*shell == Shell::Bash ? bashScript(complete) : zshScript(complete));
    });
}

}  // namespace quorvel::cli
