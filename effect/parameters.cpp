// SPDX-License-Identifier: MIT
#include "effect/parameters.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace quorvel {

namespace {

constexpr char kChannelChoices[] = "Luminosity|RGB|Blue|Green|Red|Alpha";
constexpr char kCurveChoices[] = "Linear Ramp Up|Linear Ramp Down|Triangle Wave|Sine Wave|Exp Up|Exp Down";

constexpr Parameter kParameters[] = {
    {ParameterId::Channels, "channels", "Channels", ParameterKind::Choice, 0, 0, kLuminosity, ParameterUnit::None,
     kChannelChoices, "Which channels become a mosaic: the colours together, each colour alone, or alpha."},
    {ParameterId::IntensitySource, "intensity-source", "Intensity Source", ParameterKind::Layer, 0, 0, 0,
     ParameterUnit::None, "", "Another picture whose contrast decides where blocks split."},
    {ParameterId::MosaicIntensity, "mosaic-intensity", "Mosaic Intensity", ParameterKind::Slider, 0, 1, 0.25,
     ParameterUnit::Fraction, "", "The threshold: blocks whose intensity is higher split."},
    {ParameterId::GridWidth, "grid-width", "Grid Width", ParameterKind::Count, 1, 32, 16, ParameterUnit::Cells, "",
     "The number of cells across the frame."},
    {ParameterId::GridHeight, "grid-height", "Grid Height", ParameterKind::Count, 1, 32, 9, ParameterUnit::Cells, "",
     "The number of cells down the frame."},
    {ParameterId::MaxIterations, "max-iterations", "Maximum Iterations", ParameterKind::Count, 1, 32, 32,
     ParameterUnit::Levels, "", "How many times a cell may split; the deepest blocks keep the picture."},
    {ParameterId::Curve, "curve", "Curve", ParameterKind::Choice, 0, 0, kLinearRampUp, ParameterUnit::None,
     kCurveChoices, "How a block's contrast becomes its intensity."},
    {ParameterId::CurvePhase, "curve-phase", "Curve Phase", ParameterKind::Angle, 0, 0, 0, ParameterUnit::Degrees, "",
     "Moves the curve towards higher contrast; a full turn brings it back."},
    {ParameterId::CurveSmoothness, "curve-smoothness", "Curve Smoothness", ParameterKind::Slider, 0, 16, 0,
     ParameterUnit::GraphSamples, "", "Rounds off the curve's corners and steep edges."},
    {ParameterId::CurvePhaseSplit, "curve-phase-split", "Curve Phase Split (RGB)", ParameterKind::Angle, 0, 0, 0,
     ParameterUnit::Degrees, "", "Moves red's curve one way and blue's the other."},
};

constexpr const Parameter& find(ParameterId id) {
    return *std::find_if(std::begin(kParameters), std::end(kParameters),
                         [id](const Parameter& p) { return p.id == id; });
}

std::int32_t wholeDefault(ParameterId id) {
    return static_cast<std::int32_t>(find(id).defaultValue);
}

}  // namespace

std::span<const Parameter> parameters() {
    return kParameters;
}

const Parameter& parameter(ParameterId id) {
    return find(id);
}

const Parameter* findParameter(std::string_view key) {
    const auto* found = std::find_if(std::begin(kParameters), std::end(kParameters),
                                     [key](const Parameter& p) { return key == p.key; });
    return found != std::end(kParameters) ? found : nullptr;
}

int choiceCount(const Parameter& parameter) {
    const std::string_view texts = parameter.choices;
    return texts.empty() ? 0 : static_cast<int>(std::count(texts.begin(), texts.end(), '|')) + 1;
}

Settings defaultSettings() {
    Settings settings{};
    settings.channels = wholeDefault(ParameterId::Channels);
    settings.mosaicIntensity = find(ParameterId::MosaicIntensity).defaultValue;
    settings.gridWidth = wholeDefault(ParameterId::GridWidth);
    settings.gridHeight = wholeDefault(ParameterId::GridHeight);
    settings.maxIterations = wholeDefault(ParameterId::MaxIterations);
    settings.curveType = wholeDefault(ParameterId::Curve);
    settings.curvePhase = wholeDefault(ParameterId::CurvePhase) * 65536;
    settings.curveSmoothness = find(ParameterId::CurveSmoothness).defaultValue;
    settings.curvePhaseSplit = wholeDefault(ParameterId::CurvePhaseSplit) * 65536;
    return settings;
}

}  // namespace quorvel
