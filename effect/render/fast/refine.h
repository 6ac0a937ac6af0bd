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
            outside.channel[c] = job.busy[c].outside || !job.processed[c] ? kKept<T> : kFilled<T>;
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
        // A lowest bit set below one that is not: neither kFilled nor kKept.
        std::uint64_t words[(sizeof verdict.state + 7) / 8] = {};
        __builtin_memcpy(words, &verdict.state, sizeof verdict.state);
        constexpr std::uint64_t kLowest = ~std::uint64_t{0} / static_cast<Mask<T>>(~Mask<T>{0});
        std::uint64_t split = 0;
        for (const std::uint64_t word : words) {
            split |= word & ~(word >> 1) & kLowest;
        }
        return split != 0;
    }

private:
    using Q = Quartet<T>;
    /// Both halves of a tile.
    using Pair = Vector<T, 2 * sizeof(Q)>;
    using PairMask = Vector<Mask<T>, sizeof(Pair)>;
    /// A register, but four pixels at the least.
    static constexpr std::size_t kWideBytes = kVectorBytes > kQuartetBytes<T> ? kVectorBytes : kQuartetBytes<T>;
    static constexpr auto kWideLanes = static_cast<std::int32_t>(kWideBytes / sizeof(T));
    using Wide = Vector<T, kWideBytes>;
    using WideMask = Vector<Mask<T>, kWideBytes>;

    /// So many split tiles are decided together.
    static constexpr std::int32_t kBatch = 16;
    static constexpr std::int32_t kSideChannels = 4 * kChannelsPerPixel;
    static constexpr std::int32_t kTileChannels = 2 * kSideChannels;

    static constexpr std::int32_t kBatchChannels = kBatch * kTileChannels;

    /// What is kept of a batch, and what the rest is filled with.
    struct Decided {
        Mask<T> keep[2][kBatchChannels];
        T fill[2][kBatchChannels];
    };

    /// The upper or lower half of the split tiles of a batch, as arranged pixels: two rows of each row interval.
    struct Batch {
        union {
            T source[4][kBatchChannels];
            Decided decided;  ///< takes the place of the source, a vector at a time
        };
        T deciding[4][kBatchChannels];  ///< where another picture than the source decides
        std::int32_t widths[kBatch + 1];
    };

    /// What depends on the width of a tile alone: which arranged pixels are no repetition, and what divides sums.
    struct UniqueMasks {
        Pixel<Mask<T>> ofWidth[kMaximumTileSize + 1][8];
    };
    using Divisors = Pair[kMaximumTileSize + 1];

    static constexpr UniqueMasks findUniqueMasks() {
        UniqueMasks masks{};
        for (std::int32_t width = 3; width <= kMaximumTileSize; ++width) {
            for (std::int32_t i = 0; i < 8; ++i) {
                const std::int32_t half = i < 4 ? width / 2 : width - width / 2;
                const bool counted[4] = {true, half == 4, half >= 2, half >= 3};
                for (auto& mask : masks.ofWidth[width][i].channel) {
                    mask = counted[i % 4] ? kKept<T> : kFilled<T>;
                }
            }
        }
        return masks;
    }
    static constexpr UniqueMasks kUnique = findUniqueMasks();

    /// The first and the last row of each row interval, from the first column on. An empty one has a row of the other.
    struct Rows {
        const T* source[4];
        const T* deciding[4];
    };

    /// Plans the two row intervals of one half of the tiles.
    void plan(std::int32_t columns, std::int32_t width) {
        // All that the loop reads stands in its own frame: nothing written through channel pointers can change it.
        const Rows rows = findRows(width);
        Divisors divisors;
        findDivisors(divisors);
        const Tile<T>* const tiles = tiles_;
        const std::int32_t* const bounds = columns_;
        const std::int32_t left = bounds[0];
        const bool separate = picture_.origin != job_.source.pixels || picture_.stride != job_.source.stride;
        Batch batch;
        std::int32_t batchBegin = 0;
        std::int32_t batched = 0;
        for (std::int32_t c = 0; c < columns; ++c) {
            if (!isSplit(tiles[c].verdict)) {
                continue;
            }
            const std::int32_t begin = bounds[c];
            const std::int32_t end = bounds[c + 1];
            const std::int32_t place = batched * kTileChannels;
            batch.widths[batched++] = end - begin;
            gather(batch.source, rows.source, place, begin, end, left);
            if (separate) {
                gather(batch.deciding, rows.deciding, place, begin, end, left);
            }
            if (batched == kBatch) {
                decide(batch, batched, divisors, separate);
                emit(batch, batchBegin, c + 1);
                batchBegin = c + 1;
                batched = 0;
            }
        }
        if (batched > 0) {
            decide(batch, batched, divisors, separate);
        }
        emit(batch, batchBegin, columns);
    }

    Rows findRows(std::int32_t width) {
        Rows rows;
        const std::ptrdiff_t across = static_cast<std::ptrdiff_t>(columns_[0]) * kChannelsPerPixel;
        for (int k = 0; k < 2; ++k) {
            const std::int32_t first = y_[k];
            const std::int32_t last = y_[k] == y_[k + 1] ? first : y_[k + 1] - 1;
            rows.source[2 * k] = job_.source.pixels + first * job_.source.stride + across;
            rows.source[2 * k + 1] = job_.source.pixels + last * job_.source.stride + across;
            const T** deciding = rows.deciding + 2 * k;
            if (picture_.origin != nullptr) {
                deciding[0] = picture_.at(columns_[0], first);
                deciding[1] = picture_.at(columns_[0], last);
                continue;
            }
            deciding[0] = deciding[1] = work_.minimum[k].channels();
            sampleRow(picture_, columns_[0], first, width, work_.minimum[k].channels());
            if (last != first) {
                deciding[1] = work_.maximum[k].channels();
                sampleRow(picture_, columns_[0], last, width, work_.maximum[k].channels());
            }
        }
        return rows;
    }

    void findDivisors(Divisors& divisors) const {
        Q ofHalf[5];
        for (std::int32_t half = 1; half <= 4; ++half) {
            auto divisor = ArrangedAverages<T>::divisor(half * (y_[2] - y_[0]), job_.joint);
            ofHalf[half] = reinterpret<Q>(splat<Vector<decltype(divisor), sizeof(Q)>>(divisor));
        }
        for (std::int32_t width = 3; width <= kMaximumTileSize; ++width) {
            T* const to = reinterpret_cast<T*>(divisors + width);
            store(to, ofHalf[width / 2]);
            store(to + kSideChannels, ofHalf[width - width / 2]);
        }
    }

    /// A tile's four rows.
    [[gnu::always_inline]] static void gather(T (&to)[4][kBatchChannels], const T* const (&rows)[4], std::int32_t place,
                                              std::int32_t begin, std::int32_t end, std::int32_t left) {
        const std::ptrdiff_t across = static_cast<std::ptrdiff_t>(begin - left) * kChannelsPerPixel;
        const std::int32_t width = end - begin;
        if (width == 8) {
            for (int r = 0; r < 4; ++r) {
                store(to[r] + place, load<Pair>(rows[r] + across));
            }
        } else if (width == 7 && begin > 0) {
            for (int r = 0; r < 4; ++r) {
                store(to[r] + place,
                      permuteEight<T, 1, 1, 2, 3, 4, 5, 6, 7>(load<Pair>(rows[r] + across - kChannelsPerPixel)));
            }
        } else {
            const std::int32_t half = width / 2;
            for (int r = 0; r < 4; ++r) {
                const T* from = rows[r] + across;
                store(to[r] + place, arranged(from, half, begin > 0));
                store(to[r] + place + kSideChannels,
                      arranged(from + half * kChannelsPerPixel, width - half, begin + half > 0));
            }
        }
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

    /// What is kept of the halves of the tiles, and what the rest is filled with.
    void decide(Batch& batch, std::int32_t tiles, const Divisors& divisors, bool separate) const {
        batch.widths[tiles] = kMaximumTileSize;  // the last vector may reach over a tile that is not there
        for (std::int32_t i = 0; i < tiles * kTileChannels; i += kWideLanes) {
            if (depth_ + 1 == job_.maximumDepth) {
                store(batch.decided.keep[0] + i, ~WideMask{});
                store(batch.decided.keep[1] + i, ~WideMask{});
            } else if (job_.joint) {
                decideLanes<true>(batch, separate ? batch.deciding : batch.source, divisors, i);
            } else {
                decideLanes<false>(batch, separate ? batch.deciding : batch.source, divisors, i);
            }
        }
    }

    /// What stands for the widths of the tiles in the lanes at this place: a part of a tile, a tile, or two.
    template <typename V, typename Tables>
    [[gnu::always_inline]] static V ofWidthsAt(const Batch& batch, const Tables& tables, std::int32_t place) {
        const std::int32_t tile = place / kTileChannels;
        const auto& table = tables[batch.widths[tile]];
        if constexpr (kWideLanes > kTileChannels) {
            static_assert(kWideLanes == 2 * kTileChannels);
            return joined<V>(load<Pair>(&table), load<Pair>(&tables[batch.widths[tile + 1]]));
        } else {
            return load<V>(reinterpret_cast<const T*>(&table) + place % kTileChannels);
        }
    }

    /// The spread of the parts in one row interval.
    struct PartSpread {
        Wide low;
        Wide high;
    };
    template <bool Joint>
    [[gnu::always_inline]] static PartSpread spreadOfParts(Wide first, Wide last) {
        Wide low = smaller(last, smaller(first, splat<Wide>(Depth::kMinimumStart)));
        Wide high = larger(last, larger(first, splat<Wide>(Depth::kMaximumStart)));
        low = smaller(swapNeighbours<T>(low), low);
        high = larger(swapNeighbours<T>(high), high);
        if constexpr (Joint) {
            return {foldJoint<T, false>(low), foldJoint<T, true>(high)};
        } else {
            return {low, high};
        }
    }

    template <bool Joint>
    [[gnu::always_inline]] inline void decideLanes(Batch& batch, const T (*deciding)[kBatchChannels],
                                                   const Divisors& divisors, std::int32_t place) const {
        const auto row = [&](int r) { return load<Wide>(deciding[r] + place); };
        const PartSpread upper = spreadOfParts<Joint>(row(0), row(1));
        const PartSpread lower = spreadOfParts<Joint>(row(2), row(3));
        Wide low = smaller(lower.low, upper.low);
        Wide high = larger(lower.high, upper.high);
        low = smaller(swapPairs<T>(low), low);
        high = larger(swapPairs<T>(high), high);
        const WideMask busy = busyMask(low, high);
        const auto unique = ofWidthsAt<WideMask>(batch, kUnique.ofWidth, place);
        WideMask keep[2] = {busy, busy};
        if (y_[2] - y_[0] >= 3 && depth_ + 2 != job_.maximumDepth) {
            // Only what is at least three pixels wide is halved again.
            const WideMask tooNarrow = ~permutePixels<T, 3, 3, 3, 3>(unique);
            keep[0] = busy & (busyMask(upper.low, upper.high) | tooNarrow);
            keep[1] = busy & (busyMask(lower.low, lower.high) | tooNarrow);
        }
        if (!allOnes(keep[0] & keep[1])) {
            fillLanes(batch, busy, unique, ofWidthsAt<Wide>(batch, divisors, place), place);
        }
        store(batch.decided.keep[0] + place, keep[0]);
        store(batch.decided.keep[1] + place, keep[1]);
    }

    /// Averages of the halves, or of their parts where the halves are busy.
    [[gnu::always_inline]] inline void fillLanes(Batch& batch, WideMask busy, WideMask unique, Wide divisors,
                                                 std::int32_t place) const {
        Wide rows[4];
        for (int r = 0; r < 4; ++r) {
            rows[r] = load<Wide>(batch.source[r] + place);
        }
        const bool twoRows[2] = {y_[1] - y_[0] == 2, y_[2] - y_[1] == 2};
        const bool counted[4] = {y_[0] != y_[1], twoRows[0], true, twoRows[1]};
        Wide whole{};
        if (!allOnes(busy)) {
            whole = ArrangedAverages<T>::ofHalves(rows, counted, unique, divisors, job_.joint);
        }
        for (int k = 0; k < 2; ++k) {
            const Wide parts = ArrangedAverages<T>::ofParts(rows[2 * k], rows[2 * k + 1], unique, twoRows[k]);
            store(batch.decided.fill[k] + place,
                  select(busy, reinterpret<WideMask>(parts), reinterpret<WideMask>(whole)));
        }
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
                emitTile(batch, index++ * kTileChannels, verdict, x0 - left, x2 - x0);
                continue;
            }
            for (int k = 0; k < 2; ++k) {
                planEvenly(work_.keep[k], work_.fill[k], x0 - left, x2 - x0, verdict);
            }
        }
    }

    [[gnu::always_inline]] inline void emitTile(const Batch& batch, std::int32_t place, const Verdict<T>& verdict,
                                                std::int32_t x, std::int32_t width) {
        const auto state = repeat<PairMask>(verdict.state);
        const PairMask split = within<PairMask>(state, splat<PairMask>(kSplit<T>), splat<PairMask>(kSplit<T>));
        const PairMask kept = state & ~split;
        PairMask keep[2];
        for (int k = 0; k < 2; ++k) {
            keep[k] = (load<PairMask>(batch.decided.keep[k] + place) & split) | kept;
            storeArranged(work_.keep[k].pixel(x), keep[k], width);
        }
        if (allOnes(keep[0] & keep[1])) {
            return;
        }
        const auto fill = repeat<PairMask>(verdict.fill);
        for (int k = 0; k < 2; ++k) {
            storeArranged(work_.fill[k].pixel(x), select(split, load<PairMask>(batch.decided.fill[k] + place), fill),
                          width);
        }
    }

    /// Undoes the arrangement. Up to three pixels behind are overwritten.
    template <typename C>
    [[gnu::always_inline]] static void storeArranged(C* to, PairMask value, std::int32_t width) {
        if (width == 8) {
            store(to, value);
        } else if (width == 7) {
            store(to, permuteEight<T, 1, 2, 3, 4, 5, 6, 7, 7>(value));
        } else {
            Mask<T> halves[kTileChannels];
            store(halves, value);
            const std::int32_t half = width / 2;
            storeHalf(to, load<Q>(halves), half);
            storeHalf(to + half * kChannelsPerPixel, load<Q>(halves + kSideChannels), width - half);
        }
    }
    template <typename C>
    [[gnu::always_inline]] static void storeHalf(C* to, Q value, std::int32_t width) {
        store(to, width == 4 ? value : permutePixels<T, 1, 2, 3, 3>(value));
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
