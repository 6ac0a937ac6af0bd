// SPDX-License-Identifier: MIT
// Declared parameters in words: the option that sets each, its kind, range and default, and the reading of values.
// Everything here comes from the module's own declaration.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "effect/parameters.h"
#include "host/parameter.h"

namespace quorvel::cli {

/// What a parameter is to the person who sets it.
enum class ParameterKind { Layer, Slider, Angle, Choice, Control, Other };

ParameterKind kindOf(const host::Parameter& parameter);
/// "slider", "choice", ...
std::string kindName(ParameterKind kind);

/// The names of the options that set a parameter, the documented one first, without the leading hyphens; empty for
/// one that is not set by a value (custom controls, the input layer). "Grid Width" is "grid-width"; text in parentheses
/// is left out. A parameter of this effect has the effect's own key as well, which comes first.
std::vector<std::string> optionNames(const host::Parameter& parameter);

/// The effect's own description of a parameter that a module declares; null for parameters of other effects.
const quorvel::Parameter* effectParameter(const host::Parameter& parameter);

/// The numbers a parameter may have; nothing when its kind has no declared range.
struct NumberRange {
    double minimum;
    double maximum;
};
std::optional<NumberRange> rangeOf(const host::Parameter& parameter);

/// Whether a parameter is a slider that shows no decimals, so that the panel could not show a fraction.
bool takesWholeNumbers(const host::Parameter& parameter);

/// The values of a choice as they are written on the command line: "linear-ramp-up", ...
std::vector<std::string> choiceNames(const host::Parameter& parameter);

/// What a value may be, in words: "1 to 32", "luminosity, rgb, ... or alpha", "degrees, -32768 to 32767".
std::string expectedText(const host::Parameter& parameter);

/// The default as it would be written on the command line; empty when there is none.
std::string defaultText(const host::Parameter& parameter);

/// The value in the form that the parameter's kind keeps it in: a popup's number, 16.16 fixed point, or a float.
struct ParameterValue {
    enum class Form { Popup, Fixed, Float } form;
    double number;  ///< the popup's number from 1, or the value in the parameter's own unit
};

/// Reads a value of a choice, slider or angle. Choices are taken in kebab case or as declared, ignoring case.
/// Nothing when the text is not a value, or out of the declared range.
std::optional<ParameterValue> parseValue(const host::Parameter& parameter, const std::string& text);

/// A value of a settings file, where choices count from 0, in that form.
ParameterValue valueFrom(const host::Parameter& parameter, double number);

/// Sets the parameter of that id to the value.
void store(const ParameterValue& value, A_long id, host::ParameterValues& values);

/// A number in 16.16 fixed point, rounded; it must be within -32768 to 32768 - 1/65536.
PF_Fixed toFixed(double number);

}  // namespace quorvel::cli
