// SPDX-License-Identifier: MIT
// The intensity curve as the mosaic reads it: one look-up per block.
#pragma once

#include <cstddef>

#include "effect/curve.h"
#include "effect/depth.h"
#include "effect/numeric.h"
#include "effect/settings.h"

namespace quorvel {

/// The curve turned by "Curve Phase", twice in a row, so that a view shifted by up to one turn needs no wrap.
/// Built once a frame on the renderer's stack (32 KiB at most).
template <typename Depth>
class CurveTable {
public:
    using Entry = typename Depth::Channel;

    explicit CurveTable(const Settings& settings)
        : CurveTable(settings, [](int type, int count, float amplitude, float smoothness, float* samples) {
              for (int i = 0; i < count; ++i) {
                  samples[i] = curveValue(type, i, count, amplitude, 0.0F, smoothness, 0);
              }
          }) {}

    /// Takes the curve from `sampler`, which is called once with type, count, amplitude, smoothness in samples, and
    /// where to put the `count` samples. Its scratch memory has left the stack before the frame is drawn.
    template <typename Sampler>
    [[gnu::noinline]] CurveTable(const Settings& settings, const Sampler& sampler)
        : plus_(angleToShift(settings.curvePhaseSplit, kSamples)),
          minus_(angleToShift(wrappingNegate(settings.curvePhaseSplit), kSamples)) {
        const int shift =
            wrapShift(truncateToInt(static_cast<float>(settings.curvePhase) * Depth::kPhaseFactor), kSamples);
        float samples[static_cast<std::size_t>(kSamples)];
        sampler(settings.curveType, kSamples, Depth::kAmplitude,
                static_cast<float>(settings.curveSmoothness * Depth::kSmoothnessFactor), samples);
        for (int i = 0; i < kSamples; ++i) {
            const int p = (shift + i) % kSamples;
            entries_[p] = entries_[p + kSamples] = Depth::tableEntry(samples[i]);
        }
    }

    /// Views of kSamples entries each: the curve itself, and shifted by plus and minus "Curve Phase Split (RGB)".
    const Entry* base() const { return entries_; }
    const Entry* plus() const { return entries_ + plus_; }
    const Entry* minus() const { return entries_ + minus_; }

private:
    static constexpr int kSamples = Depth::kSamples;
    int plus_;
    int minus_;
    Entry entries_[static_cast<std::size_t>(2 * kSamples)];
};

}  // namespace quorvel
