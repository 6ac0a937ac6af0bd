// SPDX-License-Identifier: MIT
#include "cli/parameter_options.h"

#include <CLI/CLI.hpp>
#include <cmath>

#include "cli/exit_status.h"
#include "cli/option_values.h"
#include "cli/parameter_text.h"

namespace quorvel::cli {
namespace {

std::string typeName(ParameterKind kind) {
    switch (kind) {
        case ParameterKind::Layer:
            return "FILE";
        case ParameterKind::Angle:
            return "DEGREES";
        case ParameterKind::Choice:
            return "CHOICE";
        default:
            return "NUMBER";
    }
}

std::string helpOf(const host::Parameter& parameter) {
    const std::string defaultValue = defaultText(parameter);
    const quorvel::Parameter* described = effectParameter(parameter);
    return expectedText(parameter) + (defaultValue.empty() ? "" : " (default " + defaultValue + ")") +
           (described != nullptr ? std::string(". ") + described->help : std::string());
}

}  // namespace

void ParameterOptions::addTo(CLI::App& command, const std::vector<host::Parameter>& declared) {
    declared_ = &declared;
    for (const host::Parameter& parameter : declared) {
        const std::vector<std::string> names = optionNames(parameter);
        if (names.empty()) {
            continue;
        }
        std::string spelled;
        for (const std::string& name : names) {
            spelled += (spelled.empty() ? "--" : ",--") + name;
        }
        Given& given = options_.emplace_back(Given{&parameter, "--" + names.front(), {}, nullptr});
        given.option = command.add_option(spelled, given.text, helpOf(parameter))
                           ->type_name(typeName(kindOf(parameter)))
                           ->group("Parameters");
        if (kindOf(parameter) == ParameterKind::Layer) {
            expectFile(given.option);
        } else if (kindOf(parameter) == ParameterKind::Choice) {
            offerChoices(given.option, choiceNames(parameter));
        }
    }
}

host::ParameterValues ParameterOptions::values() const {
    host::ParameterValues values(*declared_);
    for (const Given& given : options_) {
        if (given.option->count() == 0 || kindOf(*given.parameter) == ParameterKind::Layer) {
            continue;
        }
        const auto value = parseValue(*given.parameter, given.text);
        if (!value) {
            throw badValue(given.optionName, given.text, expectedText(*given.parameter));
        }
        if (takesWholeNumbers(*given.parameter) && value->number != std::trunc(value->number)) {
            throw badValue(given.optionName, given.text, "a whole number, " + expectedText(*given.parameter));
        }
        const A_long id = given.parameter->id();
        switch (value->form) {
            case ParameterValue::Form::Popup:
                values.setPopup(id, static_cast<A_long>(value->number));
                break;
            case ParameterValue::Form::Fixed:
                values.setFixed(id, toFixed(value->number));
                break;
            case ParameterValue::Form::Float:
                values.setFloat(id, value->number);
                break;
        }
    }
    return values;
}

std::vector<ParameterOptions::LayerFile> ParameterOptions::layerFiles() const {
    std::vector<LayerFile> files;
    for (const Given& given : options_) {
        if (given.option->count() != 0 && kindOf(*given.parameter) == ParameterKind::Layer) {
            files.push_back({given.parameter->id(), given.text});
        }
    }
    return files;
}

}  // namespace quorvel::cli
