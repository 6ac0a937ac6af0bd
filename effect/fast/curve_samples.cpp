// SPDX-License-Identifier: MIT
#include "effect/fast/curve_samples.h"

#include <algorithm>

#include "effect/curve.h"
#include "effect/depth.h"
#include "effect/fast/kernels.h"

namespace quorvel::fast {

void sampleCurve(int type, int count, float amplitude, float smoothness, float* samples, InstructionSet set) {
    // "Curve Smoothness" ends at 16, which is a radius of 690 in 16 bits.
    constexpr int kMaximumRadius = 1024;
    constexpr int kMaximumCount = Depth16::kSamples;
    const auto [radius, fraction] = smoothingBox(smoothness);
    if (radius > std::min(kMaximumRadius, count) || count > kMaximumCount) {
        for (int i = 0; i < count; ++i) {
            samples[i] = curveValue(type, i, count, amplitude, 0.0F, smoothness, 0);
        }
        return;
    }
    if (radius <= 0) {
        unsmoothedSamples(type, count, amplitude, samples);
        if (radius == 0) {
            for (int i = 0; i < count; ++i) {
                samples[i] = fraction * samples[i] + (1.0F - fraction) * samples[i];
            }
        }
        return;
    }
    float periodic[kMaximumCount + 2 * kMaximumRadius];
    unsmoothedSamples(type, count, amplitude, periodic + radius);
    std::copy_n(periodic + count, radius, periodic);
    std::copy_n(periodic + radius, radius, periodic + radius + count);
    kernelsFor(set).smoothCurve({periodic + radius, samples, count, radius, fraction});
}

}  // namespace quorvel::fast
