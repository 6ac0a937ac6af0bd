// SPDX-License-Identifier: MIT
#include "cli/parameter_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <variant>

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
    settings_.addTo(command)->group("Parameters");
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

bool ParameterOptions::isGiven(ParameterId id) const {
    return std::any_of(options_.begin(), options_.end(), [id](const Given& given) {
        const quorvel::Parameter* described = effectParameter(*given.parameter);
        return described != nullptr && described->id == id && given.option->count() != 0;
    });
}

std::optional<ParameterValue> ParameterOptions::valueOf(const Given& given) const {
    if (given.option->count() == 0 || kindOf(*given.parameter) == ParameterKind::Layer) {
        return std::nullopt;
    }
    const auto value = parseValue(*given.parameter, given.text);
    if (!value) {
        throw badValue(given.optionName, given.text, expectedText(*given.parameter));
    }
    if (takesWholeNumbers(*given.parameter) && value->number != std::trunc(value->number)) {
        throw badValue(given.optionName, given.text, "a whole number, " + expectedText(*given.parameter));
    }
    return value;
}

host::ParameterValues ParameterOptions::values(const settings::Moment& moment) const {
    host::ParameterValues values(*declared_);
    apply(settings_.values(), moment, values);
    for (const Given& given : options_) {
        if (const auto value = valueOf(given)) {
            store(*value, given.parameter->id(), values);
        }
    }
    return values;
}

settings::SettingsFile ParameterOptions::moving() const {
    settings::SettingsFile moving;
    for (const auto& [id, value] : settings_.values().values) {
        if (std::holds_alternative<settings::Keyframes>(value) && !isGiven(id)) {
            moving.values.emplace(id, value);
        }
    }
    return moving;
}

void ParameterOptions::apply(const settings::SettingsFile& settings, const settings::Moment& moment,
                             host::ParameterValues& values) const {
    for (const auto& [id, value] : settings.values) {
        const quorvel::Parameter& wanted = quorvel::parameter(id);
        const auto declared = std::find_if(declared_->begin(), declared_->end(), [&](const host::Parameter& parameter) {
            return effectParameter(parameter) == &wanted;
        });
        if (declared == declared_->end()) {
            throw Failure("{}: values.{}: the module has no such parameter", settings_.file().string(), wanted.key);
        }
        if (wanted.kind != quorvel::ParameterKind::Layer) {
            store(valueFrom(*declared, settings.at(id, moment)), declared->id(), values);
        }
    }
}

settings::SettingsFile ParameterOptions::given() const {
    settings::SettingsFile settings;
    for (const Given& given : options_) {
        const quorvel::Parameter* described = effectParameter(*given.parameter);
        const auto value = valueOf(given);
        if (described != nullptr && value) {
            const bool choice = value->form == ParameterValue::Form::Popup;
            settings.values.emplace(described->id, choice ? value->number - 1 : value->number);
        }
    }
    return settings;
}

std::vector<ParameterOptions::LayerFile> ParameterOptions::layerFiles() const {
    std::vector<LayerFile> files;
    for (const Given& given : options_) {
        if (kindOf(*given.parameter) != ParameterKind::Layer) {
            continue;
        }
        const quorvel::Parameter* described = effectParameter(*given.parameter);
        const std::string ofSettings = described != nullptr ? settings_.layerFile(described->id).string() : "";
        const std::string& file = given.option->count() != 0 ? given.text : ofSettings;
        if (!file.empty()) {
            files.push_back({given.parameter->id(), file});
        }
    }
    return files;
}

}  // namespace quorvel::cli
