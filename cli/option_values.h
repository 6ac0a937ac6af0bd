// SPDX-License-Identifier: MIT
// The parser's validators, with this program's wording of what they refuse: "--depth 10: expected 8, 16 or 32".
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

#include "cli/exit_status.h"
#include "cli/text.h"

namespace quorvel::cli {

/// The option takes what `validator` passes; it may change the text. Anything else is a UsageError.
CLI::Option* expectValue(CLI::Option* option, const CLI::Validator& validator, const std::string& expected);

/// The option takes a whole number.
CLI::Option* expectWholeNumber(CLI::Option* option, int minimum, int maximum);

/// The option takes a file's name, which is not empty.
CLI::Option* expectFile(CLI::Option* option);

/// Names the values that shell completion offers for the option. Checks nothing.
void offerChoices(CLI::Option* option, const std::vector<std::string>& choices);
/// What offerChoices named; empty for an option with other values.
std::vector<std::string> choicesOf(CLI::Option& option);

/// The option takes one of these names, in any case, and stores the value that belongs to it.
template <typename Value>
CLI::Option* expectChoice(CLI::Option* option, const std::vector<std::pair<std::string, Value>>& choices) {
    std::vector<std::string> names;
    for (const auto& [name, value] : choices) {
        names.push_back(name);
    }
    // Not CLI::CheckedTransformer, which takes the stored values' numbers as well.
    const CLI::Validator chosen(
        [named = CLI::IsMember(names, CLI::ignore_case), stored = CLI::Transformer(choices)](std::string& text) {
            const std::string refusal = named(text);
            return refusal.empty() ? stored(text) : refusal;
        },
        "");
    expectValue(option, chosen, listText(names));
    offerChoices(option, names);
    return option;
}

/// Each option with a value refuses one that is itself an option of the command: its own value is missing.
void refuseOptionsAsValues(CLI::App& command);

}  // namespace quorvel::cli
