// SPDX-License-Identifier: MIT
// One frame's values, as plain numbers.
#pragma once

#include <cstdint>

namespace quorvel {

/// The "Channels" choice, from 0.
enum ChannelMode : std::int32_t {
    kLuminosity = 0,
    kRGB = 1,
    kBlue = 2,
    kGreen = 3,
    kRed = 4,
    kAlpha = 5,
};

/// The "Curve" choice, from 0.
enum CurveType : std::int32_t {
    kLinearRampUp = 0,
    kLinearRampDown = 1,
    kTriangleWave = 2,
    kSineWave = 3,
    kExpUp = 4,
    kExpDown = 5,
};

/// What the effect's parameters are set to. Values out of range are safe: an unknown choice of channels leaves the
/// output as it is, an empty grid only copies. `defaultSettings` in parameters.h gives the defaults.
struct Settings {
    std::int32_t channels;   ///< a ChannelMode
    double mosaicIntensity;  ///< 0 to 1
    std::int32_t gridWidth;  ///< cells
    std::int32_t gridHeight;
    std::int32_t maxIterations;
    std::int32_t curveType;        ///< a CurveType
    std::int32_t curvePhase;       ///< degrees in 16.16 fixed point, any number of turns
    double curveSmoothness;        ///< in samples of the curve graph
    std::int32_t curvePhaseSplit;  ///< degrees in 16.16 fixed point
};

}  // namespace quorvel
