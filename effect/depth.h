// SPDX-License-Identifier: MIT
// Everything in the renderer that differs by pixel depth.
// Always inlined: kernels for several instruction sets include this, and a copy kept by the linker must not be one that
// the processor at hand cannot run.
#pragma once

#include <bit>
#include <cstdint>

#include "effect/numeric.h"

namespace quorvel {

/// 8 bits a channel, 0 to 255.
struct Depth8 {
    using Channel = std::uint8_t;
    using Sum = std::int64_t;  ///< 255 times 2^31 pixels stay far inside

    static constexpr int kLevels = 256;                                       ///< samples of the intensity curve
    static constexpr float kAmplitude = 255.0F;                               ///< the curve's highest value
    static constexpr float kPhaseFactor = std::bit_cast<float>(0x37360B61U);  ///< 16.16 degrees to samples
    static constexpr double kSmoothnessFactor = 2.694736957550049;            ///< graph samples to curve samples

    static constexpr Channel kMinimumStart = 255;
    static constexpr Channel kMaximumStart = 0;

    [[gnu::always_inline]] static Channel threshold(double intensity) {
        return static_cast<Channel>(truncateToInt(intensity * 255.0));
    }
    [[gnu::always_inline]] static Channel tableEntry(float value) { return static_cast<Channel>(truncateToInt(value)); }
    /// The curve sample for a block's spread; always below kLevels.
    [[gnu::always_inline]] static int levelOf(Channel minimum, Channel maximum) {
        return static_cast<Channel>(maximum - minimum);
    }

    [[gnu::always_inline]] static Channel jointAverage(Sum sum, std::int32_t count) {
        return static_cast<Channel>(sum / count);
    }
    [[gnu::always_inline]] static Channel singleAverage(Sum sum, std::int32_t count) {
        return static_cast<Channel>(sum / count);
    }
};

/// 16 bits a channel, 0 to 32768; a channel may hold more.
struct Depth16 {
    using Channel = std::uint16_t;
    using Sum = std::int64_t;  ///< 65535 times 2^31 pixels stay far inside

    static constexpr int kLevels = 4096;
    static constexpr float kAmplitude = 32768.0F;
    static constexpr float kPhaseFactor = std::bit_cast<float>(0x39360B61U);
    static constexpr double kSmoothnessFactor = 43.11579132080078;

    static constexpr Channel kMinimumStart = 32768;
    static constexpr Channel kMaximumStart = 0;

    [[gnu::always_inline]] static Channel threshold(double intensity) {
        return static_cast<Channel>(truncateToInt(intensity * 32768.0));
    }
    [[gnu::always_inline]] static Channel tableEntry(float value) { return static_cast<Channel>(truncateToInt(value)); }
    [[gnu::always_inline]] static int levelOf(Channel minimum, Channel maximum) {
        const int contrast = static_cast<Channel>(maximum - minimum);
        const int level = contrast * (kLevels - 1) / 32768;
        // Channels above 32768 can spread over almost two turns of the curve, which is periodic.
        return level < kLevels ? level : level - kLevels;
    }

    [[gnu::always_inline]] static Channel jointAverage(Sum sum, std::int32_t count) {
        return static_cast<Channel>(sum / count);
    }
    [[gnu::always_inline]] static Channel singleAverage(Sum sum, std::int32_t count) {
        return static_cast<Channel>(sum / count);
    }
};

/// 32-bit float a channel, nominally 0 to 1. Values outside enter averages unchanged; a NaN changes neither minimum
/// nor maximum, but does enter the sum.
struct DepthFloat {
    using Channel = float;
    using Sum = float;

    static constexpr int kLevels = 4000;
    static constexpr float kAmplitude = 1.0F;
    static constexpr float kPhaseFactor = std::bit_cast<float>(0x3931C71DU);
    static constexpr double kSmoothnessFactor = 42.105262756347656;

    static constexpr Channel kMinimumStart = 1.0F;
    static constexpr Channel kMaximumStart = 0.0F;

    [[gnu::always_inline]] static Channel threshold(double intensity) { return static_cast<Channel>(intensity); }
    [[gnu::always_inline]] static Channel tableEntry(float value) { return value; }
    [[gnu::always_inline]] static int levelOf(Channel minimum, Channel maximum) {
        const float contrast = (maximum > 1.0F ? 1.0F : maximum) - (minimum < 0.0F ? 0.0F : minimum);
        const int level = truncateToInt(contrast * static_cast<float>(kLevels - 1));
        return level > 0 ? level : 0;  // a block of nothing but NaN has a contrast of -1
    }

    // The two forms round differently; both roundings are part of the result.
    [[gnu::always_inline]] static Channel jointAverage(Sum sum, std::int32_t count) {
        return sum * (1.0F / static_cast<float>(count));
    }
    [[gnu::always_inline]] static Channel singleAverage(Sum sum, std::int32_t count) {
        return sum / static_cast<float>(count);
    }
};

}  // namespace quorvel
