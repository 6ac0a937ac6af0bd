// SPDX-License-Identifier: MIT
// Inside tiles that are split. A first halving makes four quarters, a second one up to four by four parts of one or two
// pixels a side. All are decided at once, in vectors.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/arrange-inl.h"
#include "effect/fast/average_parts-inl.h"
#include "effect/fast/busy-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/inputs-inl.h"
#include "effect/fast/job.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/fast/write-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Finishes and writes rows of tiles of which some are split. Every member function is inlined where the Refiner is
/// created. Then the compiler sees that stores to channels cannot change the members, and keeps them in registers; that
/// saves a tenth of the time.
template <typename Depth>
class Refiner {
public:
    using T = typename Depth::Channel;

    /// `useTables` as in BusyTest.
    Refiner(const MosaicJob<Depth>& job, const FrameInputs<T>& inputs, const Pyramid<T, std::uint32_t>& pyramid,
            Workspace<T>& work, bool useTables)
        : job_(job),
          inputs_(inputs),
          pyramid_(pyramid),
          work_(work),
          busy_{{job, useTables, onlyChannel(kChannelA)},
                {job, useTables, onlyChannel(kChannelR)},
                {job, useTables, onlyChannel(kChannelG)},
                {job, useTables, onlyChannel(kChannelB)}},
          lastHalving_(pyramid.topLevel + pyramid.levels + 2 == job.maximumLevel) {}

    /// Draws a row of tiles of which some are split; it has at least three rows of pixels.
    [[gnu::always_inline]] inline void drawTileRow(std::int32_t row) {
        const std::int32_t columns = pyramid_.columnsAt(pyramid_.levels);
        const std::int32_t* const bounds = pyramid_.columns;
        beginRow(row);
        const std::ptrdiff_t place = pyramid_.place(pyramid_.levels, row, 0);
        const Decisions<T> decisions{pyramid_.open + place, pyramid_.keep + place, pyramid_.fill + place, 1};
        for (std::int32_t begin = 0; begin < columns;) {
            std::int32_t end = begin + 1;
            while (end < columns && bounds[end + 1] - bounds[begin] <= kSpanPixels<T>) {
                ++end;
            }
            finishSpan(decisions, begin, end);
            for (std::int32_t j = 0; !kPutsBackExactly<T> && j < height_; ++j) {
                copyRow<T>(outputAt(bounds[begin], j), job_.output.stride * height_, work_.finished[j].channels(),
                           (bounds[end] - bounds[begin]) * kChannelsPerPixel);
            }
            begin = end;
        }
    }

private:
    using W = TileVector<T>;
    using M = TileMask<T>;
    static constexpr int kIntervals = 4;

    // A load of a whole TileVector stays inside the rows of a frame.
    static_assert(kTileVectorPixels<T> <= kNarrowestFrame);

    /// The first and the last row of each row interval.
    struct Rows {
        const T* row[2 * kIntervals];
    };

    /// Sets everything that depends only on the rows of the tiles.
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

    /// Sets the rows of a span of tiles, from its first pixel on.
    [[gnu::always_inline]] inline void findRows(std::int32_t left, std::int32_t width) {
        const T* deciding[kMaximumTileSize];
        const T* above = nullptr;
        for (std::int32_t j = 0; j < height_; ++j) {
            if (inputs_.deciding.origin != nullptr) {
                deciding[j] = inputs_.deciding.at(left, y_ + j);
                continue;
            }
            const T* const row = layerRow(inputs_.deciding, y_ + j);
            if (j > 0 && row == above) {
                deciding[j] = deciding[j - 1];
                continue;
            }
            above = row;
            sampleRow(inputs_.deciding, row, left, width, work_.sampledRows[j].channels());
            deciding[j] = work_.sampledRows[j].channels();
        }
        for (int k = 0; k < kIntervals; ++k) {
            // Of three rows, the first interval is empty. It takes the row after it.
            const std::int32_t rows[2] = {begin_[k], count_[k] == 2 ? begin_[k] + 1 : begin_[k]};
            for (int i = 0; i < 2; ++i) {
                source_.row[2 * k + i] = inputs_.source.at(left, y_ + rows[i]);
                deciding_.row[2 * k + i] = deciding[rows[i]];
            }
        }
    }

    T* outputAt(std::int32_t x, std::int32_t row) const {
        return job_.output.pixels + (y_ + row) * job_.output.stride +
               static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel;
    }

    /// Finishes some tiles: in the output if putBack() is exact, otherwise in scratch rows that begin with the span.
    [[gnu::always_inline]] inline void finishSpan(const Decisions<T>& decisions, std::int32_t begin, std::int32_t end) {
        const std::int32_t* const bounds = pyramid_.columns;
        constexpr std::int32_t kTiles = Arrangement<T>::kTiles;
        findRows(bounds[begin], bounds[end] - bounds[begin]);
        for (std::int32_t c = begin; c < end; c += kTiles) {
            for (int part = 0; part < Arrangement<T>::kParts; ++part) {
                const auto tiles =
                    Arrangement<T>::inRows(bounds + c, end - c, part == 0 ? TileHalf::Left : TileHalf::Right,
                                           bounds[begin], 0, job_.output.width);
                const std::ptrdiff_t i = static_cast<std::ptrdiff_t>(c) * kChannelsPerPixel;
                finish(tiles, {decisions.open + i, decisions.keep + i, decisions.fill + i, 1}, bounds[c],
                       bounds[c] - bounds[begin]);
            }
        }
    }

    /// One V for each row interval of arranged tiles.
    template <typename V>
    using Intervals = V[kIntervals];
    /// The first and the last row of each interval, arranged.
    using ArrangedRows = W[2 * kIntervals];

    [[gnu::always_inline]] inline void arrangeRows(const Arrangement<T>& tiles, const Rows& rows,
                                                   ArrangedRows& arranged) const {
        for (int k = 0; k < kIntervals; ++k) {
            arranged[2 * k] = tiles.arranged(rows.row[2 * k]);
            arranged[2 * k + 1] = count_[k] == 2 ? tiles.arranged(rows.row[2 * k + 1]) : arranged[2 * k];
        }
    }

    /// Finishes all rows of arranged tiles. They begin at `x` in the frame, and at `fromSpan` in the span.
    [[gnu::always_inline]] inline void finish(const Arrangement<T>& tiles, const Decisions<T>& decisions,
                                              std::int32_t x, std::int32_t fromSpan) {
        ArrangedRows source;
        arrangeRows(tiles, source_, source);
        const M open = tiles.template ofTiles<M>(decisions.open);
        const M kept = tiles.template ofTiles<M>(decisions.keep);
        const W filled = tiles.template ofTiles<W>(decisions.fill);
        Intervals<M> keep{kept, kept, kept, kept};
        Intervals<W> fill{filled, filled, filled, filled};
        if (!allZeros(open)) {
            Intervals<M> keepParts;
            Intervals<M> busyQuarters;
            if (inputs_.separate) {
                ArrangedRows deciding;
                arrangeRows(tiles, deciding_, deciding);
                testQuarters(tiles, deciding, keepParts, busyQuarters);
            } else {
                testQuarters(tiles, source, keepParts, busyQuarters);
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

    /// Turns masks by channel, whose lanes are row intervals, into masks by row interval, whose lanes are channels.
    /// Those of channels that are not processed have no meaning.
    // masks[c] = i0 i1 i2 i3 -> masks[i] = c0 c1 c2 c3
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

    /// Finds the busy quarters of the tiles and what of them is kept, as masks by channel (see byInterval).
    [[gnu::always_inline]] inline void testQuarters(const Arrangement<T>& tiles, const ArrangedRows& rows,
                                                    Intervals<M>& keep, Intervals<M>& busyQuarters) const {
        const M unique = tiles.template ofWidths<M>(kUniqueMasks<T>.ofWidth);
        Intervals<W> low;
        Intervals<W> high;
        for (int k = 0; k < kIntervals; ++k) {
            low[k] = rows[2 * k];
            high[k] = rows[2 * k];
            if constexpr (!Depth::kIsInteger) {
                // The spread starts at white and black: a number replaces them, a NaN does not.
                low[k] = smaller(low[k], splat<W>(Depth::kWhite));
                high[k] = larger(high[k], splat<W>(Depth::kBlack));
            }
            low[k] = smaller(rows[2 * k + 1], low[k]);
            high[k] = larger(rows[2 * k + 1], high[k]);
        }
        transpose<T>(low);
        transpose<T>(high);
        // Quarters of less than three pixels a side are not split, but kept if they are busy.
        M keepIfBusy = tooShort_ | ~permutePixels<T, 3, 3, 3, 3>(unique);
        if constexpr (Depth::kIsInteger) {
            // The average of a single pixel is the pixel itself.
            keepIfBusy = keepIfBusy | (oneRow_ & ~permutePixels<T, 1, 1, 3, 3>(unique));
        }
        if (job_.joint) {
            busyQuarters[kChannelR] = testSpreads(smaller(low[kChannelB], smaller(low[kChannelG], low[kChannelR])),
                                                  larger(high[kChannelB], larger(high[kChannelG], high[kChannelR])),
                                                  busy_[kChannelR], keepIfBusy, keep[kChannelR]);
            return;
        }
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            keep[c] = busyQuarters[c] = ~M{};
            if (job_.processed[c]) {
                busyQuarters[c] = testSpreads(low[c], high[c], busy_[c], keepIfBusy, keep[c]);
            }
        }
    }

    /// Tests one channel, given the spreads of its row intervals. Returns the busy quarters. `keep` becomes what is
    /// kept of them: parts that are busy too, and those in `keepIfBusy`, which a busy quarter always keeps.
    [[gnu::always_inline]] inline M testSpreads(W low, W high, const BusyTest<Depth, W>& busy, M keepIfBusy,
                                                M& keep) const {
        if constexpr (Depth::kIsInteger && Depth::kExceedsWhite) {
            low = smaller(low, splat<W>(Depth::kWhite));
        }
        // The two columns of each part: p0 p1 p2 p3 -> p01 p01 p23 p23
        low = smaller(swapNeighbours<T>(low), low);
        high = larger(swapNeighbours<T>(high), high);
        if (!lastHalving_) {
            keepIfBusy = keepIfBusy | busy(low, high);
        }
        // The two parts of each half: p01 p01 p23 p23 -> p0123 in all places
        low = smaller(swapPairs<T>(low), low);
        high = larger(swapPairs<T>(high), high);
        // The two row intervals of each quarter: i0 i1 i2 i3 -> i01 i01 i23 i23
        low = smaller(swapChannels<T>(low), low);
        high = larger(swapChannels<T>(high), high);
        const M busyQuarters = busy(low, high);
        keep = lastHalving_ ? busyQuarters : busyQuarters & keepIfBusy;
        return busyQuarters;
    }

    /// Fills open tiles with the averages of their quarters, or of the parts of busy quarters.
    [[gnu::always_inline]] inline void average(const Arrangement<T>& tiles, const ArrangedRows& rows,
                                               const Intervals<M>& busyQuarters, M open, Intervals<W>& fill) const {
        const M unique = tiles.template ofWidths<M>(kUniqueMasks<T>.ofWidth);
        for (int half = 0; half < 2; ++half) {
            const int k = 2 * half;
            const M busy = busyQuarters[k];  // the same for both intervals of a quarter
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
    const FrameInputs<T>& inputs_;
    const Pyramid<T, std::uint32_t>& pyramid_;
    Workspace<T>& work_;
    const BusyTest<Depth, W> busy_[kChannelsPerPixel];  ///< by each channel's curve
    const bool lastHalving_;                            ///< the parts of a quarter are on the deepest level: copied

    std::int32_t y_ = 0;
    std::int32_t height_ = 0;
    std::int32_t begin_[kIntervals] = {};  ///< of each row interval, from the tiles' first row on
    std::int32_t count_[kIntervals] = {};
    Rows source_{};
    Rows deciding_{};
    // Masks whose lanes are row intervals.
    M tooShort_{};  ///< those whose half of the tile has less than three rows
    M oneRow_{};    ///< those of a single row
    /// The divisors of quarters, in the upper and the lower half of tiles, for each width of the tiles.
    struct Divisors {
        T channel[8 * kChannelsPerPixel];
    };
    Divisors divisors_[2][kMaximumTileSize + 1];
};

}  // namespace
}  // namespace quorvel::fast
