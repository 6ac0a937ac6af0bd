// SPDX-License-Identifier: MIT
// Which contrasts are busy: those at which the curve is above the threshold. Found once a frame.
#pragma once

#include <cmath>
#include <limits>

#include "effect/depth.h"
#include "effect/fast/job.h"

namespace quorvel::fast {

/// The lowest contrast that the curve sees as this level or a higher one, up to the last.
template <typename Depth>
typename Depth::Channel firstContrastOf(int level) {
    using T = typename Depth::Channel;
    const auto levelAt = [](T contrast) { return Depth::levelOf(T{0}, contrast); };
    if constexpr (sizeof(T) == 4) {
        if (level == 0) {
            return std::numeric_limits<T>::lowest();  // an unmeasured block has a negative contrast
        }
        auto contrast = static_cast<T>(level) / static_cast<T>(Depth::kLevels - 1);
        while (levelAt(contrast) >= level) {
            contrast = std::nextafter(contrast, 0.0F);
        }
        while (levelAt(contrast) < level) {
            contrast = std::nextafter(contrast, 2.0F);
        }
        return contrast;
    } else {
        constexpr auto kLast = static_cast<int>(Depth::kMinimumStart);
        int contrast = level * kLast / (Depth::kLevels - 1);
        while (levelAt(static_cast<T>(contrast)) < level) {
            ++contrast;
        }
        return static_cast<T>(contrast);
    }
}

template <typename Depth>
typename Depth::Channel lastContrastOf(int level) {
    using T = typename Depth::Channel;
    if (level == Depth::kLevels - 1) {
        return std::numeric_limits<T>::max();
    }
    const T next = firstContrastOf<Depth>(level + 1);
    if constexpr (sizeof(T) == 4) {
        return std::nextafter(next, 0.0F);
    } else {
        return static_cast<T>(next - 1);
    }
}

/// Sums up the levels whose curve value is above the threshold; false when they are no single range of the turn.
template <typename Depth>
bool findBusyRange(const typename Depth::Channel* table, typename Depth::Channel threshold,
                   BusyRange<typename Depth::Channel>& range) {
    constexpr int kLevels = Depth::kLevels;
    const bool firstIsBusy = table[0] > threshold;
    int changes[2];
    int count = 0;
    for (int level = 1; level < kLevels; ++level) {
        if ((table[level] > threshold) != (table[level - 1] > threshold)) {
            if (count == 2) {
                return false;
            }
            changes[count++] = level;
        }
    }
    range = {};
    if (count == 0) {
        range.outside = !firstIsBusy;
        return true;
    }
    // What lies between the two changes (or behind the only one) is the opposite of the first level.
    range.first = firstContrastOf<Depth>(changes[0]);
    range.last = lastContrastOf<Depth>(count == 2 ? changes[1] - 1 : kLevels - 1);
    range.outside = firstIsBusy;
    return true;
}

}  // namespace quorvel::fast
