// SPDX-License-Identifier: MIT
#include "cli/option_values.h"

namespace quorvel::cli {
namespace {

constexpr char kChoices[] = "choices";
constexpr char kBetweenChoices = '|';

}  // namespace

CLI::Option* expectValue(CLI::Option* option, const CLI::Validator& validator, const std::string& expected) {
    return option->transform([option, validator, expected](const std::string& given) {
        std::string value = given;
        if (!validator(value).empty()) {
            throw badValue(option->get_name(), given, expected);
        }
        return value;
    });
}

CLI::Option* expectWholeNumber(CLI::Option* option, int minimum, int maximum) {
    const CLI::Validator inRange(
        [minimum, maximum](std::string& text) {
            const auto number = parseInteger(text);
            if (!number || *number < minimum || *number > maximum) {
                return std::string("out of range");
            }
            text = std::to_string(*number);  // the parser would take 010 for octal
            return std::string();
        },
        "");
    return expectValue(option, inRange, fmt::format("a whole number, {} to {}", minimum, maximum));
}

CLI::Option* expectFile(CLI::Option* option) {
    const CLI::Validator notEmpty([](std::string& text) { return text.empty() ? std::string("empty") : std::string(); },
                                  "");
    return expectValue(option, notEmpty, "a file name")->type_name("FILE");
}

void offerChoices(CLI::Option* option, const std::vector<std::string>& choices) {
    std::string joined;
    for (const std::string& choice : choices) {
        joined += (joined.empty() ? "" : std::string(1, kBetweenChoices)) + choice;
    }
    option->check(CLI::Validator([](std::string&) { return std::string(); }, joined, kChoices));
}

std::vector<std::string> choicesOf(CLI::Option& option) {
    try {
        return CLI::detail::split(option.get_validator(kChoices)->get_description(), kBetweenChoices);
    } catch (const CLI::OptionNotFound&) {
        return {};
    }
}

void refuseOptionsAsValues(CLI::App& command) {
    for (CLI::Option* option : command.get_options()) {
        if (!option->nonpositional() || option->get_items_expected_max() == 0) {
            continue;
        }
        option->transform([option, &command](const std::string& value) {
            if (value.size() > 1 && value[0] == '-' && command.get_option_no_throw(value) != nullptr) {
                throw UsageError("{}: needs a value", option->get_name());
            }
            return value;
        });
    }
}

}  // namespace quorvel::cli
