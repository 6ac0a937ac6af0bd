// SPDX-License-Identifier: MIT
// Pixels as the kernels see them: a pointer, a size and a row stride in channel units.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quorvel {

/// Channels of a pixel, in memory order.
enum Channel : int { kChannelA = 0, kChannelR = 1, kChannelG = 2, kChannelB = 3 };
inline constexpr int kChannelsPerPixel = 4;

/// A borrowed picture. `stride` is in channels (not bytes) from one row to the next and may be negative;
/// null `pixels` means that there is none.
template <typename T>
struct PixelView {
    T* pixels = nullptr;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::ptrdiff_t stride = 0;
};

}  // namespace quorvel
