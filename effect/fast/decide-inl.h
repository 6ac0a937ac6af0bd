// SPDX-License-Identifier: MIT
// Deciding which blocks are filled, kept or split: from the top of the quadtree down, by their spreads alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "effect/depth.h"
#include "effect/fast/average_blocks-inl.h"
#include "effect/fast/busy-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/job.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Decides the nodes of a measured pyramid, level by level. In the end, every tile has its decision.
template <typename Depth, typename S>
class Decider {
public:
    using T = typename Depth::Channel;

    /// `useTables` as in BusyTest. `spreadsOfSource`: the spreads are those of the source itself, and in float a
    /// channel that is not processed has a NaN as its lowest value unless all its values are finite.
    Decider(const MosaicJob<Depth>& job, const Pyramid<T, S>& pyramid, bool useTables, bool spreadsOfSource)
        : job_(job),
          pyramid_(pyramid),
          busy_(job, useTables, kEachChannel),
          spreadsOfSource_(spreadsOfSource),
          unprocessed_(~repeat<M>(processedMask(job))) {}

    /// `above`: the decisions made so far, for each block.
    void decide(const Decisions<T>& above) {
        for (std::int32_t level = 0; level <= pyramid_.levels; ++level) {
            for (std::int32_t row = 0; row < pyramid_.rowsAt(level); ++row) {
                decideRow(level, row, above);
            }
            fillPending();
        }
    }

private:
    using V = Register<T>;
    using M = Register<Mask<T>>;
    static constexpr std::int32_t kPixels = kRegisterPixels<T>;

    /// A node to be filled with its average in some channels.
    struct Node {
        std::int32_t row;
        std::int32_t column;
        Pixel<Mask<T>> channels;
    };
    static constexpr int kSideBySide = 8;

    void decideRow(std::int32_t level, std::int32_t row, const Decisions<T>& above) {
        const std::int32_t treeLevel = pyramid_.topLevel + level;
        const bool last = level == pyramid_.levels;
        // A tile that would be split into copies is copied at once.
        const bool deepest =
            last && (treeLevel + 1 == job_.maximumLevel || pyramid_.rows[row + 1] - pyramid_.rows[row] < 3);
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
            if (treeLevel == job_.maximumLevel) {
                keep = keep | open | filled;
                filled = M{};
                open = M{};
            } else if (treeLevel > job_.maximumLevel || deepest) {
                keep = keep | open;
                open = M{};
            }
            if (last && spreadsOfSource_) {
                // A constant channel is filled rather than kept: it need not be read again.
                M constant = equal<M>(low, high) & keep;
                if constexpr (!Depth::kIsInteger) {
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

    /// Fills the nodes of a register that have channels to be filled, or puts them on the list of pending nodes.
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
            if constexpr (Depth::kIsInteger) {
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
        if constexpr (!Depth::kIsInteger) {
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

    /// Keeps tiles of one or two columns, which are not split further.
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
    Node pending_[kSideBySide];  ///< to be summed side by side; floats only
    int pendingCount_ = 0;
    std::int32_t level_ = 0;  ///< of the pending nodes
};

/// The lowest (highest) of R, G and B, in the places of all three. Channel A of the result has no meaning.
// a r g b -> ? m m m
template <typename T, Extreme Which, typename V>
[[gnu::always_inline]] inline V foldJoint(V value) {
    if constexpr (DepthOf<T>::kIsInteger) {
        // A pixel is one integer: shifting it right moves G, and then B, to R's place.
        constexpr int kBits = 8 * sizeof(T);
        using Word = Unsigned<kChannelsPerPixel * sizeof(T)>;
        using Words = Vector<Word, sizeof(V)>;
        const auto words = reinterpret<Words>(value);
        const V folded = minOrMax<Which>(minOrMax<Which>(value, reinterpret<V>(shiftedRight<kBits>(words))),
                                         reinterpret<V>(shiftedRight<2 * kBits>(words)));
        Words word = shiftedRight<kBits>(reinterpret<Words>(folded)) & splat<Words>(Word{(1U << kBits) - 1});
        word = word | shiftedLeft<kBits>(word);
        word = word | shiftedLeft<2 * kBits>(word);
        return reinterpret<V>(word);
    } else {
        return minOrMax<Which>(minOrMax<Which>(permuteItems<1, 1, 1, 2, 3>(value), permuteItems<1, 2, 2, 3, 1>(value)),
                               permuteItems<1, 3, 3, 1, 2>(value));  // r r g b, g g b r, b b r g
    }
}

/// Replaces the spreads of R, G and B in the tiles of a joint quadtree by their common one. Does nothing in others.
template <typename Depth, typename S>
void foldTiles(const MosaicJob<Depth>& job, const Pyramid<typename Depth::Channel, S>& pyramid) {
    using T = typename Depth::Channel;
    using V = Register<T>;
    using M = Register<Mask<T>>;
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
    for (std::ptrdiff_t i = begin; i < end; i += static_cast<std::ptrdiff_t>(kRegisterChannels<T>)) {
        const V low = load<V>(pyramid.low + i);
        const V high = load<V>(pyramid.high + i);
        store(pyramid.low + i, select(folded, foldJoint<T, Extreme::Lowest>(low), low));
        store(pyramid.high + i, select(folded, foldJoint<T, Extreme::Highest>(high), high));
    }
}

}  // namespace
}  // namespace quorvel::fast
