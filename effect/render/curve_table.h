// SPDX-License-Identifier: MIT
// The intensity curve as the mosaic reads it: one look-up per block.
#pragma once

#include <cstddef>

#include "effect/params/param_values.h"
#include "effect/render/curve.h"
#include "effect/render/depth.h"
#include "effect/render/numeric.h"

namespace quorvel {

/// The curve turned by "Curve Phase", twice in a row, so that a view shifted by up to one turn needs no wrap.
/// Built once a frame on the renderer's stack (32 KiB at most).
template <typename Depth>
class CurveTable {
public:
    using Entry = typename Depth::Channel;

    explicit CurveTable(const ParamValues& values)
        : plus_(getAngleVal(values.curvePhaseSplit, kLevels)),
          minus_(getAngleVal(wrappingNegate(values.curvePhaseSplit), kLevels)) {
        const int shift =
            wrapShift(truncateToInt(static_cast<float>(values.curvePhase) * Depth::kPhaseFactor), kLevels);
        const auto smoothness = static_cast<float>(values.curveSmoothness * Depth::kSmoothnessFactor);
        for (int i = 0; i < kLevels; ++i) {
            const int p = (shift + i) % kLevels;
            entries_[p] = entries_[p + kLevels] =
                Depth::tableEntry(getCurveVal(values.curveType, i, kLevels, Depth::kAmplitude, 0.0F, smoothness, 0));
        }
    }

    /// Views of kLevels entries each: the curve itself, and shifted by plus and minus "Curve Phase Split (RGB)".
    const Entry* base() const { return entries_; }
    const Entry* plus() const { return entries_ + plus_; }
    const Entry* minus() const { return entries_ + minus_; }

private:
    static constexpr int kLevels = Depth::kLevels;
    int plus_;
    int minus_;
    Entry entries_[static_cast<std::size_t>(2 * kLevels)];
};

}  // namespace quorvel
