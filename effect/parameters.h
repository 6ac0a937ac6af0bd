// SPDX-License-Identifier: MIT
// The effect's parameters, stated once. Every plug-in declares them from this table; programs and documentation take
// their names, ranges and help texts from it.
#pragma once

#include <span>
#include <string_view>

#include "effect/settings.h"

namespace quorvel {

/// Stable numbers, saved in projects; never renumbered. 7 and 11 belong to the banner and the curve graph, which only
/// some hosts show and which have no value.
enum class ParameterId : int {
    Channels = 1,
    MosaicIntensity = 2,
    GridWidth = 3,
    GridHeight = 4,
    MaxIterations = 5,
    IntensitySource = 6,
    Curve = 8,
    CurvePhase = 9,
    CurveSmoothness = 10,
    CurvePhaseSplit = 12,
};

enum class ParameterKind {
    Choice,  ///< one of `choices`; values are numbers from 0
    Layer,   ///< another picture, or none
    Slider,  ///< a number between two limits
    Count,   ///< a whole number between two limits; of a number in between, the whole part counts
    Angle,   ///< degrees, any number of turns
};

enum class ParameterUnit {
    None,
    Fraction,      ///< 0 to 1, which hosts show as per cent
    Cells,         ///< of the grid
    Levels,        ///< of the quadtree
    Degrees,       ///< clockwise
    GraphSamples,  ///< of the curve graph, which is 96 samples wide
};

/// One parameter. Texts have static storage.
struct Parameter {
    ParameterId id;
    const char* key;   ///< kebab case, for options and files
    const char* name;  ///< as hosts show it
    ParameterKind kind;
    double minimum;  ///< of sliders and counts
    double maximum;
    double defaultValue;  ///< a choice's number from 0
    ParameterUnit unit;
    const char* choices;  ///< texts of a choice, separated by "|"; empty for all other kinds
    const char* help;     ///< one sentence
};

/// All parameters, in the order in which hosts show them.
std::span<const Parameter> parameters();

/// The parameter of that id, which every ParameterId has.
const Parameter& parameter(ParameterId id);

/// The parameter with that key; null when there is none.
const Parameter* findParameter(std::string_view key);

/// How many texts `choices` holds; 0 for parameters that are no choice.
int choiceCount(const Parameter& parameter);

/// Every parameter at its default.
Settings defaultSettings();

}  // namespace quorvel
