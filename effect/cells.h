// SPDX-License-Identifier: MIT
// The grid's layout.
#pragma once

#include <cstdint>

namespace quorvel {

/// Where cell `k` of `cells` starts along `length` pixels; the remainder is spread. Always inlined, as in depth.h.
[[gnu::always_inline]] constexpr std::int32_t cellStart(std::int32_t k, std::int32_t length, std::int32_t cells) {
    return static_cast<std::int32_t>(static_cast<std::int64_t>(k) * length / cells);
}

}  // namespace quorvel
