// SPDX-License-Identifier: MIT
#include "settings/parameter_words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "settings/words.h"

namespace quorvel::settings {
namespace {

constexpr double kLowestAngle = -32768;
constexpr double kHighestAngle = 32768 - 1.0 / 65536;

}  // namespace

bool isNumber(const Parameter& parameter) {
    return parameter.kind != ParameterKind::Choice && parameter.kind != ParameterKind::Layer;
}

std::pair<double, double> rangeOf(const Parameter& parameter) {
    switch (parameter.kind) {
        case ParameterKind::Choice:
            return {0, choiceCount(parameter) - 1};
        case ParameterKind::Angle:
            return {kLowestAngle, kHighestAngle};
        default:
            return {parameter.minimum, parameter.maximum};
    }
}

std::vector<std::string> choiceNames(const Parameter& parameter) {
    std::vector<std::string> names;
    std::string_view rest = parameter.choices;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('|'), rest.size());
        names.push_back(kebabCase(rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return names;
}

std::string expectedText(const Parameter& parameter) {
    const auto [lowest, highest] = rangeOf(parameter);
    const auto range = [](double low, double high) { return exactText(low) + " to " + exactText(high); };
    switch (parameter.kind) {
        case ParameterKind::Choice:
            return listText(choiceNames(parameter));
        case ParameterKind::Layer:
            return "a picture's file name";
        case ParameterKind::Count:
            return "a whole number, " + range(lowest, highest);
        case ParameterKind::Angle:
            return "degrees, " + range(lowest, std::floor(highest));
        case ParameterKind::Slider:
            return range(lowest, highest);
    }
    return {};
}

std::string exactText(double number) {
    std::array<char, 32> text{};
    // A zero has no sign that anybody would want to read.
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number == 0 ? 0.0 : number);
    return {text.data(), result.ptr};
}

}  // namespace quorvel::settings
