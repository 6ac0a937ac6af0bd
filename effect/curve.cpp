// SPDX-License-Identifier: MIT
#include "effect/curve.h"

#include <bit>
#include <cmath>

#include "effect/numeric.h"

namespace quorvel {

namespace {

/// Twice pi to eleven decimals: the curve's own constant.
constexpr double kTurn = 6.28318530718;
constexpr float kDecimals = 10000000.0F;
constexpr float kInverseDecimals = std::bit_cast<float>(0x33D6BF95U);      // 1e-7
constexpr float kBelowHalf = std::bit_cast<float>(0x3EFFFFFFU);            // the largest float below one half
constexpr float kTurnsPerFixedDegree = std::bit_cast<float>(0x33360B61U);  // about 1/(360 * 65536)

/// Halves away from zero.
float roundHalfAway(float x) {
    return std::trunc(x + std::copysign(kBelowHalf, x));
}

/// A sample's place on the curve: along the ramp (the last sample is at 1) and along the turn (one past it is at 1).
struct Abscissa {
    float ramp;
    float turn;
};

float unsmoothedValue(int type, Abscissa at, float amplitude, float offset, int flags) {
    const float t = at.ramp;
    float value = t;
    switch (type) {
        case kLinearRampUp:
            value = t * amplitude;
            break;
        case kLinearRampDown:
            value = (1.0F - t) * amplitude;
            break;
        case kTriangleWave: {
            const float doubled = t + t;
            value = t >= 0.5F ? (2.0F - doubled) * amplitude : doubled * amplitude;
            break;
        }
        case kSineWave: {
            const float phase = (flags & kCurveSineOnRamp) != 0 ? t : at.turn;
            const double half = static_cast<double>(0.5F * amplitude);
            value = static_cast<float>(std::sin(static_cast<double>(phase) * kTurn) * half + half);
            break;
        }
        case kExpUp:
        case kExpDown: {
            const float square = t * t;
            const float fourth = square * square;
            value = (type == kExpUp ? fourth : 1.0F - fourth) * amplitude;
            break;
        }
        default:
            break;
    }
    value += offset;
    if ((flags & kCurveNotRounded) == 0) {
        value = roundHalfAway(value * kDecimals) * kInverseDecimals;
    }
    return value;
}

Abscissa abscissaAt(int index, int count) {
    return {static_cast<float>(index / static_cast<double>(static_cast<float>(count - 1))),
            static_cast<float>(index / static_cast<double>(static_cast<float>(count)))};
}

}  // namespace

SmoothingBox smoothingBox(float smoothness) {
    return {truncateToInt(std::ceil(smoothness)), smoothness - std::trunc(smoothness)};
}

void unsmoothedSamples(int type, int count, float amplitude, float* samples) {
    for (int i = 0; i < count; ++i) {
        samples[i] = unsmoothedValue(type, abscissaAt(i, count), amplitude, 0.0F, 0);
    }
}

float curveValue(int type, int index, int count, float amplitude, float offset, float smoothness, int flags) {
    const float value = unsmoothedValue(type, abscissaAt(index, count), amplitude, offset, flags);
    const auto [radius, fraction] = smoothingBox(smoothness);
    if (radius < 0) {
        return value;
    }

    float sumAll = value;
    float sumInner = value;
    int countAll = 1;
    int countInner = 1;
    for (int k = -radius; k <= radius; ++k) {
        if (k == 0) {
            continue;
        }
        const int unwrapped = index + k;
        const int j = unwrapped >= 0 ? unwrapped % count : count + unwrapped;
        const float neighbour = unsmoothedValue(type, abscissaAt(j, count), amplitude, offset, flags);
        sumAll += neighbour;
        ++countAll;
        if (k > -radius && k < radius) {
            sumInner += neighbour;
            ++countInner;
        }
    }
    return (fraction * sumAll) / static_cast<float>(countAll) +
           ((1.0F - fraction) * sumInner) / static_cast<float>(countInner);
}

int angleToShift(int angle, int count) {
    const float turns = static_cast<float>(angle) * kTurnsPerFixedDegree;
    const float samples = static_cast<float>(count) * turns;
    return wrapShift(truncateToInt(samples), count);
}

}  // namespace quorvel
