// SPDX-License-Identifier: MIT
// The intensity curve: what value a block's contrast gets before it is compared with the threshold.
// The renderer and the curve graph both draw from here, so the precision of every step counts.
#pragma once

#include "effect/settings.h"

namespace quorvel {

/// Flags of curveValue; the effect itself passes none.
enum CurveFlags : int {
    kCurveNotRounded = 1 << 0,  ///< keep all digits instead of rounding to 7 decimals
    kCurveSineOnRamp = 1 << 1,  ///< the sine's period ends on the last sample instead of one past it
};

/// The curve at sample `index` of `count`, from `offset` to `offset` + `amplitude`; the curve is periodic.
/// `smoothness` is the half width, in samples, of a box filter that blends between whole widths by its fraction;
/// at a whole number it falls back to the next smaller width. A `type` that is no CurveType gives the bare abscissa,
/// 0 to 1.
float curveValue(int type, int index, int count, float amplitude, float offset, float smoothness, int flags);

/// All `count` samples of a curve before smoothing, with no offset and no flags, for filters that work on whole curves.
void unsmoothedSamples(int type, int count, float amplitude, float* samples);

/// The two boxes that a smoothness blends: of `radius`, weighted by `fraction`, and of one less. A negative radius
/// means no filter at all.
struct SmoothingBox {
    int radius;
    float fraction;
};
SmoothingBox smoothingBox(float smoothness);

/// An angle in 16.16 fixed-point degrees as a whole shift of `count` samples to the turn, in [0, count).
/// Negative shifts land one sample short of the true wrap; saved projects rely on it.
int angleToShift(int angle, int count);

/// Any whole shift wrapped into [0, count), negative ones one sample short, as above.
constexpr int wrapShift(int shift, int count) {
    return shift >= 0 ? shift % count : shift % count + count - 1;
}

}  // namespace quorvel
