// SPDX-License-Identifier: MIT
// Inside tiles that are split: two more halvings make up to four by four parts of one or two pixels a side.
//
// Half a tile's width, one to four pixels, is handled as four pixels in a vector: the two of each part side by side, a
// part of a single pixel twice. Then neighbours make the smallest parts, and pairs of neighbours the parts above.
#pragma once

#include <cstdint>

#include "effect/render/fast/average.h"
#include "effect/render/fast/kernel.h"
#include "effect/render/fast/measure.h"
#include "effect/render/fast/vector.h"
#include "effect/render/fast/workspace.h"
#include "effect/render/fast/write.h"

namespace quorvel {
namespace {

/// The pixels of `width` (1 to 4) at `from`, arranged as above.
template <typename T>
[[gnu::always_inline]] inline Quartet<T> arranged(const T* from, std::int32_t width) {
    using Q = Quartet<T>;
    using M = Vector<Mask<T>, sizeof(Q)>;
    if (width == 4) {
        return load<Q>(from);
    }
    if (width == 3) {
        // Pixels 0 0 1 2: the first from here, the others from one pixel back.
        M first{};
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            first[c] = kKept<T>;
        }
        return reinterpret<Q>(
            select(first, reinterpret<M>(load<Q>(from)), reinterpret<M>(load<Q>(from - kChannelsPerPixel))));
    }
    Pixel<T> pixels[4];
    const std::ptrdiff_t second = static_cast<std::ptrdiff_t>(width - 1) * kChannelsPerPixel;
    __builtin_memcpy(&pixels[0], from, sizeof pixels[0]);
    __builtin_memcpy(&pixels[2], from + second, sizeof pixels[2]);
    pixels[1] = pixels[0];
    pixels[3] = pixels[2];
    return load<Q>(pixels);
}

/// Puts the lowest (highest) of R, G and B into all three.
template <typename T, bool Highest>
[[gnu::always_inline]] inline Lanes<T> foldJoint(Lanes<T> value) {
    const auto fold = [](Lanes<T> a, Lanes<T> b) { return Highest ? larger(a, b) : smaller(a, b); };
    if constexpr (sizeof(T) <= 2) {
        // A pixel is one integer: shifted right, G and then B come to stand in R's place.
        constexpr int kBits = 8 * sizeof(T);
        using Word = std::conditional_t<sizeof(T) == 1, std::uint32_t, std::uint64_t>;
        using Words = Vector<Word, kVectorBytes>;
        constexpr auto kLow = static_cast<Word>((1U << kBits) - 1);
        const auto shifted = [](Lanes<T> v, int bits) { return reinterpret<Lanes<T>>(reinterpret<Words>(v) >> bits); };
        const Lanes<T> folded = fold(fold(value, shifted(value, kBits)), shifted(value, 2 * kBits));
        Words word = (reinterpret<Words>(folded) >> kBits) & kLow;
        word |= word << kBits;
        word |= word << (2 * kBits);
        return reinterpret<Lanes<T>>(word);
    } else if constexpr (kVectorBytes == 64) {
        const auto a = __builtin_shufflevector(value, value, 1, 1, 2, 3, 5, 5, 6, 7, 9, 9, 10, 11, 13, 13, 14, 15);
        const auto b = __builtin_shufflevector(value, value, 2, 2, 3, 1, 6, 6, 7, 5, 10, 10, 11, 9, 14, 14, 15, 13);
        const auto c = __builtin_shufflevector(value, value, 3, 3, 1, 2, 7, 7, 5, 6, 11, 11, 9, 10, 15, 15, 13, 14);
        return fold(fold(a, b), c);
    } else if constexpr (kVectorBytes == 32) {
        const auto a = __builtin_shufflevector(value, value, 1, 1, 2, 3, 5, 5, 6, 7);
        const auto b = __builtin_shufflevector(value, value, 2, 2, 3, 1, 6, 6, 7, 5);
        const auto c = __builtin_shufflevector(value, value, 3, 3, 1, 2, 7, 7, 5, 6);
        return fold(fold(a, b), c);
    } else {
        const auto a = __builtin_shufflevector(value, value, 1, 1, 2, 3);
        const auto b = __builtin_shufflevector(value, value, 2, 2, 3, 1);
        const auto c = __builtin_shufflevector(value, value, 3, 3, 1, 2);
        return fold(fold(a, b), c);
    }
}

/// One row of tiles, some of which are split: plans and writes it.
template <typename Depth>
class Refiner {
public:
    using T = typename Depth::Channel;
    using Q = Quartet<T>;
    using M = Vector<Mask<T>, sizeof(Q)>;

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
        first_ = repeat<T>(first);
        last_ = repeat<T>(last);
        outside_ = reinterpret<M>(repeat<T>(reinterpret<Pixel<T>>(outside)));
    }

    void drawTileRow(const Pyramid<T>& pyramid, std::int32_t row) {
        const std::int32_t left = pyramid.columns[0];
        const std::int32_t columns = pyramid.tileColumns();
        const Tile<T>* tiles = pyramid.tileRow(row);
        const Quarters ys = quartersOf(pyramid.rows[row], pyramid.rows[row + 1]);
        depth_ = pyramid.depth + pyramid.levels;
        for (int half = 0; half < 2; ++half) {
            const std::int32_t* y = ys.bounds + 2 * half;
            if (y[0] == y[2]) {
                continue;
            }
            for (std::int32_t c = 0; c < columns;) {
                std::int32_t runEnd = c;
                while (runEnd < columns && isSplit(tiles[runEnd].verdict)) {
                    ++runEnd;
                }
                if (runEnd > c) {
                    measureRun(pyramid, pyramid.columns[c], pyramid.columns[runEnd], y);
                }
                for (; c < runEnd; ++c) {
                    drawTile(tiles[c].verdict, pyramid.columns[c], pyramid.columns[c + 1], left, y);
                }
                for (; c < columns && !isSplit(tiles[c].verdict); ++c) {
                    const std::int32_t x = pyramid.columns[c];
                    for (int k = 0; k < 2; ++k) {
                        planEvenly(work_.keep[k], work_.fill[k], x - left, pyramid.columns[c + 1] - x,
                                   tiles[c].verdict);
                    }
                }
            }
            const std::int32_t width = pyramid.columns[columns] - left;
            for (int k = 0; k < 2; ++k) {
                mergeRows(job_.output, job_.source, {left, y[k], width, y[k + 1] - y[k]}, work_.keep[k], work_.fill[k]);
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
    /// Spreads down the one or two rows of each part, at the pixels' places in the scratch rows.
    void measureRun(const Pyramid<T>& pyramid, std::int32_t begin, std::int32_t end, const std::int32_t* y) {
        const std::int32_t left = pyramid.columns[0];
        const std::int32_t right = pyramid.columns[pyramid.tileColumns()];
        // Whole vectors: a little more is measured rather than less.
        constexpr std::int32_t kLeast = kLanes<T> / kChannelsPerPixel;
        if (end - begin < kLeast) {
            begin = right - kLeast < begin ? right - kLeast : begin;
            begin = begin < left ? left : begin;
            end = begin + kLeast < right ? begin + kLeast : right;
        }
        for (int k = 0; k < 2; ++k) {
            T* low = work_.minimum[k].pixel(begin - left);
            T* high = work_.maximum[k].pixel(begin - left);
            const std::int32_t lanes = (end - begin) * kChannelsPerPixel;
            if (y[k] == y[k + 1]) {
                spreadRows<Depth>(low, 0, 0, lanes, low, high, true);
                continue;
            }
            spreadDown<Depth>(picture_, {begin, y[k], end - begin, y[k + 1] - y[k]}, low, high, work_.sampled);
            if (job_.joint) {
                for (std::int32_t i = 0; i < lanes; i += kLanes<T>) {
                    // May reach over the end, into what is not used; but not over another run's.
                    store(low + i, foldJoint<T, false>(load<Lanes<T>>(low + i)));
                    store(high + i, foldJoint<T, true>(load<Lanes<T>>(high + i)));
                }
            }
        }
    }

    [[gnu::always_inline]] inline M busyMask(Q low, Q high) const {
        if (useTables_) {
            return busyByTable(low, high);
        }
        Q contrast;
        if constexpr (sizeof(T) <= 2) {
            contrast = high - low;
        } else {
            contrast = smaller(splat<Q>(1.0F), high) - larger(splat<Q>(0.0F), low);
        }
        return (reinterpret<M>(contrast >= first_) & reinterpret<M>(contrast <= last_)) ^ outside_;
    }

    M busyByTable(Q low, Q high) const {
        M busy{};
        for (int i = 0; i < 4 * kChannelsPerPixel; ++i) {
            const T* table = job_.tables[i % kChannelsPerPixel];
            if (table != nullptr && table[Depth::levelOf(low[i], high[i])] > job_.threshold) {
                busy[i] = kKept<T>;
            }
        }
        return busy;
    }

    void drawTile(const Verdict<T>& verdict, std::int32_t x0, std::int32_t x1, std::int32_t left,
                  const std::int32_t* y) {
        const Quarters xs = quartersOf(x0, x1);
        const auto state = repeat<T>(reinterpret<Pixel<T>>(verdict.state));
        Pixel<Mask<T>> splitPixel;
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            splitPixel.channel[c] = verdict.state.channel[c] == kSplit<T> ? kKept<T> : kFilled<T>;
        }
        const M split = reinterpret<M>(repeat<T>(reinterpret<Pixel<T>>(splitPixel)));
        const M kept = reinterpret<M>(state) & ~split;
        const Q fill = repeat<T>(verdict.fill);
        for (int side = 0; side < 2; ++side) {
            const std::int32_t* x = xs.bounds + 2 * side;
            if (x[0] < x[2]) {
                drawQuadrant(x, y, left, split, kept, fill);
            }
        }
    }

    /// One quadrant of a tile: a column interval of one to four pixels, and two row intervals of up to two.
    [[gnu::always_inline]] inline void drawQuadrant(const std::int32_t* x, const std::int32_t* y, std::int32_t left,
                                                    M split, M kept, Q tileFill) {
        const std::int32_t width = x[2] - x[0];
        const std::int32_t height = y[2] - y[0];
        M keep[2];
        M busy{};
        if (depth_ + 1 == job_.maximumDepth) {
            busy = ~M{};
            keep[0] = keep[1] = busy;
        } else {
            Q low[2];
            Q high[2];
            for (int k = 0; k < 2; ++k) {
                low[k] = arranged<T>(work_.minimum[k].pixel(x[0] - left), width);
                high[k] = arranged<T>(work_.maximum[k].pixel(x[0] - left), width);
                low[k] = smaller(swapNeighbours<T>(low[k]), low[k]);
                high[k] = larger(swapNeighbours<T>(high[k]), high[k]);
            }
            Q lowest = smaller(low[0], low[1]);
            Q highest = larger(high[0], high[1]);
            lowest = smaller(swapPairs<T>(lowest), lowest);
            highest = larger(swapPairs<T>(highest), highest);
            busy = busyMask(lowest, highest);
            keep[0] = keep[1] = busy;
            if (width >= 3 && height >= 3 && depth_ + 2 != job_.maximumDepth) {
                for (int k = 0; k < 2; ++k) {
                    keep[k] &= busyMask(low[k], high[k]);
                }
            }
        }

        Q fill[2] = {tileFill, tileFill};
        for (int k = 0; k < 2; ++k) {
            keep[k] &= split;
        }
        if (anyDifferent(keep[0] & keep[1], split)) {
            fillParts(x, y, busy, keep, split, fill);
        }
        for (int k = 0; k < 2; ++k) {
            const M planned = keep[k] | kept;
            storeFirstPair<T>(work_.fill[k].pixel(x[0] - left), fill[k]);
            storeSecondPair<T>(work_.fill[k].pixel(x[1] - left), fill[k]);
            storeFirstPair<T>(reinterpretChannels(work_.keep[k].pixel(x[0] - left)), reinterpret<Q>(planned));
            storeSecondPair<T>(reinterpretChannels(work_.keep[k].pixel(x[1] - left)), reinterpret<Q>(planned));
        }
    }

    /// Only an address to store vectors at.
    static T* reinterpretChannels(Mask<T>* mask) { return reinterpret_cast<T*>(mask); }

    [[gnu::always_inline]] static bool anyDifferent(M a, M b) {
        const auto words = reinterpret<Vector<std::uint64_t, sizeof(M)>>(a ^ b);
        std::uint64_t any = 0;
        for (std::size_t i = 0; i < sizeof(M) / sizeof(std::uint64_t); ++i) {
            any |= words[i];
        }
        return any != 0;
    }

    /// Averages of those parts of a quadrant that are not kept.
    void fillParts(const std::int32_t* x, const std::int32_t* y, M busy, const M* keep, M split, Q* fill) {
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            if (!split[c]) {
                continue;
            }
            const int group = job_.joint && c == kChannelR ? 3 : 1;
            const auto put = [&](int k, int firstPixel, int pixels, const Pixel<T>& average) {
                for (int p = firstPixel; p < firstPixel + pixels; ++p) {
                    for (int g = c; g < c + group; ++g) {
                        fill[k][p * kChannelsPerPixel + g] = average.channel[g];
                    }
                }
            };
            if (!busy[c]) {
                const auto average = averageOf<Depth>(job_.source, {x[0], y[0], x[2] - x[0], y[2] - y[0]}, job_.joint);
                put(0, 0, 4, average);
                put(1, 0, 4, average);
            } else {
                for (int k = 0; k < 2; ++k) {
                    for (int part = 0; part < 2; ++part) {
                        if (!keep[k][2 * part * kChannelsPerPixel + c]) {
                            const Region region{x[part], y[k], x[part + 1] - x[part], y[k + 1] - y[k]};
                            put(k, 2 * part, 2, averageOf<Depth>(job_.source, region, job_.joint));
                        }
                    }
                }
            }
            c += group - 1;
        }
    }

    const MosaicJob<Depth>& job_;
    const DecidingPicture<T>& picture_;
    Workspace<T>& work_;
    const bool useTables_;
    std::int32_t depth_ = 0;  ///< of the tiles
    Q first_;
    Q last_;
    M outside_;
};

}  // namespace
}  // namespace quorvel
