// SPDX-License-Identifier: MIT
// Whether blocks are busy: whether the curve, at their contrast, is above the threshold.
#pragma once

#include <cstddef>

#include "effect/fast/job.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Which channel's curve each of four neighbouring lanes is tested by.
struct TestedChannels {
    int channel[kChannelsPerPixel];
};
/// Lanes hold pixels.
inline constexpr TestedChannels kEachChannel{{kChannelA, kChannelR, kChannelG, kChannelB}};
/// Lanes hold one channel only.
constexpr TestedChannels onlyChannel(int channel) {
    return {{channel, channel, channel, channel}};
}

/// Tests as many spreads at once as V holds channels.
template <typename Depth, typename V>
class BusyTest {
public:
    using T = typename Depth::Channel;
    using M = Vector<Mask<T>, sizeof(V)>;

    /// `useTables`: look the curve up, because one range of contrasts does not decide. The results for channels that
    /// are not processed have no meaning.
    BusyTest(const MosaicJob<Depth>& job, bool useTables, TestedChannels channels)
        : threshold_(job.threshold), useTables_(useTables) {
        Pixel<T> first;
        Pixel<T> last;
        Pixel<Mask<T>> outside;
        for (int i = 0; i < kChannelsPerPixel; ++i) {
            const BusyRange<T>& range = job.busy[channels.channel[i]];
            first.channel[i] = range.first;
            last.channel[i] = range.last;
            outside.channel[i] = maskOf<T>(range.outside);
            tables_[i] = job.tables[channels.channel[i]];
        }
        first_ = repeat<V>(first);
        last_ = repeat<V>(last);
        outside_ = repeat<M>(outside);
        if constexpr (Depth::kIsInteger) {
            last_ = last_ - first_;
        }
    }

    /// The mask of the lanes in which a block of this spread is busy.
    [[gnu::always_inline]] inline M operator()(V low, V high) const {
        if (useTables_) {
            return lookUp(low, high);
        }
        if constexpr (Depth::kIsInteger) {
            // For contrasts below the first one, the difference wraps around to a large value.
            return atMost<M>(high - low - first_, last_) ^ outside_;
        } else {
            const V contrast = smaller(splat<V>(Depth::kWhite), high) - larger(splat<V>(Depth::kBlack), low);
            return (atMost<M>(first_, contrast) & atMost<M>(contrast, last_)) ^ outside_;
        }
    }

private:
    [[gnu::noinline]] M lookUp(V low, V high) const {
        constexpr std::size_t kCount = sizeof(V) / sizeof(T);
        T lows[kCount];
        T highs[kCount];
        Mask<T> busy[kCount];
        store(lows, low);
        store(highs, high);
        for (std::size_t i = 0; i < kCount; ++i) {
            const T* table = tables_[i % kChannelsPerPixel];
            const bool isBusy = table != nullptr && table[Depth::sampleOf(lows[i], highs[i])] > threshold_;
            busy[i] = maskOf<T>(isBusy);
        }
        return load<M>(busy);
    }

    V first_;
    V last_;  ///< for integers, minus `first_`
    M outside_;
    const T* tables_[kChannelsPerPixel];
    T threshold_;
    bool useTables_;
};

/// The mask of the channels that are processed.
template <typename Depth>
Pixel<Mask<typename Depth::Channel>> processedMask(const MosaicJob<Depth>& job) {
    using T = typename Depth::Channel;
    Pixel<Mask<T>> mask;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        mask.channel[c] = maskOf<T>(job.processed[c]);
    }
    return mask;
}

}  // namespace
}  // namespace quorvel::fast
