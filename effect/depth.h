// SPDX-License-Identifier: MIT
// Everything in the renderer that differs by pixel depth.
// Always inlined: kernels for several instruction sets include this file, and the linker keeps one copy of a function
// that is not inlined. That copy could be one that the processor cannot run.
#pragma once

#include <bit>
#include <cstdint>

#include "effect/numeric.h"

namespace quorvel {

/// 8 bits a channel, 0 to 255.
struct Depth8 {
    using Channel = std::uint8_t;
    using Sum = std::int64_t;  ///< 255 times 2^31 pixels stay far inside

    static constexpr bool kIsInteger = true;
    static constexpr bool kExceedsWhite = false;  ///< whether a channel may hold more than white
    static constexpr bool kExceedsTurn = false;   ///< whether a contrast may go beyond the one turn of the curve
    static constexpr Channel kBlack = 0;
    static constexpr Channel kWhite = 255;

    static constexpr int kSamples = 256;                                      ///< of the intensity curve
    static constexpr float kAmplitude = 255.0F;                               ///< the curve's highest value
    static constexpr float kPhaseFactor = std::bit_cast<float>(0x37360B61U);  ///< 16.16 degrees to samples
    static constexpr double kSmoothnessFactor = 2.694736957550049;            ///< graph samples to curve samples

    [[gnu::always_inline]] static Channel threshold(double intensity) {
        return static_cast<Channel>(truncateToInt(intensity * 255.0));
    }
    [[gnu::always_inline]] static Channel tableEntry(float value) { return static_cast<Channel>(truncateToInt(value)); }
    /// The curve sample for a block's spread; always below kSamples.
    [[gnu::always_inline]] static int sampleOf(Channel minimum, Channel maximum) {
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

    static constexpr bool kIsInteger = true;
    static constexpr bool kExceedsWhite = true;
    static constexpr bool kExceedsTurn = true;
    static constexpr Channel kBlack = 0;
    static constexpr Channel kWhite = 32768;

    static constexpr int kSamples = 4096;
    static constexpr float kAmplitude = 32768.0F;
    static constexpr float kPhaseFactor = std::bit_cast<float>(0x39360B61U);
    static constexpr double kSmoothnessFactor = 43.11579132080078;

    [[gnu::always_inline]] static Channel threshold(double intensity) {
        return static_cast<Channel>(truncateToInt(intensity * 32768.0));
    }
    [[gnu::always_inline]] static Channel tableEntry(float value) { return static_cast<Channel>(truncateToInt(value)); }
    [[gnu::always_inline]] static int sampleOf(Channel minimum, Channel maximum) {
        const int contrast = static_cast<Channel>(maximum - minimum);
        const int sample = contrast * (kSamples - 1) / 32768;
        // Channels above 32768 can spread over almost two turns of the curve, which is periodic.
        return sample < kSamples ? sample : sample - kSamples;
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

    static constexpr bool kIsInteger = false;
    static constexpr bool kExceedsWhite = true;
    static constexpr bool kExceedsTurn = false;  // contrasts are clamped
    static constexpr Channel kBlack = 0.0F;
    static constexpr Channel kWhite = 1.0F;

    static constexpr int kSamples = 4000;
    static constexpr float kAmplitude = 1.0F;
    static constexpr float kPhaseFactor = std::bit_cast<float>(0x3931C71DU);
    static constexpr double kSmoothnessFactor = 42.105262756347656;

    [[gnu::always_inline]] static Channel threshold(double intensity) { return static_cast<Channel>(intensity); }
    [[gnu::always_inline]] static Channel tableEntry(float value) { return value; }
    [[gnu::always_inline]] static int sampleOf(Channel minimum, Channel maximum) {
        const float contrast = (maximum > kWhite ? kWhite : maximum) - (minimum < kBlack ? kBlack : minimum);
        const int sample = truncateToInt(contrast * static_cast<float>(kSamples - 1));
        return sample > 0 ? sample : 0;  // a block of nothing but NaN has a contrast of -1
    }

    // The two forms round differently; both roundings are part of the result.
    [[gnu::always_inline]] static Channel jointAverage(Sum sum, std::int32_t count) {
        return sum * (1.0F / static_cast<float>(count));
    }
    [[gnu::always_inline]] static Channel singleAverage(Sum sum, std::int32_t count) {
        return sum / static_cast<float>(count);
    }
};

/// The depth of a channel type.
template <typename T>
struct DepthOfChannel;
template <>
struct DepthOfChannel<std::uint8_t> {
    using Type = Depth8;
};
template <>
struct DepthOfChannel<std::uint16_t> {
    using Type = Depth16;
};
template <>
struct DepthOfChannel<float> {
    using Type = DepthFloat;
};
template <typename T>
using DepthOf = typename DepthOfChannel<T>::Type;

}  // namespace quorvel
