// SPDX-License-Identifier: MIT
// Whether blocks are busy: whether the curve, at their contrast, is above the threshold.
#pragma once

#include <cstddef>
#include <limits>

#include "effect/fast/job.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// The channel that decides in each of four lanes next to each other.
struct LaneChannels {
    int channel[kChannelsPerPixel];
};
inline constexpr LaneChannels kEachChannel{{kChannelA, kChannelR, kChannelG, kChannelB}};
constexpr LaneChannels everyLane(int channel) {
    return {{channel, channel, channel, channel}};
}

/// The test of as many spreads as V holds channels.
template <typename Depth, typename V>
class BusyTest {
public:
    using T = typename Depth::Channel;
    using M = Vector<Mask<T>, sizeof(V)>;

    /// `useTables`: the curve is looked up, because a range of contrasts does not tell. Lanes of channels that are not
    /// processed have no meaning.
    BusyTest(const MosaicJob<Depth>& job, bool useTables, LaneChannels channels)
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
        if constexpr (sizeof(T) <= 2) {
            last_ = last_ - first_;
        }
    }

    /// Ones where a block of this spread is busy.
    [[gnu::always_inline]] inline M operator()(V low, V high) const {
        if (useTables_) {
            return lookUp(low, high);
        }
        if constexpr (sizeof(T) <= 2) {
            // Below the first contrast the difference wraps around and is a large one.
            return atMost<M>(high - low - first_, last_) ^ outside_;
        } else {
            const V contrast = smaller(splat<V>(1.0F), high) - larger(splat<V>(0.0F), low);
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
            const bool isBusy = table != nullptr && table[Depth::levelOf(lows[i], highs[i])] > threshold_;
            busy[i] = maskOf<T>(isBusy);
        }
        return load<M>(busy);
    }

    V first_;
    V last_;  ///< for integers, less the first
    M outside_;
    const T* tables_[kChannelsPerPixel];
    T threshold_;
    bool useTables_;
};

/// Ones in the channels that are processed.
template <typename Depth>
Pixel<Mask<typename Depth::Channel>> processedMask(const MosaicJob<Depth>& job) {
    using T = typename Depth::Channel;
    Pixel<Mask<T>> mask;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        mask.channel[c] = maskOf<T>(job.processed[c]);
    }
    return mask;
}

/// Whether blocks that are busy stay so with any more contrast, in all channels that are processed.
template <typename Depth>
bool staysBusy(const MosaicJob<Depth>& job) {
    using T = typename Depth::Channel;
    if (!job.rangesHold || sizeof(T) == 2) {
        return false;  // contrasts of 16 bits can go beyond the curve's one turn
    }
    constexpr T kHighest = std::numeric_limits<T>::max();  // a constant, for no copy of the function to be left behind
    bool stays = true;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        stays = stays && (!job.processed[c] || (!job.busy[c].outside && job.busy[c].last == kHighest));
    }
    return stays;
}

/// Given that, whether a block is busy in all channels that are processed, by a spread that may still widen.
template <typename Depth>
bool isSurelyBusy(const MosaicJob<Depth>& job, const Pixel<typename Depth::Channel>& lowest,
                  const Pixel<typename Depth::Channel>& highest) {
    using T = typename Depth::Channel;
    bool busy = true;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        // A channel's own contrast is at most the joint one.
        T low = lowest.channel[c];
        T high = highest.channel[c];
        if constexpr (sizeof(T) > 2) {
            low = low < T{0} ? T{0} : low;
            high = high > T{1} ? T{1} : high;
        }
        busy = busy && (!job.processed[c] || (high > low && static_cast<T>(high - low) >= job.busy[c].first));
    }
    return busy;
}

/// Puts the lowest (highest) of R, G and B into all three; channel A has no meaning afterwards.
template <typename T, bool Highest, typename V>
[[gnu::always_inline]] inline V foldJoint(V value) {
    if constexpr (sizeof(T) <= 2) {
        // A pixel is one integer: shifted right, G and then B come to stand in R's place.
        constexpr int kBits = 8 * sizeof(T);
        using Word = Unsigned<kChannelsPerPixel * sizeof(T)>;
        using Words = Vector<Word, sizeof(V)>;
        const auto words = reinterpret<Words>(value);
        const V folded = extreme<Highest>(extreme<Highest>(value, reinterpret<V>(shiftedRight<kBits>(words))),
                                          reinterpret<V>(shiftedRight<2 * kBits>(words)));
        Words word = shiftedRight<kBits>(reinterpret<Words>(folded)) & splat<Words>(Word{(1U << kBits) - 1});
        word = word | shiftedLeft<kBits>(word);
        word = word | shiftedLeft<2 * kBits>(word);
        return reinterpret<V>(word);
    } else {
        return extreme<Highest>(
            extreme<Highest>(permuteItems<1, 1, 1, 2, 3>(value), permuteItems<1, 2, 2, 3, 1>(value)),
            permuteItems<1, 3, 3, 1, 2>(value));
    }
}

}  // namespace
}  // namespace quorvel::fast
