// SPDX-License-Identifier: MIT
// Checks of what is done with tiles and blocks: arranging their pixels, reducing and averaging them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "effect/depth.h"
#include "effect/fast/arrange-inl.h"
#include "effect/fast/average_blocks-inl.h"
#include "effect/fast/average_parts-inl.h"
#include "effect/fast/reduce-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/pixels.h"
#include "tests/vector/comparison-inl.h"

namespace quorvel::test {
namespace {

/// The pixel that stands at an arranged place of half a tile of `width` pixels: each part has two places.
constexpr std::int32_t pixelAt(std::int32_t place, std::int32_t width) {
    const std::int32_t firstPart = width / 2;
    if (place < 2) {
        return place == 1 && firstPart == 2 ? 1 : 0;
    }
    return firstPart + (place == 3 && width - firstPart == 2 ? 1 : 0);
}

/// The half tiles in a TileVector, of one or two tiles side by side: their first pixels and their widths.
struct Halves {
    std::int32_t count;
    std::int32_t begin[4];
    std::int32_t width[4];
};
template <typename T>
constexpr Halves halvesOf(std::int32_t first, std::int32_t second, TileHalf half) {
    const std::int32_t widths[4] = {first / 2, first - first / 2, second / 2, second - second / 2};
    Halves halves{};
    std::int32_t begin = 0;
    for (std::int32_t h = 0; h < 4; ++h) {
        const bool included = kHalvesPerVector<T> == 1   ? h == static_cast<std::int32_t>(half)
                              : kHalvesPerVector<T> == 2 ? h < 2
                                                         : true;
        if (included) {
            halves.begin[halves.count] = begin;
            halves.width[halves.count++] = widths[h];
        }
        begin += widths[h];
    }
    return halves;
}

/// Calls check(tiles, halves, left, first, second) for arrangements of every pair of tile widths from `least` to 8, in
/// rows of kRowWidth pixels: at their beginning, in the middle, and at their end.
constexpr std::int32_t kRowWidth = 40;
template <typename T, typename Check>
void forEachArrangement(std::int32_t least, const Check& check) {
    for (std::int32_t first = least; first <= kMaximumTileSize; ++first) {
        // No second tile, too.
        for (std::int32_t second = 0; second <= kMaximumTileSize; ++second) {
            if ((second > 0 && second < least) || (second > 0 && Arrangement<T>::kTiles == 1)) {
                continue;
            }
            for (const std::int32_t left : {0, 13, kRowWidth - first - second}) {
                const std::int32_t bounds[3] = {left, left + first, left + first + second};
                for (int part = 0; part < Arrangement<T>::kParts; ++part) {
                    const TileHalf half = part == 0 ? TileHalf::Left : TileHalf::Right;
                    check(Arrangement<T>::inRows(bounds, second > 0 ? 2 : 1, half, 0, 0, kRowWidth),
                          halvesOf<T>(first, second, half), left, first, second);
                }
            }
        }
    }
}

template <typename T>
void checkArrangement(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    using V = TileVector<T>;
    constexpr std::int32_t kRowChannels = kRowWidth * kPixel;
    Array<T, kRowChannels> row;
    for (std::int32_t i = 0; i < kRowChannels; ++i) {
        row[i] = distinct<T>(i);
    }
    forEachArrangement<T>(1, [&](const Arrangement<T>& tiles, const Halves& halves, std::int32_t left,
                                 std::int32_t first, std::int32_t second) {
        Array<T, kCount<V, T>> arranged;
        store(arranged, tiles.arranged(row));
        for (std::int32_t h = 0; h < halves.count; ++h) {
            if (halves.width[h] > 0) {
                compare.items(
                    "arranged", arranged + h * 4 * kPixel, 4 * kPixel,
                    [&](std::int32_t i) {
                        const std::int32_t pixel = left + halves.begin[h] + pixelAt(i / kPixel, halves.width[h]);
                        return row[pixel * kPixel + i % kPixel];
                    },
                    first, second);
            }
        }

        // Put back, the pixels stand in their own order; those before them stay, and those after a TileVector too.
        const T marker = distinct<T>(200);
        constexpr std::int32_t kAround = kTileVectorPixels<T>;
        Array<T, (kRowWidth + 2 * kAround) * kPixel> out;
        for (T& channel : out) {
            channel = marker;
        }
        tiles.putBack(out + (kAround + left) * kPixel, load<V>(arranged));
        std::int32_t pixels = 0;
        for (std::int32_t h = 0; h < halves.count; ++h) {
            pixels += halves.width[h];
        }
        const std::int32_t begin = left + halves.begin[0];
        for (std::int32_t x = -kAround; x < kRowWidth + kAround; ++x) {
            const bool isTile = x >= begin && x < begin + pixels;
            if (!kPutsBackExactly<T> && x >= begin + pixels && x < begin + kTileVectorPixels<T>) {
                continue;
            }
            compare.items(
                "putBack", out + (kAround + x) * kPixel, kPixel,
                [&](std::int32_t c) { return isTile ? row[x * kPixel + c] : marker; }, first, second);
        }

        // One pixel for each tile, and one table for each width.
        const T* const perTile = row + 3 * kPixel;
        compare.lanes("ofTiles", tiles.template ofTiles<V>(perTile), [&](std::int32_t i) {
            const bool ofSecond = Arrangement<T>::kTiles == 2 && i >= 8 * kPixel;
            return perTile[(ofSecond ? kPixel : 0) + i % kPixel];
        });
        const auto unique = tiles.template ofWidths<TileMask<T>>(kUniqueMasks<T>.ofWidth);
        Array<Mask<T>, kCount<V, T>> masks;
        store(masks, unique);
        for (std::int32_t h = 0; h < halves.count; ++h) {
            std::int32_t seen[4] = {};
            for (std::int32_t place = 0; place < 4; ++place) {
                const bool set = masks[(h * 4 + place) * kPixel] != 0;
                seen[pixelAt(place, halves.width[h])] += set ? 1 : 0;
            }
            for (std::int32_t p = 0; p < 4; ++p) {
                compare.is("kUniqueMasks: pixels seen once", seen[p] == (p < halves.width[h] ? 1 : 0), true, first);
            }
        }
    });
}

/// The lowest, the highest, and the sums across tiles and longer runs of columns.
template <typename T>
void checkReductions(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    Numbers numbers;
    ColumnMeasure<T> measure;
    T* const low = measure.low.channels();
    const auto lowest = [&](std::int32_t x, std::int32_t width, Extreme which, std::int32_t c) {
        T value = low[x * kPixel + c];
        for (std::int32_t i = x; i < x + width; ++i) {
            const T other = low[i * kPixel + c];
            value = (which == Extreme::Lowest ? other < value : other > value) ? other : value;
        }
        return value;
    };
    for (std::int32_t i = 0; i < 64 * kPixel; ++i) {
        low[i] = numbers.finite<T>();
    }
    for (std::int32_t width = 1; width <= 40; ++width) {
        const Pixel<T> least = minOrMaxAcross<T, Extreme::Lowest>(low, width);
        const Pixel<T> most = minOrMaxAcross<T, Extreme::Highest>(low, width);
        compare.items(
            "minOrMaxAcross, lowest", least.channel, kPixel,
            [&](std::int32_t c) { return lowest(0, width, Extreme::Lowest, c); }, width);
        compare.items(
            "minOrMaxAcross, highest", most.channel, kPixel,
            [&](std::int32_t c) { return lowest(0, width, Extreme::Highest, c); }, width);
    }
    if constexpr (!DepthOf<T>::kIsInteger) {
        for (std::int32_t width = 1; width <= 9; ++width) {
            for (const float odd : {kNaN, kInfinity, -kInfinity}) {
                float sums[9 * kPixel] = {};
                sums[(width - 1) * kPixel + kChannelG] = odd;
                float result[kPixel];
                store(result, notFinite(sums, width));
                for (std::int32_t c = 0; c < kPixel; ++c) {
                    compare.is("notFinite", result[c] != result[c], c == kChannelG, width);
                }
            }
        }
    } else {
        // Sums of columns so large that those of a tile just fit.
        auto* const evens = reinterpret_cast<SumLane<T>*>(measure.even.channels());
        auto* const odds = reinterpret_cast<SumLane<T>*>(measure.odd.channels());
        constexpr std::uint32_t kMost = std::numeric_limits<SumLane<T>>::max() / 8;
        for (std::int32_t i = 0; i < 64 * 2; ++i) {
            evens[i] = static_cast<SumLane<T>>(numbers.next() % (kMost + 1));
            odds[i] = static_cast<SumLane<T>>(numbers.next() % (kMost + 1));
        }
        const auto sum = [&](std::int32_t x, std::int32_t width, std::int32_t c) {
            const SumLane<T>* const sums = (c % 2 == 0 ? evens : odds) + c / 2;
            std::uint32_t total = 0;
            for (std::int32_t i = x; i < x + width; ++i) {
                total += sums[2 * i];
            }
            return total;
        };
        for (std::int32_t width = 1; width <= kMaximumTileSize; ++width) {
            for (const std::int32_t x : {0, 5}) {
                std::uint32_t sums[kPixel];
                sumTile(measure, x, width, sums);
                compare.template items<std::uint32_t>(
                    "sumTile", sums, kPixel, [&](std::int32_t c) { return sum(x, width, c); }, width, x);
            }
            std::uint32_t sums[kPixel] = {1, 2, 3, 4};
            addAcross(measure, width, sums);
            compare.template items<std::uint32_t>(
                "addAcross", sums, kPixel,
                [&](std::int32_t c) { return sum(0, width, c) + static_cast<std::uint32_t>(c) + 1; }, width);
        }
        if constexpr (kHoldsTiles<T>) {
            forEachArrangement<T>(1, [&](const Arrangement<T>& tiles, const Halves&, std::int32_t left,
                                         std::int32_t first, std::int32_t second) {
                const auto unique = tiles.template ofWidths<TileMask<T>>(kUniqueMasks<T>.ofWidth);
                std::uint32_t sums[2 * kPixel] = {};
                storeSums<T>(sumOfTiles<T>(tiles.arranged(measure.even.channels()), unique),
                             sumOfTiles<T>(tiles.arranged(measure.odd.channels()), unique), sums);
                const FirstPlaces least = minOrMaxOfTiles<T, Extreme::Lowest>(tiles.arranged(low));
                const FirstPlaces most = minOrMaxOfTiles<T, Extreme::Highest>(tiles.arranged(low));
                T leasts[16 / sizeof(T)];
                T mosts[16 / sizeof(T)];
                store(leasts, least);
                store(mosts, most);
                for (std::int32_t t = 0; t < (second > 0 ? 2 : 1); ++t) {
                    const std::int32_t x = left + t * first;
                    const std::int32_t width = t == 0 ? first : second;
                    if (width < 2) {
                        continue;  // its left half has no pixel, so what stands there is arranged from its neighbour
                    }
                    compare.template items<std::uint32_t>(
                        "sumOfTiles", sums + t * kPixel, kPixel, [&](std::int32_t c) { return sum(x, width, c); },
                        first, second);
                    compare.items(
                        "minOrMaxOfTiles, lowest", leasts + t * kPixel, kPixel,
                        [&](std::int32_t c) { return lowest(x, width, Extreme::Lowest, c); }, first, second);
                    compare.items(
                        "minOrMaxOfTiles, highest", mosts + t * kPixel, kPixel,
                        [&](std::int32_t c) { return lowest(x, width, Extreme::Highest, c); }, first, second);
                }
            });
        }
    }
}

/// The average of pixels of some rows, channel by channel, summed row by row and from left to right.
template <typename T>
T plainAverage(const T (*rows)[kRowWidth * kPixel], std::int32_t rowCount, std::int32_t x, std::int32_t width,
               std::int32_t c, bool joint) {
    typename DepthOf<T>::Sum sum{};
    for (std::int32_t r = 0; r < rowCount; ++r) {
        for (std::int32_t i = x; i < x + width; ++i) {
            sum += rows[r][i * kPixel + c];
        }
    }
    return joint ? DepthOf<T>::jointAverage(sum, rowCount * width) : DepthOf<T>::singleAverage(sum, rowCount * width);
}

template <typename T>
void checkAverages(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    using V = TileVector<T>;
    Numbers numbers;
    for (int round = 0; round < 8; ++round) {
        T rows[4][kRowWidth * kPixel];
        for (auto& row : rows) {
            for (T& channel : row) {
                // The highest sums in the last round.
                channel = round == 7 && DepthOf<T>::kIsInteger ? static_cast<T>(-1) : numbers.finite<T>();
            }
        }
        const bool joint = round % 2 == 1;
        forEachArrangement<T>(3, [&](const Arrangement<T>& tiles, const Halves& halves, std::int32_t left,
                                     std::int32_t first, std::int32_t second) {
            const V arranged[4] = {tiles.arranged(rows[0]), tiles.arranged(rows[1]), tiles.arranged(rows[2]),
                                   tiles.arranged(rows[3])};
            const auto unique = tiles.template ofWidths<TileMask<T>>(kUniqueMasks<T>.ofWidth);
            Array<T, kCount<V, T>> average;
            // Parts of one row and of two.
            for (std::int32_t partRows = 1; partRows <= 2; ++partRows) {
                store(average,
                      ArrangedAverages<T>::ofParts(arranged[0], arranged[partRows - 1], unique, partRows == 2));
                for (std::int32_t i = 0; i < halves.count * 4 * kPixel; ++i) {
                    const std::int32_t h = i / (4 * kPixel);
                    if (halves.width[h] == 0) {
                        continue;  // there is no second tile
                    }
                    const std::int32_t firstPart = halves.width[h] / 2;
                    const bool inSecond = i / kPixel % 4 >= 2 || firstPart == 0;
                    const std::int32_t x = left + halves.begin[h] + (inSecond ? firstPart : 0);
                    const std::int32_t width = inSecond ? halves.width[h] - firstPart : firstPart;
                    compare.items(
                        "ofParts", average + i, 1,
                        [&](std::int32_t) { return plainAverage<T>(rows, partRows, x, width, i % kPixel, true); },
                        first, second);
                }
            }
            // Quarters of two to four rows.
            for (std::int32_t quarterRows = 2; quarterRows <= 4; ++quarterRows) {
                struct Table {
                    T channel[8 * kPixel];
                } divisors[kMaximumTileSize + 1] = {};
                for (std::int32_t width = 3; width <= kMaximumTileSize; ++width) {
                    store(divisors[width].channel, ArrangedAverages<T>::divisors(quarterRows * (width / 2), joint));
                    store(divisors[width].channel + 4 * kPixel,
                          ArrangedAverages<T>::divisors(quarterRows * (width - width / 2), joint));
                }
                const bool counted[4] = {true, true, quarterRows > 2, quarterRows > 3};
                store(average, ArrangedAverages<T>::ofQuarters(arranged, counted, unique,
                                                               tiles.template ofWidths<V>(divisors), joint));
                for (std::int32_t h = 0; h < halves.count; ++h) {
                    if (halves.width[h] == 0) {
                        continue;
                    }
                    compare.items(
                        "ofQuarters", average + h * 4 * kPixel, 4 * kPixel,
                        [&](std::int32_t i) {
                            return plainAverage<T>(rows, quarterRows, left + halves.begin[h], halves.width[h],
                                                   i % kPixel, joint);
                        },
                        first, second);
                }
            }
        });
    }
}

/// Averages of whole blocks: integers from sums of up to 2^47, floats in the fixed order.
template <typename T>
void checkBlockAverages(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    Numbers numbers;
    if constexpr (DepthOf<T>::kIsInteger) {
        for (int round = 0; round < 2000; ++round) {
            const auto count = static_cast<std::int32_t>(numbers.next() >> (round % 31)) + 1;
            std::uint64_t sums[kPixel];
            for (std::uint64_t& sum : sums) {
                // Just below, at and above a whole quotient, and anything else.
                const auto whole = static_cast<std::uint64_t>(count) * static_cast<T>(numbers.next());
                constexpr std::uint64_t kHighest = std::numeric_limits<T>::max();
                const std::uint64_t most = static_cast<std::uint64_t>(count) * kHighest;
                const std::uint64_t any = whole + numbers.next() % 3 - 1;
                sum = any > most ? most : any;
            }
            const Pixel<T> average = quotients<T>(sums, count);
            compare.items(
                "quotients", average.channel, kPixel,
                [&](std::int32_t c) { return static_cast<T>(sums[c] / static_cast<std::uint64_t>(count)); }, count);
        }
    } else {
        float picture[16 * kRowWidth * kPixel];
        for (float& channel : picture) {
            channel = numbers.finite<float>() / 3.0F;
        }
        const PixelView<const float> view{picture, kRowWidth, 16, kRowWidth * kPixel};
        const Region regions[4] = {{7, 0, 8, 8}, {0, 0, 7, 7}, {15, 7, 7, 8}, {30, 8, 8, 7}};
        FloatPixel sums[4];
        sumSideBySide<4>(view, regions, sums);
        for (int b = 0; b < 4; ++b) {
            compare.lanes(
                "sumSideBySide", sums[b],
                [&](std::int32_t c) {
                    float sum = 0.0F;
                    for (std::int32_t y = regions[b].y; y < regions[b].y + regions[b].height; ++y) {
                        for (std::int32_t x = regions[b].x; x < regions[b].x + regions[b].width; ++x) {
                            sum += picture[(y * kRowWidth + x) * kPixel + c];
                        }
                    }
                    return sum;
                },
                b);
        }
    }
}

}  // namespace
}  // namespace quorvel::test
