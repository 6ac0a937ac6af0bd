// SPDX-License-Identifier: MIT
// The curve's box filter, for many samples side by side. Each sample is summed in the fixed order of curveValue().
#pragma once

#include <cstddef>

#include "effect/fast/kernels.h"
#include "effect/fast/vector-inl.h"

namespace quorvel::fast {
namespace {

/// Smooths `Vectors` registers of samples from `first` on.
template <typename V, std::size_t Vectors>
[[gnu::always_inline]] inline void smoothSamples(const CurveSmoothing& curve, int first) {
    constexpr std::size_t kStep = sizeof(V) / sizeof(float);
    const float* around = curve.periodic + first;
    V all[Vectors];
    V inner[Vectors];
    for (std::size_t v = 0; v < Vectors; ++v) {
        inner[v] = load<V>(around + v * kStep);
        all[v] = inner[v] + load<V>(around - curve.radius + v * kStep);
    }
    const auto add = [&](int begin, int end) {
        for (int k = begin; k < end; ++k) {
            for (std::size_t v = 0; v < Vectors; ++v) {
                const V neighbour = load<V>(around + k + v * kStep);
                all[v] += neighbour;
                inner[v] += neighbour;
            }
        }
    };
    add(1 - curve.radius, 0);
    add(1, curve.radius);
    const auto countAll = static_cast<float>(2 * curve.radius + 1);
    const auto countInner = static_cast<float>(2 * curve.radius - 1);
    for (std::size_t v = 0; v < Vectors; ++v) {
        all[v] += load<V>(around + curve.radius + v * kStep);
        store(curve.result + first + v * kStep,
              (curve.fraction * all[v]) / countAll + ((1.0F - curve.fraction) * inner[v]) / countInner);
    }
}

/// Smooths the whole curve: `count` is a multiple of what a register holds.
inline void smoothCurve(const CurveSmoothing& curve) {
    constexpr int kVectors = 4;
    constexpr int kStep = kVectors * kRegisterChannels<float>;
    int first = 0;
    for (; first + kStep <= curve.count; first += kStep) {
        smoothSamples<Register<float>, kVectors>(curve, first);
    }
    for (; first < curve.count; first += kRegisterChannels<float>) {
        smoothSamples<Register<float>, 1>(curve, first);
    }
}

}  // namespace
}  // namespace quorvel::fast
