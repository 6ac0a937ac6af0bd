// SPDX-License-Identifier: MIT
// Parameters in words and numbers: what their values may be, and what choices are called in files.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "effect/parameters.h"

namespace quorvel::settings {

/// Whether the value is a number that can lie between others: no choice and no layer.
bool isNumber(const Parameter& parameter);

/// The lowest and the highest value. Angles have the range of 16.16 fixed point; choices are numbers from 0.
std::pair<double, double> rangeOf(const Parameter& parameter);

/// "luminosity", "rgb", ...; empty for parameters that are no choice.
std::vector<std::string> choiceNames(const Parameter& parameter);

/// What a parameter's value may be, in words: "0 to 1", "a whole number, 1 to 32", "luminosity, rgb, ... or alpha".
std::string expectedText(const Parameter& parameter);

/// The shortest text that reads as exactly this number: "16", "0.25".
std::string exactText(double number);

}  // namespace quorvel::settings
