// SPDX-License-Identifier: MIT
#include "cli/parameter_text.h"

#include <algorithm>
#include <cmath>

#include "cli/text.h"

namespace quorvel::cli {
namespace {

constexpr double kFixedOne = 65536.0;
/// What 16.16 fixed point can hold.
constexpr NumberRange kFixedRange{-32768.0, 32768.0 - 1.0 / kFixedOne};

double fromFixed(PF_Fixed value) {
    return value / kFixedOne;
}

ParameterValue::Form numberForm(const host::Parameter& parameter) {
    return parameter.def.param_type == PF_Param_FLOAT_SLIDER ? ParameterValue::Form::Float
                                                             : ParameterValue::Form::Fixed;
}

}  // namespace

PF_Fixed toFixed(double number) {
    return static_cast<PF_Fixed>(std::lround(number * kFixedOne));
}

ParameterKind kindOf(const host::Parameter& parameter) {
    if (parameter.customUI) {
        return ParameterKind::Control;
    }
    switch (parameter.def.param_type) {
        case PF_Param_LAYER:
            return ParameterKind::Layer;
        case PF_Param_FIX_SLIDER:
        case PF_Param_FLOAT_SLIDER:
            return ParameterKind::Slider;
        case PF_Param_ANGLE:
            return ParameterKind::Angle;
        case PF_Param_POPUP:
            return ParameterKind::Choice;
        case PF_Param_NO_DATA:
        case PF_Param_ARBITRARY_DATA:
            return ParameterKind::Control;
        default:
            return ParameterKind::Other;
    }
}

std::string kindName(ParameterKind kind) {
    switch (kind) {
        case ParameterKind::Layer:
            return "layer";
        case ParameterKind::Slider:
            return "slider";
        case ParameterKind::Angle:
            return "angle";
        case ParameterKind::Choice:
            return "choice";
        case ParameterKind::Control:
            return "control";
        case ParameterKind::Other:
            break;
    }
    return "other";
}

const quorvel::Parameter* effectParameter(const host::Parameter& parameter) {
    const auto all = quorvel::parameters();
    const auto found = std::find_if(all.begin(), all.end(), [&](const quorvel::Parameter& one) {
        return static_cast<A_long>(one.id) == parameter.id() && one.name == parameter.name();
    });
    return found != all.end() ? &*found : nullptr;
}

std::vector<std::string> optionNames(const host::Parameter& parameter) {
    const ParameterKind kind = kindOf(parameter);
    if (parameter.index == 0 || kind == ParameterKind::Control || kind == ParameterKind::Other) {
        return {};
    }
    const std::string name = parameter.name();
    const std::string own = kebabCase(name.substr(0, name.find('(')));
    const quorvel::Parameter* described = effectParameter(parameter);
    if (described != nullptr && described->key != own) {
        return {described->key, own};
    }
    return own.empty() ? std::vector<std::string>{} : std::vector<std::string>{own};
}

std::optional<NumberRange> rangeOf(const host::Parameter& parameter) {
    switch (parameter.def.param_type) {
        case PF_Param_FIX_SLIDER:
            return NumberRange{fromFixed(parameter.def.u.fd.valid_min), fromFixed(parameter.def.u.fd.valid_max)};
        case PF_Param_FLOAT_SLIDER:
            return NumberRange{parameter.def.u.fs_d.valid_min, parameter.def.u.fs_d.valid_max};
        default:
            return std::nullopt;
    }
}

bool takesWholeNumbers(const host::Parameter& parameter) {
    switch (parameter.def.param_type) {
        case PF_Param_FIX_SLIDER:
            return parameter.def.u.fd.precision == 0;
        case PF_Param_FLOAT_SLIDER:
            return parameter.def.u.fs_d.precision == 0;
        default:
            return false;
    }
}

std::vector<std::string> choiceNames(const host::Parameter& parameter) {
    std::vector<std::string> names;
    for (const std::string& choice : parameter.choices) {
        names.push_back(kebabCase(choice));
    }
    return names;
}

std::string expectedText(const host::Parameter& parameter) {
    switch (kindOf(parameter)) {
        case ParameterKind::Slider: {
            const NumberRange range = *rangeOf(parameter);
            return numberText(range.minimum) + " to " + numberText(range.maximum);
        }
        case ParameterKind::Angle:
            return "degrees, " + numberText(kFixedRange.minimum) + " to " + numberText(std::floor(kFixedRange.maximum));
        case ParameterKind::Choice:
            return listText(choiceNames(parameter));
        case ParameterKind::Layer:
            return "a picture file";
        case ParameterKind::Control:
        case ParameterKind::Other:
            break;
    }
    return {};
}

std::string defaultText(const host::Parameter& parameter) {
    const PF_ParamDefUnion& value = parameter.def.u;
    switch (parameter.def.param_type) {
        case PF_Param_FIX_SLIDER:
            return numberText(fromFixed(value.fd.dephault));
        case PF_Param_FLOAT_SLIDER:
            return numberText(value.fs_d.dephault);
        case PF_Param_ANGLE:
            return numberText(fromFixed(value.ad.dephault));
        case PF_Param_POPUP: {
            const auto number = static_cast<std::size_t>(value.pd.dephault);
            return number >= 1 && number <= parameter.choices.size() ? kebabCase(parameter.choices[number - 1])
                                                                     : std::string{};
        }
        case PF_Param_LAYER:
            return parameter.index != 0 && value.ld.dephault == PF_LayerDefault_NONE ? "none" : std::string{};
        default:
            return {};
    }
}

std::optional<ParameterValue> parseValue(const host::Parameter& parameter, const std::string& text) {
    using Form = ParameterValue::Form;
    const ParameterKind kind = kindOf(parameter);
    if (kind == ParameterKind::Choice) {
        const std::string wanted = kebabCase(text);
        for (std::size_t i = 0; i < parameter.choices.size() && !wanted.empty(); ++i) {
            if (kebabCase(parameter.choices[i]) == wanted) {
                return ParameterValue{Form::Popup, static_cast<double>(i + 1)};
            }
        }
        return std::nullopt;
    }
    if (kind != ParameterKind::Slider && kind != ParameterKind::Angle) {
        return std::nullopt;
    }
    const auto number = parseNumber(text);
    const NumberRange range = rangeOf(parameter).value_or(kFixedRange);
    if (!number || *number < range.minimum || *number > range.maximum) {
        return std::nullopt;
    }
    return ParameterValue{numberForm(parameter), *number};
}

ParameterValue valueFrom(const host::Parameter& parameter, double number) {
    return kindOf(parameter) == ParameterKind::Choice ? ParameterValue{ParameterValue::Form::Popup, number + 1}
                                                      : ParameterValue{numberForm(parameter), number};
}

void store(const ParameterValue& value, A_long id, host::ParameterValues& values) {
    switch (value.form) {
        case ParameterValue::Form::Popup:
            values.setPopup(id, static_cast<A_long>(value.number));
            break;
        case ParameterValue::Form::Fixed:
            values.setFixed(id, toFixed(value.number));
            break;
        case ParameterValue::Form::Float:
            values.setFloat(id, value.number);
            break;
    }
}

}  // namespace quorvel::cli
