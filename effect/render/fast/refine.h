// SPDX-License-Identifier: MIT
// Inside tiles that are split: two more halvings make up to four by four parts of one or two pixels a side.
//
// Half a tile's width, one to four pixels, is arranged as four pixels: the two of each part side by side, a part of a
// single pixel twice. Then neighbours make the smallest parts, and pairs of neighbours the parts above, for many tiles
// at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "effect/render/fast/average.h"
#include "effect/render/fast/kernel.h"
#include "effect/render/fast/measure.h"
#include "effect/render/fast/vector.h"
#include "effect/render/fast/workspace.h"
#include "effect/render/fast/write.h"

namespace quorvel {
namespace {

/// Puts the lowest (highest) of R, G and B into all three.
template <typename T, bool Highest, typename V>
[[gnu::always_inline]] inline V foldJoint(V value) {
    const auto fold = [](V a, V b) { return Highest ? larger(a, b) : smaller(a, b); };
    if constexpr (sizeof(T) <= 2) {
        // A pixel is one integer: shifted right, G and then B come to stand in R's place.
        constexpr int kBits = 8 * sizeof(T);
        using Word = std::conditional_t<sizeof(T) == 1, std::uint32_t, std::uint64_t>;
        using Words = Vector<Word, sizeof(V)>;
        const auto words = reinterpret<Words>(value);
        const V folded = fold(fold(value, reinterpret<V>(shiftedRight<kBits>(words))),
                              reinterpret<V>(shiftedRight<2 * kBits>(words)));
        Words word = shiftedRight<kBits>(reinterpret<Words>(folded)) & splat<Words>(Word{(1U << kBits) - 1});
        word = word | shiftedLeft<kBits>(word);
        word = word | shiftedLeft<2 * kBits>(word);
        return reinterpret<V>(word);
    } else {
        return fold(fold(permuteItems<1, 1, 1, 2, 3>(value), permuteItems<1, 2, 2, 3, 1>(value)),
                    permuteItems<1, 3, 3, 1, 2>(value));
    }
}

/// Rows of tiles some of which are split: plans and writes them.
template <typename Depth>
class Refiner {
public:
    using T = typename Depth::Channel;

    Refiner(const MosaicJob<Depth>& job, const DecidingPicture<T>& picture, Workspace<T>& work, bool useTables)
        : job_(job), picture_(picture), work_(work), useTables_(useTables) {
        Pixel<T> first{};
        Pixel<T> last{};
        Pixel<Mask<T>> outside{};
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            first.channel[c] = job.busy[c].first;
            last.channel[c] = job.busy[c].last;
            outside.channel[c] = job.busy[c].outside ? kKept<T> : kFilled<T>;
        }
        first_ = repeat<Wide>(first);
        last_ = repeat<Wide>(last);
        outside_ = repeat<WideMask>(outside);
    }

    void drawTileRow(const Pyramid<T>& pyramid, std::int32_t row) {
        tiles_ = pyramid.tileRow(row);
        columns_ = pyramid.columns;
        depth_ = pyramid.depth + pyramid.levels;
        const std::int32_t columns = pyramid.tileColumns();
        const std::int32_t width = columns_[columns] - columns_[0];
        const Quarters ys = quartersOf(pyramid.rows[row], pyramid.rows[row + 1]);
        for (int half = 0; half < 2; ++half) {
            if (ys.bounds[2 * half] == ys.bounds[2 * half + 2]) {
                continue;
            }
            for (int i = 0; i < 3; ++i) {
                y_[i] = ys.bounds[2 * half + i];
            }
            plan(columns, width);
            for (int k = 0; k < 2; ++k) {
                mergeRows(job_.output, job_.source, {columns_[0], y_[k], width, y_[k + 1] - y_[k]}, work_.keep[k],
                          work_.fill[k]);
            }
        }
    }

    static bool isSplit(const Verdict<T>& verdict) {
        bool split = false;
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            split |= verdict.state.channel[c] == kSplit<T>;
        }
        return split;
    }

private:
    using Q = Quartet<T>;
    using M = Vector<Mask<T>, sizeof(Q)>;
    /// A register, but four pixels at the least.
    static constexpr std::size_t kWideBytes = kVectorBytes > kQuartetBytes<T> ? kVectorBytes : kQuartetBytes<T>;
    static constexpr auto kWideLanes = static_cast<std::int32_t>(kWideBytes / sizeof(T));
    using Wide = Vector<T, kWideBytes>;
    using WideMask = Vector<Mask<T>, kWideBytes>;

    /// So many split tiles are decided together.
    static constexpr std::int32_t kBatch = 16;
    static constexpr std::int32_t kSideChannels = 4 * kChannelsPerPixel;
    static constexpr std::int32_t kTileChannels = 2 * kSideChannels;

    /// The upper or lower half of the split tiles of a batch, as arranged pixels: measured, then decided.
    struct Batch {
        T low[2][kBatch * kTileChannels];
        T high[2][kBatch * kTileChannels];
        Mask<T> keep[2][kBatch * kTileChannels];  ///< for parts of both halvings
        Mask<T> busy[kBatch * kTileChannels];     ///< for those of the first
    };

    /// The first and the last row of each row interval in the deciding picture, from the first column on.
    struct Rows {
        const T* begin[2][2];
        bool empty[2];
    };

    /// Plans the two row intervals of one half of the tiles.
    void plan(std::int32_t columns, std::int32_t width) {
        // All that the loop reads stands in its own frame: nothing written through channel pointers can change it.
        const Rows rows = findRows(width);
        const Tile<T>* const tiles = tiles_;
        const std::int32_t* const bounds = columns_;
        const std::int32_t left = bounds[0];
        Batch batch;
        std::int32_t batchBegin = 0;
        std::int32_t batched = 0;
        for (std::int32_t c = 0; c < columns; ++c) {
            if (!isSplit(tiles[c].verdict)) {
                continue;
            }
            const std::int32_t begin = bounds[c];
            const std::int32_t end = bounds[c + 1];
            const std::int32_t middle = begin + (end - begin) / 2;
            const std::int32_t place = batched++ * kTileChannels;
            gather(batch, rows, place, begin, middle - begin, left);
            gather(batch, rows, place + kSideChannels, middle, end - middle, left);
            if (batched == kBatch) {
                decide(batch, batched);
                emit(batch, batchBegin, c + 1);
                batchBegin = c + 1;
                batched = 0;
            }
        }
        if (batched > 0) {
            decide(batch, batched);
        }
        emit(batch, batchBegin, columns);
    }

    Rows findRows(std::int32_t width) {
        Rows rows;
        for (int k = 0; k < 2; ++k) {
            rows.empty[k] = y_[k] == y_[k + 1];
            const std::int32_t first = y_[k];
            const std::int32_t last = rows.empty[k] ? first : y_[k + 1] - 1;
            if (picture_.origin != nullptr) {
                rows.begin[k][0] = picture_.at(columns_[0], first);
                rows.begin[k][1] = picture_.at(columns_[0], last);
                continue;
            }
            rows.begin[k][0] = rows.begin[k][1] = work_.minimum[k].channels();
            if (!rows.empty[k]) {
                sampleRow(picture_, columns_[0], first, width, work_.minimum[k].channels());
            }
            if (last != first) {
                rows.begin[k][1] = work_.maximum[k].channels();
                sampleRow(picture_, columns_[0], last, width, work_.maximum[k].channels());
            }
        }
        return rows;
    }

    /// One half of a tile's width: both row intervals, measured down.
    [[gnu::always_inline]] static void gather(Batch& batch, const Rows& rows, std::int32_t place, std::int32_t x,
                                              std::int32_t width, std::int32_t left) {
        gatherInterval<0>(batch, rows, place, x, width, left);
        gatherInterval<1>(batch, rows, place, x, width, left);
    }

    template <int K>
    [[gnu::always_inline]] static void gatherInterval(Batch& batch, const Rows& rows, std::int32_t place,
                                                      std::int32_t x, std::int32_t width, std::int32_t left) {
        Q low = splat<Q>(Depth::kMinimumStart);
        Q high = splat<Q>(Depth::kMaximumStart);
        if (!rows.empty[K]) {
            const std::ptrdiff_t across = static_cast<std::ptrdiff_t>(x - left) * kChannelsPerPixel;
            const Q first = arranged(rows.begin[K][0] + across, width, x > 0);
            const Q last = arranged(rows.begin[K][1] + across, width, x > 0);
            low = smaller(last, smaller(first, low));
            high = larger(last, larger(first, high));
        }
        store(batch.low[K] + place, low);
        store(batch.high[K] + place, high);
    }

    /// Half a tile's width out of a row: the two pixels of each part side by side.
    [[gnu::always_inline]] static Q arranged(const T* from, std::int32_t width, bool hasPixelBefore) {
        if (width == 4) {
            return load<Q>(from);
        }
        if (width == 3) {
            // Pixels 0 0 1 2, without a look at what is behind them, unless it is known to be in the same tile.
            return hasPixelBefore ? permutePixels<T, 1, 1, 2, 3>(load<Q>(from - kChannelsPerPixel))
                                  : permutePixels<T, 0, 0, 1, 2>(load<Q>(from));
        }
        Pixel<T> pixels[4];
        const std::ptrdiff_t second = static_cast<std::ptrdiff_t>(width - 1) * kChannelsPerPixel;
        __builtin_memcpy(&pixels[0], from, sizeof pixels[0]);
        __builtin_memcpy(&pixels[2], from + second, sizeof pixels[2]);
        pixels[1] = pixels[0];
        pixels[3] = pixels[2];
        return load<Q>(pixels);
    }

    /// What is kept, if the halves of the tiles can be halved again.
    void decide(Batch& batch, std::int32_t tiles) const {
        const bool halvesAreLast = depth_ + 1 == job_.maximumDepth;
        const bool quartersAreDecided = y_[2] - y_[0] >= 3 && depth_ + 2 != job_.maximumDepth;
        for (std::int32_t i = 0; i < tiles * kTileChannels; i += kWideLanes) {
            if (halvesAreLast) {
                store(batch.busy + i, ~WideMask{});
                store(batch.keep[0] + i, ~WideMask{});
                store(batch.keep[1] + i, ~WideMask{});
            } else if (job_.joint) {
                decideLanes<true>(batch, i, quartersAreDecided);
            } else {
                decideLanes<false>(batch, i, quartersAreDecided);
            }
        }
    }

    template <bool Joint>
    [[gnu::always_inline]] inline void decideLanes(Batch& batch, std::int32_t place, bool quartersAreDecided) const {
        const auto narrowest = [](Wide low) {
            low = smaller(swapNeighbours<T>(low), low);
            return Joint ? foldJoint<T, false>(low) : low;
        };
        const auto widest = [](Wide high) {
            high = larger(swapNeighbours<T>(high), high);
            return Joint ? foldJoint<T, true>(high) : high;
        };
        const Wide low0 = narrowest(load<Wide>(batch.low[0] + place));
        const Wide low1 = narrowest(load<Wide>(batch.low[1] + place));
        const Wide high0 = widest(load<Wide>(batch.high[0] + place));
        const Wide high1 = widest(load<Wide>(batch.high[1] + place));
        Wide low = smaller(low1, low0);
        Wide high = larger(high1, high0);
        low = smaller(swapPairs<T>(low), low);
        high = larger(swapPairs<T>(high), high);
        const WideMask busy = busyMask(low, high);
        WideMask keep0 = busy;
        WideMask keep1 = busy;
        if (quartersAreDecided) {
            keep0 = keep0 & busyMask(low0, high0);
            keep1 = keep1 & busyMask(low1, high1);
        }
        store(batch.busy + place, busy);
        store(batch.keep[0] + place, keep0);
        store(batch.keep[1] + place, keep1);
    }

    [[gnu::always_inline]] inline WideMask busyMask(Wide low, Wide high) const {
        if (useTables_) {
            return busyByTable(low, high);
        }
        Wide contrast;
        if constexpr (sizeof(T) <= 2) {
            contrast = high - low;
        } else {
            contrast = smaller(splat<Wide>(1.0F), high) - larger(splat<Wide>(0.0F), low);
        }
        return within<WideMask>(contrast, first_, last_) ^ outside_;
    }

    [[gnu::noinline]] WideMask busyByTable(Wide low, Wide high) const {
        T lows[kWideBytes / sizeof(T)];
        T highs[kWideBytes / sizeof(T)];
        Mask<T> busy[kWideBytes / sizeof(T)];
        store(lows, low);
        store(highs, high);
        for (int i = 0; i < kWideLanes; ++i) {
            const T* table = job_.tables[i % kChannelsPerPixel];
            const bool isBusy = table != nullptr && table[Depth::levelOf(lows[i], highs[i])] > job_.threshold;
            busy[i] = isBusy ? kKept<T> : kFilled<T>;
        }
        return load<WideMask>(busy);
    }

    /// Puts tiles into the scratch rows, the split ones from the batch.
    void emit(const Batch& batch, std::int32_t begin, std::int32_t end) {
        const Tile<T>* const tiles = tiles_;
        const std::int32_t* const bounds = columns_;
        const std::int32_t left = bounds[0];
        std::int32_t index = 0;
        for (std::int32_t c = begin; c < end; ++c) {
            const Verdict<T>& verdict = tiles[c].verdict;
            const std::int32_t x0 = bounds[c];
            const std::int32_t x2 = bounds[c + 1];
            if (isSplit(verdict)) {
                const std::int32_t x1 = x0 + (x2 - x0) / 2;
                const std::int32_t place = index++ * kTileChannels;
                emitSide(batch, place, verdict, x0, x1, left);
                emitSide(batch, place + kSideChannels, verdict, x1, x2, left);
                continue;
            }
            for (int k = 0; k < 2; ++k) {
                planEvenly(work_.keep[k], work_.fill[k], x0 - left, x2 - x0, verdict);
            }
        }
    }

    [[gnu::always_inline]] inline void emitSide(const Batch& batch, std::int32_t place, const Verdict<T>& verdict,
                                                std::int32_t x0, std::int32_t x2, std::int32_t left) {
        const std::int32_t width = x2 - x0;
        // Too narrow to be halved again.
        const Mask<T>* from[2] = {(width < 3 ? batch.busy : batch.keep[0]) + place,
                                  (width < 3 ? batch.busy : batch.keep[1]) + place};
        const M state = repeat<M>(verdict.state);
        const M split = within<M>(state, splat<M>(kSplit<T>), splat<M>(kSplit<T>));
        const M kept = state & ~split;
        const M keep0 = (load<M>(from[0]) & split) | kept;
        const M keep1 = (load<M>(from[1]) & split) | kept;
        storeArranged(work_.keep[0].pixel(x0 - left), keep0, width);
        storeArranged(work_.keep[1].pixel(x0 - left), keep1, width);
        if (allOnes(keep0 & keep1)) {
            return;
        }
        Fills fills{{repeat<Q>(verdict.fill), repeat<Q>(verdict.fill)}};
        fillParts({x0, x0 + width / 2, x2}, batch.busy + place, verdict, fills);
        storeArranged(work_.fill[0].pixel(x0 - left), fills.row[0], width);
        storeArranged(work_.fill[1].pixel(x0 - left), fills.row[1], width);
    }

    /// Undoes the arrangement. Up to three pixels behind are overwritten.
    template <typename C, typename V>
    [[gnu::always_inline]] static void storeArranged(C* to, V value, std::int32_t width) {
        store(to, width == 4 ? value : permutePixels<T, 1, 2, 3, 3>(value));
    }

    struct ColumnPair {
        std::int32_t bounds[3];
    };
    struct Fills {
        Q row[2];
    };

    /// Averages of those parts of a half that are not kept. What is computed for kept channels is never looked at.
    [[gnu::always_inline]] inline void fillParts(const ColumnPair& columns, const Mask<T>* busy,
                                                 const Verdict<T>& verdict, Fills& fills) const {
        if (job_.joint) {
            fillGroup(columns, busy[kChannelR] == kKept<T>, fills);
            return;
        }
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            if (verdict.state.channel[c] != kSplit<T>) {
                continue;
            }
            Fills group{};
            fillGroup(columns, busy[c] == kKept<T>, group);
            Pixel<Mask<T>> only{};
            only.channel[c] = kKept<T>;
            const M mask = repeat<M>(only);
            for (int k = 0; k < 2; ++k) {
                fills.row[k] = reinterpret<Q>(select(mask, reinterpret<M>(group.row[k]), reinterpret<M>(fills.row[k])));
            }
        }
    }

    /// The average of the whole, or those of its parts.
    [[gnu::always_inline]] inline void fillGroup(const ColumnPair& columns, bool inParts, Fills& fills) const {
        const std::int32_t* x = columns.bounds;
        const auto average = [&](int left, int right, int top, int bottom) {
            return smallAverage<Depth>(job_.source, {x[left], y_[top], x[right] - x[left], y_[bottom] - y_[top]},
                                       job_.joint);
        };
        if (!inParts) {
            fills.row[0] = fills.row[1] = repeat<Q>(average(0, 2, 0, 2));
            return;
        }
        if (x[2] - x[0] < 3 || y_[2] - y_[0] < 3) {
            return;  // it has no parts, and is kept
        }
        for (int k = 0; k < 2; ++k) {
            const Pixel<T> left = average(0, 1, k, k + 1);
            const Pixel<T> right = average(1, 2, k, k + 1);
            const Pixel<T> pixels[4] = {left, left, right, right};
            fills.row[k] = load<Q>(pixels);
        }
    }

    const MosaicJob<Depth>& job_;
    const DecidingPicture<T>& picture_;
    Workspace<T>& work_;
    const bool useTables_;
    const Tile<T>* tiles_ = nullptr;
    const std::int32_t* columns_ = nullptr;
    std::int32_t depth_ = 0;  ///< of the tiles
    std::int32_t y_[3] = {};  ///< bounds of the two row intervals
    Wide first_;
    Wide last_;
    WideMask outside_;
};

}  // namespace
}  // namespace quorvel
