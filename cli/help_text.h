// SPDX-License-Identifier: MIT
// The help that the parser prints: two columns, no line over 80.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace quorvel::cli {

class HelpText : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* app, std::string name) const override;
    std::string make_option(const CLI::Option* option, bool isPositional) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
};

/// The names of an option, "-o,--output", or of a positional, "INPUT".
std::string optionNamesText(const CLI::Option& option);

/// What stands for an option's value in its help, "FILE"; empty for a flag.
std::string valueName(const CLI::Option& option);

/// What has to be given after a command's name: "INPUT -o FILE".
std::string requiredArguments(const CLI::App& app);

}  // namespace quorvel::cli
