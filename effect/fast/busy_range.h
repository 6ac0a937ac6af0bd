// SPDX-License-Identifier: MIT
// Which contrasts are busy: those at which the curve is above the threshold. They are found once a frame.
#pragma once

#include <cmath>
#include <limits>

#include "effect/depth.h"
#include "effect/fast/job.h"

namespace quorvel::fast {

/// The lowest contrast that falls on this sample of the curve or on a higher one.
template <typename Depth>
typename Depth::Channel firstContrastOf(int sample) {
    using T = typename Depth::Channel;
    const auto sampleAt = [](T contrast) { return Depth::sampleOf(Depth::kBlack, contrast); };
    if constexpr (!Depth::kIsInteger) {
        if (sample == 0) {
            return std::numeric_limits<T>::lowest();  // an unmeasured block has a negative contrast
        }
        auto contrast = static_cast<T>(sample) / static_cast<T>(Depth::kSamples - 1);
        while (sampleAt(contrast) >= sample) {
            contrast = std::nextafter(contrast, 0.0F);
        }
        while (sampleAt(contrast) < sample) {
            contrast = std::nextafter(contrast, 2.0F);
        }
        return contrast;
    } else {
        constexpr auto kLast = static_cast<int>(Depth::kWhite);
        int contrast = sample * kLast / (Depth::kSamples - 1);
        while (sampleAt(static_cast<T>(contrast)) < sample) {
            ++contrast;
        }
        return static_cast<T>(contrast);
    }
}

/// The highest contrast that falls on this sample.
template <typename Depth>
typename Depth::Channel lastContrastOf(int sample) {
    using T = typename Depth::Channel;
    if (sample == Depth::kSamples - 1) {
        return std::numeric_limits<T>::max();
    }
    const T next = firstContrastOf<Depth>(sample + 1);
    if constexpr (!Depth::kIsInteger) {
        return std::nextafter(next, 0.0F);
    } else {
        return static_cast<T>(next - 1);
    }
}

/// Finds the one range of contrasts whose curve value is above the threshold. Returns false if there are several.
/// `table` holds Depth::kSamples values.
template <typename Depth>
bool findBusyRange(const typename Depth::Channel* table, typename Depth::Channel threshold,
                   BusyRange<typename Depth::Channel>& range) {
    constexpr int kSamples = Depth::kSamples;
    const bool firstIsBusy = table[0] > threshold;
    int changes[2];
    int count = 0;
    for (int sample = 1; sample < kSamples; ++sample) {
        if ((table[sample] > threshold) != (table[sample - 1] > threshold)) {
            if (count == 2) {
                return false;
            }
            changes[count++] = sample;
        }
    }
    range = {};
    if (count == 0) {
        range.outside = !firstIsBusy;
        return true;
    }
    // The samples between the two changes (or from the only one on) are the opposite of the first sample.
    range.first = firstContrastOf<Depth>(changes[0]);
    range.last = lastContrastOf<Depth>(count == 2 ? changes[1] - 1 : kSamples - 1);
    range.outside = firstIsBusy;
    return true;
}

}  // namespace quorvel::fast
