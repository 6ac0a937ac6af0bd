// SPDX-License-Identifier: MIT
// What the "Channels" choice does with each channel.
#pragma once

#include <cstdint>

#include "effect/curve_table.h"
#include "effect/pixels.h"
#include "effect/settings.h"

namespace quorvel {

/// Flags for the colour channels that read a shifted curve.
enum CurveSplit : int { kSplitRed = 1, kSplitGreen = 2, kSplitBlue = 4 };

/// Which colour channels read a curve of their own under a "Channels" choice; 0 for choices without.
constexpr int curveSplits(std::int32_t channels) {
    switch (channels) {
        case kRGB:
            return kSplitRed | kSplitGreen | kSplitBlue;
        case kBlue:
            return kSplitBlue;
        case kGreen:
            return kSplitGreen;
        case kRed:
            return kSplitRed;
        default:
            return 0;
    }
}

/// One quadtree per grid cell: the channels it measures and writes, and the curve it reads.
template <typename T>
struct ChannelPass {
    bool joint;   ///< R, G and B together
    int channel;  ///< the only channel otherwise
    const T* table;
};

/// What happens to each channel under one "Channels" choice; nothing under an unknown one.
template <typename T>
struct ChannelPlan {
    ChannelPass<T> passes[3];
    int passCount = 0;
    bool copied[kChannelsPerPixel] = {};
};

/// The plan borrows the table's memory.
template <typename Depth>
ChannelPlan<typename Depth::Channel> planChannels(std::int32_t channels, const CurveTable<Depth>& table) {
    using T = typename Depth::Channel;
    ChannelPlan<T> plan;
    if (channels < kLuminosity || channels > kAlpha) {
        return plan;
    }
    for (bool& copied : plan.copied) {
        copied = true;
    }
    const auto process = [&](int channel, const T* view) {
        plan.passes[plan.passCount++] = {false, channel, view};
        plan.copied[channel] = false;
    };
    switch (channels) {
        case kLuminosity:
            plan.passes[plan.passCount++] = {true, kChannelR, table.base()};
            plan.copied[kChannelR] = plan.copied[kChannelG] = plan.copied[kChannelB] = false;
            break;
        case kRGB:
            process(kChannelR, table.plus());
            process(kChannelG, table.base());
            process(kChannelB, table.minus());
            break;
        case kRed:
            process(kChannelR, table.plus());
            break;
        case kGreen:
            process(kChannelG, table.base());
            break;
        case kBlue:
            process(kChannelB, table.minus());
            break;
        default:
            process(kChannelA, table.base());
            break;
    }
    return plan;
}

}  // namespace quorvel
