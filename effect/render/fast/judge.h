// SPDX-License-Identifier: MIT
// Deciding from the top of the quadtree down, by the spreads alone: which blocks are filled, kept, or split.
#pragma once

#include <cstdint>

#include "effect/render/fast/average.h"
#include "effect/render/fast/kernel.h"
#include "effect/render/fast/workspace.h"

namespace quorvel {
namespace {

/// The channels that share one quadtree.
struct ChannelGroup {
    int first;
    int count;
};

/// Walks the quadtrees of one channel group through a pyramid and leaves a verdict in every tile.
template <typename Depth>
class Judge {
public:
    using T = typename Depth::Channel;

    Judge(const MosaicJob<Depth>& job, const Pyramid<T>& pyramid, ChannelGroup group)
        : job_(job), pyramid_(pyramid), group_(group), table_(job.tables[group.first]) {}
    ~Judge() { fillPending(); }
    Judge(const Judge&) = delete;
    Judge& operator=(const Judge&) = delete;

    /// Calls nest once per level of the pyramid.
    void walk(std::int32_t level, std::int32_t row, std::int32_t column) {
        if (level == pyramid_.levels) {
            judgeTile(row, column);
            return;
        }
        const std::int32_t depth = pyramid_.depth + level;
        const bool busy = isBusy(pyramid_.level(level)[row * (pyramid_.blocks << level) + column]);
        if (depth >= job_.maximumDepth) {
            finish(level, row, column, busy || depth == job_.maximumDepth);
        } else if (!busy) {
            finish(level, row, column, false);
        } else if (level + 1 == pyramid_.levels) {
            judgeTile(2 * row, 2 * column);
            judgeTile(2 * row, 2 * column + 1);
            judgeTile(2 * row + 1, 2 * column);
            judgeTile(2 * row + 1, 2 * column + 1);
        } else {
            walk(level + 1, 2 * row, 2 * column);
            walk(level + 1, 2 * row, 2 * column + 1);
            walk(level + 1, 2 * row + 1, 2 * column);
            walk(level + 1, 2 * row + 1, 2 * column + 1);
        }
    }

private:
    struct Node {
        std::int32_t level;
        std::int32_t row;
        std::int32_t column;
    };
    static constexpr int kSideBySide = 4;

    [[gnu::always_inline]] inline void judgeTile(std::int32_t row, std::int32_t column) {
        Tile<T>& tile = pyramid_.tileRow(row)[column];
        const bool busy = isBusy(tile.spread);
        const std::int32_t depth = pyramid_.depth + pyramid_.levels;
        if (!busy || depth >= job_.maximumDepth) {
            finish(pyramid_.levels, row, column, busy || depth == job_.maximumDepth);
            return;
        }
        const Region region = pyramid_.region(pyramid_.levels, row, column);
        const bool tooSmall = region.width < 3 || region.height < 3;
        for (int c = group_.first; c < group_.first + group_.count; ++c) {
            tile.verdict.state.channel[c] = tooSmall ? kKept<T> : kSplit<T>;
        }
    }

    [[gnu::always_inline]] inline bool isBusy(const Spread<T>& spread) const {
        T low = spread.minimum.channel[group_.first];
        T high = spread.maximum.channel[group_.first];
        for (int c = group_.first + 1; c < group_.first + group_.count; ++c) {
            low = spread.minimum.channel[c] < low ? spread.minimum.channel[c] : low;
            high = spread.maximum.channel[c] > high ? spread.maximum.channel[c] : high;
        }
        return table_[Depth::levelOf(low, high)] > job_.threshold;
    }

    template <typename Action>
    void forTiles(std::int32_t level, std::int32_t row, std::int32_t column, const Action& action) {
        const std::int32_t shift = pyramid_.levels - level;
        for (std::int32_t r = row << shift; r < (row + 1) << shift; ++r) {
            Tile<T>* tile = pyramid_.tileRow(r) + (column << shift);
            for (std::int32_t i = 0; i < 1 << shift; ++i) {
                action(tile[i].verdict);
            }
        }
    }

    void setState(std::int32_t level, std::int32_t row, std::int32_t column, Mask<T> state) {
        forTiles(level, row, column, [&](Verdict<T>& verdict) {
            for (int c = group_.first; c < group_.first + group_.count; ++c) {
                verdict.state.channel[c] = state;
            }
        });
    }

    void setFill(std::int32_t level, std::int32_t row, std::int32_t column, const Pixel<T>& fill) {
        forTiles(level, row, column, [&](Verdict<T>& verdict) {
            for (int c = group_.first; c < group_.first + group_.count; ++c) {
                verdict.state.channel[c] = kFilled<T>;
                verdict.fill.channel[c] = fill.channel[c];
            }
        });
    }

    void finish(std::int32_t level, std::int32_t row, std::int32_t column, bool keep) {
        if (keep) {
            setState(level, row, column, kKept<T>);
            return;
        }
        if constexpr (sizeof(T) <= 2) {
            setFill(level, row, column, averageOf<T>(job_.source, pyramid_.region(level, row, column)));
        } else {
            // Only blocks of the same level are of about the same size.
            if (pendingCount_ == kSideBySide || (pendingCount_ > 0 && pending_[0].level != level)) {
                fillPending();
            }
            pending_[pendingCount_++] = {level, row, column};
        }
    }

    void fillPending() {
        if constexpr (sizeof(T) > 2) {
            Region regions[kSideBySide];
            FloatPixel sums[kSideBySide];
            for (int b = 0; b < pendingCount_; ++b) {
                regions[b] = pyramid_.region(pending_[b].level, pending_[b].row, pending_[b].column);
            }
            if (pendingCount_ == kSideBySide) {
                sumSideBySide<kSideBySide>(job_.source, regions, sums);
            } else {
                for (int b = 0; b < pendingCount_; ++b) {
                    sumSideBySide<1>(job_.source, regions + b, sums + b);
                }
            }
            for (int b = 0; b < pendingCount_; ++b) {
                const std::int32_t count = regions[b].width * regions[b].height;
                Pixel<T> fill;
                for (int c = 0; c < kChannelsPerPixel; ++c) {
                    fill.channel[c] =
                        job_.joint ? Depth::jointAverage(sums[b][c], count) : Depth::singleAverage(sums[b][c], count);
                }
                setFill(pending_[b].level, pending_[b].row, pending_[b].column, fill);
            }
            pendingCount_ = 0;
        }
    }

    const MosaicJob<Depth>& job_;
    const Pyramid<T>& pyramid_;
    const ChannelGroup group_;
    const T* const table_;
    Node pending_[kSideBySide];
    int pendingCount_ = 0;
};

/// Judges all blocks of a measured pyramid. `inherited`: one verdict per block, `inheritedStep` apart (0: the same for
/// all); channels whose state is not kSplit there keep it.
template <typename Depth>
void judge(const MosaicJob<Depth>& job, const Pyramid<typename Depth::Channel>& pyramid,
           const Verdict<typename Depth::Channel>* inherited, std::int32_t inheritedStep) {
    using T = typename Depth::Channel;
    const auto group = [&](int channel) {
        return job.joint && channel == kChannelR ? ChannelGroup{kChannelR, 3} : ChannelGroup{channel, 1};
    };
    for (int channel = 0; channel < kChannelsPerPixel; channel += group(channel).count) {
        const ChannelGroup channels = group(channel);
        if (job.processed[channel]) {
            Judge<Depth> walker(job, pyramid, channels);
            for (std::int32_t b = 0; b < pyramid.blocks; ++b) {
                if (inherited[b * inheritedStep].state.channel[channel] == kSplit<T>) {
                    walker.walk(0, 0, b);
                }
            }
        }
        for (std::int32_t b = 0; b < pyramid.blocks; ++b) {
            const Verdict<T>& above = inherited[b * inheritedStep];
            if (above.state.channel[channel] == kSplit<T>) {
                continue;
            }
            for (std::int32_t r = 0; r < pyramid.tileRows(); ++r) {
                Tile<T>* tile = pyramid.tileRow(r) + (b << pyramid.levels);
                for (std::int32_t i = 0; i < 1 << pyramid.levels; ++i) {
                    for (int c = channels.first; c < channels.first + channels.count; ++c) {
                        tile[i].verdict.state.channel[c] = above.state.channel[c];
                        tile[i].verdict.fill.channel[c] = above.fill.channel[c];
                    }
                }
            }
        }
    }
}

}  // namespace
}  // namespace quorvel
