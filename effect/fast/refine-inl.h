// SPDX-License-Identifier: MIT
// Inside tiles that are split: two more halvings make quarters, and of those up to four by four parts of one or two
// pixels a side, all decided at once in vectors.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/arrange-inl.h"
#include "effect/fast/average-inl.h"
#include "effect/fast/busy-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/job.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/picture-inl.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/fast/write-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Rows of tiles some of which are split: finishes and writes them. All of it is inlined where the one Refiner is:
/// members stay in registers as long as the compiler sees that no store through a pointer to channels can change them,
/// which is worth a tenth of the time.
template <typename Depth>
class Refiner {
public:
    using T = typename Depth::Channel;

    /// `useTables` as in BusyTest.
    Refiner(const MosaicJob<Depth>& job, const Pictures<T>& pictures, const Pyramid<T, std::uint32_t>& pyramid,
            Workspace<T>& work, bool useTables)
        : job_(job),
          pictures_(pictures),
          pyramid_(pyramid),
          work_(work),
          busy_{{job, useTables, everyLane(kChannelA)},
                {job, useTables, everyLane(kChannelR)},
                {job, useTables, everyLane(kChannelG)},
                {job, useTables, everyLane(kChannelB)}},
          lastHalving_(pyramid.depth + pyramid.levels + 2 == job.maximumDepth) {}

    /// A row of tiles some of which are split, so of at least three rows of pixels.
    [[gnu::always_inline]] inline void drawTileRow(std::int32_t row) {
        const std::int32_t columns = pyramid_.columnsAt(pyramid_.levels);
        const std::int32_t* const bounds = pyramid_.columns;
        beginRow(row);
        const std::ptrdiff_t place = pyramid_.place(pyramid_.levels, row, 0);
        const Verdicts<T> verdicts{pyramid_.open + place, pyramid_.keep + place, pyramid_.fill + place, 1};
        for (std::int32_t begin = 0; begin < columns;) {
            std::int32_t end = begin + 1;
            while (end < columns && bounds[end + 1] - bounds[begin] <= kSpanPixels<T>) {
                ++end;
            }
            finishSpan(verdicts, begin, end);
            for (std::int32_t j = 0; !kPutsBackExactly<T> && j < height_; ++j) {
                copyRow<T>(outputAt(bounds[begin], j), job_.output.stride * height_, work_.finished[j].channels(),
                           (bounds[end] - bounds[begin]) * kChannelsPerPixel);
            }
            begin = end;
        }
    }

private:
    using W = Wide<T>;
    using M = WideMask<T>;
    static constexpr int kIntervals = 4;

    // So much is loaded at once, without reaching over the ends of a frame's rows.
    static_assert(kWidePixels<T> <= kNarrowestFrame);

    /// Of each row interval the first and the last row.
    struct Rows {
        const T* row[2 * kIntervals];
    };

    /// The rows of the tiles, and what depends on them alone.
    [[gnu::always_inline]] inline void beginRow(std::int32_t row) {
        y_ = pyramid_.rows[row];
        height_ = pyramid_.rows[row + 1] - y_;
        const Quarters quarters = quartersOf(0, height_);
        Pixel<Mask<T>> tooShort;
        Pixel<Mask<T>> oneRow;
        for (int k = 0; k < kIntervals; ++k) {
            begin_[k] = quarters.bounds[k];
            count_[k] = quarters.bounds[k + 1] - quarters.bounds[k];
            const std::int32_t half = quarters.bounds[k / 2 * 2 + 2] - quarters.bounds[k / 2 * 2];
            tooShort.channel[k] = maskOf<T>(half < 3);
            oneRow.channel[k] = maskOf<T>(count_[k] == 1);
        }
        tooShort_ = repeat<M>(tooShort);
        oneRow_ = repeat<M>(oneRow);
        for (int half = 0; half < 2; ++half) {
            const std::int32_t rows = count_[2 * half] + count_[2 * half + 1];
            for (std::int32_t width = 3; width <= kMaximumTileSize; ++width) {
                T* const divisors = divisors_[half][width].channel;
                store(divisors, ArrangedAverages<T>::divisors(rows * (width / 2), job_.joint));
                store(divisors + 4 * kChannelsPerPixel,
                      ArrangedAverages<T>::divisors(rows * (width - width / 2), job_.joint));
            }
        }
    }

    /// The rows of a span of tiles, from its first pixel on.
    [[gnu::always_inline]] inline void findRows(std::int32_t left, std::int32_t width) {
        const T* deciding[kMaximumTileSize];
        const T* above = nullptr;
        for (std::int32_t j = 0; j < height_; ++j) {
            if (pictures_.deciding.origin != nullptr) {
                deciding[j] = pictures_.deciding.at(left, y_ + j);
                continue;
            }
            const T* const row = layerRow(pictures_.deciding, y_ + j);
            if (j > 0 && row == above) {
                deciding[j] = deciding[j - 1];
                continue;
            }
            above = row;
            sampleRow(pictures_.deciding, row, left, width, work_.sampledRows[j].channels());
            deciding[j] = work_.sampledRows[j].channels();
        }
        for (int k = 0; k < kIntervals; ++k) {
            // An empty interval, which only the first of three rows' can be, has the row behind it.
            const std::int32_t rows[2] = {begin_[k], count_[k] == 2 ? begin_[k] + 1 : begin_[k]};
            for (int i = 0; i < 2; ++i) {
                source_.row[2 * k + i] = pictures_.source.at(left, y_ + rows[i]);
                deciding_.row[2 * k + i] = deciding[rows[i]];
            }
        }
    }

    T* outputAt(std::int32_t x, std::int32_t row) const {
        return job_.output.pixels + (y_ + row) * job_.output.stride +
               static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel;
    }

    /// Finishes some tiles, in the output if that can be done exactly, otherwise in scratch rows that begin with them.
    [[gnu::always_inline]] inline void finishSpan(const Verdicts<T>& verdicts, std::int32_t begin, std::int32_t end) {
        const std::int32_t* const bounds = pyramid_.columns;
        constexpr std::int32_t kTiles = Arrangement<T>::kTiles;
        findRows(bounds[begin], bounds[end] - bounds[begin]);
        for (std::int32_t c = begin; c < end; c += kTiles) {
            for (int half = 0; half < (kHalvesPerWide<T> == 1 ? 2 : 1); ++half) {
                const Arrangement<T> tiles(bounds + c, c + 1 < end, half == 1, bounds[begin], 0, job_.output.width);
                const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(c) * kChannelsPerPixel;
                finish(tiles, {verdicts.open + i, verdicts.keep + i, verdicts.fill + i, 1}, bounds[c],
                       bounds[c] - bounds[begin]);
            }
        }
    }

    /// Something for each row interval of arranged tiles.
    template <typename V>
    using Intervals = V[kIntervals];
    /// And for the first and the last row of each.
    using ArrangedRows = W[2 * kIntervals];

    [[gnu::always_inline]] inline void arrangeRows(const Arrangement<T>& tiles, const Rows& rows,
                                                   ArrangedRows& arranged) const {
        for (int k = 0; k < kIntervals; ++k) {
            arranged[2 * k] = tiles.arranged(rows.row[2 * k]);
            arranged[2 * k + 1] = count_[k] == 2 ? tiles.arranged(rows.row[2 * k + 1]) : arranged[2 * k];
        }
    }

    /// Finishes all rows of arranged tiles, which begin at x and so far from the beginning of the span.
    [[gnu::always_inline]] inline void finish(const Arrangement<T>& tiles, const Verdicts<T>& verdicts, std::int32_t x,
                                              std::int32_t fromSpan) {
        ArrangedRows source;
        arrangeRows(tiles, source_, source);
        const M open = tiles.template ofTiles<M>(verdicts.open);
        const M kept = tiles.template ofTiles<M>(verdicts.keep);
        const W filled = tiles.template ofTiles<W>(verdicts.fill);
        Intervals<M> keep{kept, kept, kept, kept};
        Intervals<W> fill{filled, filled, filled, filled};
        if (!allZeros(open)) {
            Intervals<M> keepParts;
            Intervals<M> busyQuarters;
            if (pictures_.separate) {
                ArrangedRows deciding;
                arrangeRows(tiles, deciding_, deciding);
                decide(tiles, deciding, keepParts, busyQuarters);
            } else {
                decide(tiles, source, keepParts, busyQuarters);
            }
            byInterval(keepParts);
            M all = ~M{};
            for (int k = 0; k < kIntervals; ++k) {
                keep[k] = (keepParts[k] & open) | kept;
                all = all & keep[k];
            }
            if (!allOnes(all)) {
                byInterval(busyQuarters);
                average(tiles, source, busyQuarters, open, fill);
            }
        }
        for (int k = 0; k < kIntervals; ++k) {
            for (std::int32_t j = 0; j < count_[k]; ++j) {
                const std::int32_t row = begin_[k] + j;
                const W finished = select(keep[k], source[2 * k + j], fill[k]);
                if constexpr (kPutsBackExactly<T>) {
                    fetchToWriteLater(outputAt(x, row), job_.output.stride * height_);
                    tiles.putBack(outputAt(x, row), finished);
                } else {
                    tiles.putBack(work_.finished[row].pixel(fromSpan), finished);
                }
            }
        }
    }

    /// Turns masks of each channel, which have the row intervals in the places of a pixel's channels, into masks of
    /// each interval; those of channels that are not processed have no meaning.
    [[gnu::always_inline]] inline void byInterval(Intervals<M>& masks) const {
        if (job_.joint) {
            const M joint = masks[kChannelR];
            masks[0] = everyChannel<T, 0>(joint);
            masks[1] = everyChannel<T, 1>(joint);
            masks[2] = everyChannel<T, 2>(joint);
            masks[3] = everyChannel<T, 3>(joint);
        } else {
            transpose<T>(masks);
        }
    }

    /// What is kept, and which quarters of the tiles are busy: masks of each channel, as byInterval takes them.
    [[gnu::always_inline]] inline void decide(const Arrangement<T>& tiles, const ArrangedRows& rows, Intervals<M>& keep,
                                              Intervals<M>& busyQuarters) const {
        const M unique = tiles.template ofWidths<M>(kUniqueMasks<T>.ofWidth);
        Intervals<W> low;
        Intervals<W> high;
        for (int k = 0; k < kIntervals; ++k) {
            low[k] = rows[2 * k];
            high[k] = rows[2 * k];
            if constexpr (sizeof(T) > 2) {
                // A measure's start gives way to a number, but not to a NaN.
                low[k] = smaller(low[k], splat<W>(Depth::kMinimumStart));
                high[k] = larger(high[k], splat<W>(Depth::kMaximumStart));
            }
            low[k] = smaller(rows[2 * k + 1], low[k]);
            high[k] = larger(rows[2 * k + 1], high[k]);
        }
        transpose<T>(low);
        transpose<T>(high);
        // Only quarters of at least three pixels in both directions are split; others are kept if they are busy.
        M keepIfBusy = tooShort_ | ~permutePixels<T, 3, 3, 3, 3>(unique);
        if constexpr (sizeof(T) <= 2) {
            // A pixel's average is the pixel.
            keepIfBusy = keepIfBusy | (oneRow_ & ~permutePixels<T, 1, 1, 3, 3>(unique));
        }
        if (job_.joint) {
            busyQuarters[kChannelR] = decideChannel(smaller(low[kChannelB], smaller(low[kChannelG], low[kChannelR])),
                                                    larger(high[kChannelB], larger(high[kChannelG], high[kChannelR])),
                                                    busy_[kChannelR], keepIfBusy, keep[kChannelR]);
            return;
        }
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            keep[c] = busyQuarters[c] = ~M{};
            if (job_.processed[c]) {
                busyQuarters[c] = decideChannel(low[c], high[c], busy_[c], keepIfBusy, keep[c]);
            }
        }
    }

    /// The busy quarters by the spreads of a channel's row intervals, and what of them is kept: parts that are busy
    /// too, and those of `keepIfBusy`, which a busy quarter keeps in any case.
    [[gnu::always_inline]] inline M decideChannel(W low, W high, const BusyTest<Depth, W>& busy, M keepIfBusy,
                                                  M& keep) const {
        if constexpr (sizeof(T) == 2) {
            low = smaller(low, splat<W>(Depth::kMinimumStart));  // channels may hold more
        }
        low = smaller(swapNeighbours<T>(low), low);
        high = larger(swapNeighbours<T>(high), high);
        if (!lastHalving_) {
            keepIfBusy = keepIfBusy | busy(low, high);
        }
        low = smaller(swapPairs<T>(low), low);
        high = larger(swapPairs<T>(high), high);
        low = smaller(swapChannels<T>(low), low);
        high = larger(swapChannels<T>(high), high);
        const M busyQuarters = busy(low, high);
        keep = lastHalving_ ? busyQuarters : busyQuarters & keepIfBusy;
        return busyQuarters;
    }

    /// Averages of the quarters of open tiles, or of their parts where the quarters are busy.
    [[gnu::always_inline]] inline void average(const Arrangement<T>& tiles, const ArrangedRows& rows,
                                               const Intervals<M>& busyQuarters, M open, Intervals<W>& fill) const {
        const M unique = tiles.template ofWidths<M>(kUniqueMasks<T>.ofWidth);
        for (int half = 0; half < 2; ++half) {
            const int k = 2 * half;
            const M busy = busyQuarters[k];  // a quarter has both of the half's intervals
            W whole{};
            if (!allOnes(busy)) {
                const W quarter[4] = {rows[2 * k], rows[2 * k + 1], rows[2 * k + 2], rows[2 * k + 3]};
                const bool counted[4] = {count_[k] > 0, count_[k] == 2, count_[k + 1] > 0, count_[k + 1] == 2};
                whole = ArrangedAverages<T>::ofQuarters(quarter, counted, unique,
                                                        tiles.template ofWidths<W>(divisors_[half]), job_.joint);
            }
            for (int i = k; i < k + 2; ++i) {
                const W parts = ArrangedAverages<T>::ofParts(rows[2 * i], rows[2 * i + 1], unique, count_[i] == 2);
                fill[i] = select(open, select(busy, parts, whole), fill[i]);
            }
        }
    }

    const MosaicJob<Depth>& job_;
    const Pictures<T>& pictures_;
    const Pyramid<T, std::uint32_t>& pyramid_;
    Workspace<T>& work_;
    const BusyTest<Depth, W> busy_[kChannelsPerPixel];  ///< by each channel
    const bool lastHalving_;                            ///< quarters are split into copies, if at all

    std::int32_t y_ = 0;
    std::int32_t height_ = 0;
    std::int32_t begin_[kIntervals] = {};  ///< of the row intervals, from the tiles' first row on
    std::int32_t count_[kIntervals] = {};
    Rows source_{};
    Rows deciding_{};
    M tooShort_{};  ///< row intervals, in the places of channels, whose half of the tile has less than three rows
    M oneRow_{};    ///< and those of a single row
    /// What divides sums of quarters, in the upper and lower half of tiles of each width.
    struct Divisors {
        T channel[8 * kChannelsPerPixel];
    };
    Divisors divisors_[2][kMaximumTileSize + 1];
};

}  // namespace
}  // namespace quorvel::fast
