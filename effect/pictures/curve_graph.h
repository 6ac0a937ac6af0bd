// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quorvel {

inline constexpr int kCurveGraphWidth = 50;  ///< pixels
inline constexpr int kCurveGraphHeight = 50;

/// What the graph shows. Angles are degrees in 16.16 fixed point.
struct CurveGraph {
    std::int32_t curveType;  ///< a CurveType
    std::int32_t phase;
    float smoothness;
    float raise;         ///< lifts the curve towards the top by this part of the distance; 0 for not at all
    int splits;          ///< CurveSplit bits: one line for each colour channel named; 0: one line for all
    std::int32_t split;  ///< read with `splits` only
};

/// Draws the intensity curve as the renderer sees it: a light line on a dark, translucent square of 48 x 48 pixels, at
/// the top left of a picture that is transparent elsewhere. `pixels` takes kCurveGraphWidth x kCurveGraphHeight pixels
/// of blue, green, red, alpha bytes, straight alpha. Returns false when memory is short; nothing is written then.
bool drawCurveGraph(std::uint8_t* pixels, const CurveGraph& graph);

}  // namespace quorvel
