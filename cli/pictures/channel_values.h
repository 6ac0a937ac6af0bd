// SPDX-License-Identifier: MIT
// Channel values between picture files and the host's worlds. Files hold 0..255, 0..65535 or floats; worlds hold
// 0..255, 0..32768 or floats. Where both sides have the same depth, world -> file -> world returns every value.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "effect/depth.h"

namespace quorvel::cli {

/// White in a 16-bit world. Worlds may hold more, which files cannot.
inline constexpr std::uint32_t kHostWhite16 = Depth16::kWhite;
inline constexpr std::uint32_t kFileWhite16 = 65535;

/// The largest sum, 65535 * 32768 + 32767, is 2^31 - 1.
constexpr std::uint16_t host16FromFile(std::uint32_t sample) {
    return static_cast<std::uint16_t>((sample * kHostWhite16 + 32767) / kFileWhite16);
}

constexpr std::uint16_t file16FromHost(std::uint32_t channel) {
    return static_cast<std::uint16_t>((std::min(channel, kHostWhite16) * kFileWhite16 + 16384) / kHostWhite16);
}

/// A float as an integer of 0 to `white`, rounded; below 0 and NaN is 0, above 1 is white.
template <typename Integer>
constexpr Integer quantise(float value, float white) {
    if (!(value > 0.0f)) {
        return 0;
    }
    return static_cast<Integer>(std::min(value, 1.0f) * white + 0.5f);
}

/// A file's sample as a world's channel.
template <typename Channel, typename Sample>
constexpr Channel toHost(Sample sample) {
    constexpr bool from8 = std::is_same_v<Sample, std::uint8_t>;
    constexpr bool from16 = std::is_same_v<Sample, std::uint16_t>;
    if constexpr (std::is_same_v<Channel, std::uint8_t>) {
        if constexpr (from8) {
            return sample;
        } else if constexpr (from16) {
            return static_cast<std::uint8_t>((sample * 255u + 32767u) / kFileWhite16);
        } else {
            return quantise<std::uint8_t>(sample, 255.0f);
        }
    } else if constexpr (std::is_same_v<Channel, std::uint16_t>) {
        if constexpr (from8) {
            return host16FromFile(sample * 257u);
        } else if constexpr (from16) {
            return host16FromFile(sample);
        } else {
            return quantise<std::uint16_t>(sample, static_cast<float>(kHostWhite16));
        }
    } else {
        if constexpr (from8) {
            return static_cast<float>(sample) / 255.0f;
        } else if constexpr (from16) {
            return static_cast<float>(sample) / static_cast<float>(kFileWhite16);
        } else {
            return sample;
        }
    }
}

/// A world's channel as a file's sample.
template <typename Sample, typename Channel>
constexpr Sample toFile(Channel channel) {
    constexpr bool from8 = std::is_same_v<Channel, std::uint8_t>;
    constexpr bool from16 = std::is_same_v<Channel, std::uint16_t>;
    if constexpr (std::is_same_v<Sample, std::uint8_t>) {
        if constexpr (from8) {
            return channel;
        } else if constexpr (from16) {
            const std::uint32_t bounded = std::min<std::uint32_t>(channel, kHostWhite16);
            return static_cast<std::uint8_t>((bounded * 255u + kHostWhite16 / 2) / kHostWhite16);
        } else {
            return quantise<std::uint8_t>(channel, 255.0f);
        }
    } else if constexpr (std::is_same_v<Sample, std::uint16_t>) {
        if constexpr (from8) {
            return static_cast<std::uint16_t>(channel * 257u);
        } else if constexpr (from16) {
            return file16FromHost(channel);
        } else {
            return quantise<std::uint16_t>(channel, static_cast<float>(kFileWhite16));
        }
    } else {
        if constexpr (from8) {
            return static_cast<float>(channel) / 255.0f;
        } else if constexpr (from16) {
            return static_cast<float>(channel) / static_cast<float>(kHostWhite16);
        } else {
            return channel;
        }
    }
}

}  // namespace quorvel::cli
