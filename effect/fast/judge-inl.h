// SPDX-License-Identifier: MIT
// Deciding from the top of the quadtree down, by the spreads alone: which blocks are filled, kept, or split.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "effect/fast/average-inl.h"
#include "effect/fast/busy-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/job.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Judges the nodes of a measured pyramid, level by level. Afterwards every tile has its verdict.
template <typename Depth, typename S>
class Judge {
public:
    using T = typename Depth::Channel;

    /// `useTables` as in BusyTest. `spreadsOfSource`: the source decides by itself, and in float a channel that is not
    /// processed has a NaN for its lowest value if it holds what is not finite.
    Judge(const MosaicJob<Depth>& job, const Pyramid<T, S>& pyramid, bool useTables, bool spreadsOfSource)
        : job_(job),
          pyramid_(pyramid),
          busy_(job, useTables, kEachChannel),
          spreadsOfSource_(spreadsOfSource),
          unprocessed_(~repeat<M>(processedMask(job))) {}

    /// `above`: what has already been decided for each block.
    void judge(const Verdicts<T>& above) {
        for (std::int32_t level = 0; level <= pyramid_.levels; ++level) {
            for (std::int32_t row = 0; row < pyramid_.rowsAt(level); ++row) {
                judgeRow(level, row, above);
            }
            fillPending();
        }
    }

private:
    using V = Lanes<T>;
    using M = Lanes<Mask<T>>;
    static constexpr std::int32_t kPixels = kRegisterPixels<T>;

    /// To be filled with its average, in these channels.
    struct Node {
        std::int32_t row;
        std::int32_t column;
        Pixel<Mask<T>> channels;
    };
    static constexpr int kSideBySide = 8;

    void judgeRow(std::int32_t level, std::int32_t row, const Verdicts<T>& above) {
        const std::int32_t depth = pyramid_.depth + level;
        const bool last = level == pyramid_.levels;
        // What would be split into copies is copied at once.
        const bool deepest =
            last && (depth + 1 == job_.maximumDepth || pyramid_.rows[row + 1] - pyramid_.rows[row] < 3);
        const std::ptrdiff_t place = pyramid_.place(level, row, 0);
        const std::ptrdiff_t parents = level == 0 ? 0 : pyramid_.place(level - 1, row / 2, 0);
        for (std::int32_t column = 0; column < pyramid_.strideAt(level); column += kPixels) {
            const std::ptrdiff_t i = place + column * kChannelsPerPixel;
            M open;
            M keep;
            V fill;
            if (level == 0) {
                const std::ptrdiff_t block = above.step * column * kChannelsPerPixel;
                open = load<M>(above.open + block);
                keep = load<M>(above.keep + block);
                fill = load<V>(above.fill + block);
            } else {
                const std::ptrdiff_t parent = parents + column / 2 * kChannelsPerPixel;
                open = doubledPixels<T, M>(pyramid_.open + parent);
                keep = doubledPixels<T, M>(pyramid_.keep + parent);
                fill = doubledPixels<T, V>(pyramid_.fill + parent);
            }
            const V low = load<V>(pyramid_.low + i);
            const V high = load<V>(pyramid_.high + i);
            const M busy = busy_(low, high);
            M filled = open & ~busy;
            open = open & busy;
            if (depth == job_.maximumDepth) {
                keep = keep | open | filled;
                filled = M{};
                open = M{};
            } else if (depth > job_.maximumDepth || deepest) {
                keep = keep | open;
                open = M{};
            }
            if (last && spreadsOfSource_) {
                // What is the same everywhere need not be read again.
                M constant = equal<M>(low, high) & keep;
                if constexpr (sizeof(T) > 2) {
                    // There are two zeros, and a processed channel may hold NaNs.
                    constant = constant & ~equal<M>(low, V{}) & unprocessed_;
                }
                keep = keep & ~constant;
                fill = select(constant, low, fill);
            }
            store(pyramid_.open + i, open);
            store(pyramid_.keep + i, keep);
            store(pyramid_.fill + i, fill);
            if (!allZeros(filled)) {
                note(level, row, column, filled);
            }
        }
        if (last) {
            keepNarrow(place);
        }
    }

    /// Takes down the nodes of a register in which some channel is to be filled.
    void note(std::int32_t level, std::int32_t row, std::int32_t column, M filled) {
        Pixel<Mask<T>> masks[static_cast<std::size_t>(kPixels)];
        store(masks, filled);
        const std::int32_t columns = pyramid_.columnsAt(level);
        for (std::int32_t p = 0; p < kPixels && column + p < columns; ++p) {
            bool any = false;
            for (const auto mask : masks[p].channel) {
                any = any || mask != 0;
            }
            if (!any) {
                continue;
            }
            const Node node{row, column + p, masks[p]};
            if constexpr (sizeof(T) <= 2) {
                fillNode(level, node, averageOf(level, node));
            } else {
                level_ = level;
                pending_[pendingCount_++] = node;
                if (pendingCount_ == kSideBySide) {
                    fillPending();
                }
            }
        }
    }

    void fillNode(std::int32_t level, const Node& node, const Pixel<T>& average) {
        T* const fill = pyramid_.fill + pyramid_.place(level, node.row, node.column);
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            fill[c] = node.channels.channel[c] != 0 ? average.channel[c] : fill[c];
        }
    }

    Pixel<T> averageOf(std::int32_t level, const Node& node) const {
        const std::int32_t shift = pyramid_.levels - level;
        S sums[kChannelsPerPixel] = {};
        for (std::int32_t r = node.row << shift; r < (node.row + 1) << shift; ++r) {
            const S* tile = pyramid_.sumsOfTile(r, node.column << shift);
            for (std::int32_t i = 0; i < 1 << shift; ++i, tile += kChannelsPerPixel) {
                for (int c = 0; c < kChannelsPerPixel; ++c) {
                    sums[c] += tile[c];
                }
            }
        }
        const Region region = pyramid_.region(level, node.row, node.column);
        return quotients<T>(sums, region.width * region.height);
    }

    /// Fills the pending nodes, which are summed side by side.
    void fillPending() {
        if constexpr (sizeof(T) > 2) {
            Region regions[kSideBySide];
            FloatPixel sums[kSideBySide];
            for (int b = 0; b < pendingCount_; ++b) {
                regions[b] = pyramid_.region(level_, pending_[b].row, pending_[b].column);
            }
            int done = 0;
            const auto sum = [&]<std::size_t Count>(std::integral_constant<std::size_t, Count>) {
                if (pendingCount_ - done >= static_cast<int>(Count)) {
                    sumSideBySide<Count>(job_.source, regions + done, sums + done);
                    done += static_cast<int>(Count);
                }
            };
            sum(std::integral_constant<std::size_t, kSideBySide>{});
            sum(std::integral_constant<std::size_t, 4>{});
            sum(std::integral_constant<std::size_t, 2>{});
            sum(std::integral_constant<std::size_t, 1>{});
            for (int b = 0; b < pendingCount_; ++b) {
                const std::int32_t count = regions[b].width * regions[b].height;
                Pixel<T> average;
                for (int c = 0; c < kChannelsPerPixel; ++c) {
                    average.channel[c] =
                        job_.joint ? Depth::jointAverage(sums[b][c], count) : Depth::singleAverage(sums[b][c], count);
                }
                fillNode(level_, pending_[b], average);
            }
            pendingCount_ = 0;
        }
    }

    /// Tiles of one or two columns are not split further.
    void keepNarrow(std::ptrdiff_t place) {
        const std::int32_t columns = pyramid_.columnsAt(pyramid_.levels);
        for (std::int32_t c = 0; c < columns; ++c) {
            if (pyramid_.columns[c + 1] - pyramid_.columns[c] < 3) {
                for (std::ptrdiff_t i = place + c * kChannelsPerPixel; i < place + (c + 1) * kChannelsPerPixel; ++i) {
                    pyramid_.keep[i] = static_cast<Mask<T>>(pyramid_.keep[i] | pyramid_.open[i]);
                    pyramid_.open[i] = 0;
                }
            }
        }
    }

    const MosaicJob<Depth>& job_;
    const Pyramid<T, S>& pyramid_;
    const BusyTest<Depth, V> busy_;
    const bool spreadsOfSource_;
    const M unprocessed_;
    Node pending_[kSideBySide];  ///< noted, but not filled yet; only float sums wait for company
    int pendingCount_ = 0;
    std::int32_t level_ = 0;  ///< of the pending nodes
};

/// Gives the tiles of a joint quadtree one spread of R, G and B; does nothing otherwise.
template <typename Depth, typename S>
void foldTiles(const MosaicJob<Depth>& job, const Pyramid<typename Depth::Channel, S>& pyramid) {
    using T = typename Depth::Channel;
    using V = Lanes<T>;
    using M = Lanes<Mask<T>>;
    if (!job.joint) {
        return;
    }
    Pixel<Mask<T>> rgb{};
    for (int c = kChannelR; c <= kChannelB; ++c) {
        rgb.channel[c] = maskOf<T>(true);
    }
    const auto folded = repeat<M>(rgb);
    const std::ptrdiff_t begin = pyramid.place(pyramid.levels, 0, 0);
    const std::ptrdiff_t end = pyramid.place(pyramid.levels, pyramid.rowsAt(pyramid.levels), 0);
    for (std::ptrdiff_t i = begin; i < end; i += static_cast<std::ptrdiff_t>(kLanes<T>)) {
        const V low = load<V>(pyramid.low + i);
        const V high = load<V>(pyramid.high + i);
        store(pyramid.low + i, select(folded, foldJoint<T, false>(low), low));
        store(pyramid.high + i, select(folded, foldJoint<T, true>(high), high));
    }
}

}  // namespace
}  // namespace quorvel::fast
