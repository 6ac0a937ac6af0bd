// SPDX-License-Identifier: MIT
// Conversions and 32-bit arithmetic with one defined result on every compiler. Always inlined, as in depth.h.
#pragma once

#include <cstdint>
#include <limits>

namespace quorvel {

/// Truncates towards zero. NaN and anything that does not fit becomes the most negative integer, which is what the
/// conversion instruction of x86 gives.
[[gnu::always_inline]] inline std::int32_t truncateToInt(double value) {
    constexpr std::int32_t kIndefinite = std::numeric_limits<std::int32_t>::min();
    const bool fits = value > -2147483649.0 && value < 2147483648.0;
    return fits ? static_cast<std::int32_t>(value) : kIndefinite;
}

/// Products, sums and negations that wrap around in 32 bits.
[[gnu::always_inline]] constexpr std::int32_t wrappingMultiply(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
[[gnu::always_inline]] constexpr std::int32_t wrappingAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
[[gnu::always_inline]] constexpr std::int32_t wrappingNegate(std::int32_t a) {
    return static_cast<std::int32_t>(0U - static_cast<std::uint32_t>(a));
}

}  // namespace quorvel
