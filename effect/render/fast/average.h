// SPDX-License-Identifier: MIT
// Averages of filled blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "effect/render/depth.h"
#include "effect/render/fast/geometry.h"
#include "effect/render/fast/vector.h"

namespace quorvel {
namespace {

/// Sums of the four channels of a block of integers.
template <typename T>
class IntegerSums {
public:
    static_assert(sizeof(T) <= 2);

    IntegerSums(const PixelView<const T>& source, const Region& region) {
        const std::int32_t lanes = region.width * kChannelsPerPixel;
        const T* from =
            source.pixels + region.y * source.stride + static_cast<std::ptrdiff_t>(region.x) * kChannelsPerPixel;
        if (lanes >= kLanes<T>) {
            addRows<Lanes<T>>(from, source.stride, lanes, region.height);
        } else if (region.width >= 4) {
            addRows<Vector<T, (kQuartetBytes<T> < kVectorBytes ? kQuartetBytes<T> : kVectorBytes)>>(
                from, source.stride, lanes, region.height);
        } else {
            for (std::int32_t j = 0; j < region.height; ++j, from += source.stride) {
                for (std::int32_t i = 0; i < lanes; ++i) {
                    total[i % kChannelsPerPixel] += from[i];
                }
            }
        }
    }

    std::int64_t total[kChannelsPerPixel] = {};

private:
    template <typename V>
    [[gnu::always_inline]] inline void addRows(const T* from, std::ptrdiff_t stride, std::int32_t lanes,
                                               std::int32_t rows) {
        if constexpr (sizeof(T) == 1) {
            addRowsAs<V, std::uint16_t>(from, stride, lanes, rows);
        } else {
            addRowsAs<V, std::uint32_t>(from, stride, lanes, rows);
        }
    }

    template <typename V, typename W>
    [[gnu::always_inline]] inline void addRowsAs(const T* from, std::ptrdiff_t stride, std::int32_t lanes,
                                                 std::int32_t rows) {
        constexpr int kBits = 8 * sizeof(T);
        constexpr auto kLow = static_cast<W>((1U << kBits) - 1);
        // 2^bits + 1 summands of 2^bits - 1 still fit.
        constexpr std::int32_t kMostSummands = 1 << kBits;
        constexpr auto kStep = static_cast<std::int32_t>(sizeof(V) / sizeof(T));
        using Sums = Vector<W, sizeof(V)>;

        const std::int32_t rest = lanes % kStep;
        const Sums lastOnes = restMask<Sums>(rest);
        Sums even{};
        Sums odd{};
        std::int32_t summands = 0;
        for (std::int32_t j = 0; j < rows; ++j, from += stride) {
            std::int32_t i = 0;
            for (; i + kStep <= lanes; i += kStep) {
                if (summands == kMostSummands) {
                    flush<W>(even, odd);
                    summands = 0;
                }
                ++summands;
                const Sums value = load<Sums>(from + i);
                even += value & kLow;
                odd += value >> kBits;
            }
            if (rest != 0) {
                if (summands == kMostSummands) {
                    flush<W>(even, odd);
                    summands = 0;
                }
                ++summands;
                const Sums value = load<Sums>(from + lanes - kStep) & lastOnes;
                even += value & kLow;
                odd += value >> kBits;
            }
        }
        flush<W>(even, odd);
    }

    /// Ones in the last `rest` channels.
    template <typename Sums>
    static Sums restMask(std::int32_t rest) {
        alignas(64) T channels[sizeof(Sums) / sizeof(T)];
        constexpr auto kCount = static_cast<std::int32_t>(sizeof(Sums) / sizeof(T));
        for (std::int32_t i = 0; i < kCount; ++i) {
            channels[i] = static_cast<T>(i >= kCount - rest ? -1 : 0);
        }
        return load<Sums>(channels);
    }

    template <typename W, typename Sums>
    [[gnu::always_inline]] inline void flush(Sums& even, Sums& odd) {
        // A pixel is two sums of each kind: channels 0 and 2, and 1 and 3.
        for (std::size_t i = 0; i < sizeof(Sums) / sizeof(W); i += 2) {
            total[0] += even[i];
            total[1] += odd[i];
            total[2] += even[i + 1];
            total[3] += odd[i + 1];
        }
        even = Sums{};
        odd = Sums{};
    }
};

/// Truncated quotients. With half a unit added the exact quotient stays at least 0.5 / count off every integer that
/// it is below, far more than the rounding errors as long as sums stay below 2^50; theirs end at 2^47.
template <typename T>
[[gnu::always_inline]] inline Pixel<T> averageOf(const std::int64_t* sums, std::int32_t count) {
    const double reciprocal = 1.0 / static_cast<double>(count);
    Pixel<T> average;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        average.channel[c] =
            static_cast<T>(static_cast<std::int64_t>((static_cast<double>(sums[c]) + 0.5) * reciprocal));
    }
    return average;
}

template <typename T>
[[gnu::always_inline]] inline Pixel<T> averageOf(const PixelView<const T>& source, const Region& region) {
    const IntegerSums<T> sums(source, region);
    return averageOf<T>(sums.total, region.width * region.height);
}

using FloatPixel = Vector<float, 16>;

/// Sums in the order that is part of the result, one chain per channel. Blocks are summed side by side, because each
/// addition waits for the one before it. They may differ by a row and a column.
template <std::size_t Count>
void sumSideBySide(const PixelView<const float>& source, const Region* regions, FloatPixel* sums) {
    const float* from[Count];
    std::int32_t commonWidth = regions[0].width;
    std::int32_t rows = 0;
    for (std::size_t b = 0; b < Count; ++b) {
        from[b] = source.pixels + regions[b].y * source.stride +
                  static_cast<std::ptrdiff_t>(regions[b].x) * kChannelsPerPixel;
        commonWidth = regions[b].width < commonWidth ? regions[b].width : commonWidth;
        rows = regions[b].height > rows ? regions[b].height : rows;
        sums[b] = FloatPixel{};
    }
    FloatPixel running[Count] = {};
    for (std::int32_t j = 0; j < rows; ++j) {
        bool full = true;
        for (std::size_t b = 0; b < Count; ++b) {
            full = full && j < regions[b].height;
        }
        if (full) {
            for (std::int32_t i = 0; i < commonWidth; ++i) {
                for (std::size_t b = 0; b < Count; ++b) {
                    running[b] += load<FloatPixel>(from[b] + i * kChannelsPerPixel);
                }
            }
        }
        for (std::size_t b = 0; b < Count; ++b) {
            if (j < regions[b].height) {
                for (std::int32_t i = full ? commonWidth : 0; i < regions[b].width; ++i) {
                    running[b] += load<FloatPixel>(from[b] + i * kChannelsPerPixel);
                }
            }
            from[b] += source.stride;
        }
    }
    for (std::size_t b = 0; b < Count; ++b) {
        sums[b] = running[b];
    }
}

/// Averages of the parts of half tiles, from vectors of arranged pixels (see refine.h): rows of four pixels, of which
/// each two are one part's, a part of a single pixel having it twice. `unique` masks one of each such two.
template <typename T>
class ArrangedAverages {
public:
    /// What dividing by `count`, at most 16, takes; the same in all lanes of a half tile. `joint`: as the form for R,
    /// G and B together rounds.
    static auto divisor(std::int32_t count, [[maybe_unused]] bool joint) {
        if constexpr (sizeof(T) == 1) {
            // Half of 2^16 / count, rounded up by less than 5 / count: with sums up to 16 * 255 that stays below the
            // 2^15 / count that it would take to reach another integer.
            return static_cast<std::uint16_t>((32768 + count - 1) / count);
        } else if constexpr (sizeof(T) == 2) {
            return 1.0F / static_cast<float>(count);
        } else {
            return joint ? 1.0F / static_cast<float>(count) : static_cast<float>(count);
        }
    }

    /// Of each part: two pixels of two rows, which are the same row where there is but one.
    template <typename V, typename M>
    [[gnu::always_inline]] static inline V ofParts(V first, V last, [[maybe_unused]] M unique,
                                                   [[maybe_unused]] bool twoRows) {
        if constexpr (sizeof(T) <= 2) {
            Sums<V> sums = Sums<V>::of(first);
            sums.add(last);
            sums.even = sums.even + swapNeighbours<T>(sums.even);
            sums.odd = sums.odd + swapNeighbours<T>(sums.odd);
            return Sums<V>::joined(shiftedRight<2>(sums.even), shiftedRight<2>(sums.odd));
        } else {
            // Sums have their order. Adding a masked pixel's zero changes none: they begin with a zero that is not
            // negative, and never become one that is.
            V sum{};
            const auto add = [&](V row) {
                sum = sum + permutePixels<T, 0, 0, 2, 2>(row);
                sum = sum + permutePixels<T, 1, 1, 3, 3>(masked(row, unique));
            };
            add(first);
            if (twoRows) {
                add(last);
            }
            const float rowScale = twoRows ? 0.5F : 1.0F;
            const M two = permutePixels<T, 1, 1, 3, 3>(unique);
            return sum * reinterpret<V>(select(two, reinterpret<M>(splat<V>(0.5F * rowScale)),
                                               reinterpret<M>(splat<V>(rowScale))));
        }
    }

    /// Of the whole half tile, of one or two pairs of rows. `divisors` in the lanes that its sums have.
    template <typename V, typename M>
    [[gnu::always_inline]] static inline V ofHalves(const V (&rows)[4], const bool (&counted)[4], M unique, V divisors,
                                                    [[maybe_unused]] bool joint) {
        if constexpr (sizeof(T) <= 2) {
            Sums<V> sums{};
            for (int r = 0; r < 4; ++r) {
                if (counted[r]) {
                    sums.add(masked(rows[r], unique));
                }
            }
            return Sums<V>::joined(quotient(acrossHalf(sums.even), divisors), quotient(acrossHalf(sums.odd), divisors));
        } else {
            V sum{};
            for (int r = 0; r < 4; ++r) {
                if (counted[r]) {
                    const V row = masked(rows[r], unique);
                    sum = sum + permutePixels<T, 0, 0, 0, 0>(row);
                    sum = sum + permutePixels<T, 1, 1, 1, 1>(row);
                    sum = sum + permutePixels<T, 2, 2, 2, 2>(row);
                    sum = sum + permutePixels<T, 3, 3, 3, 3>(row);
                }
            }
            return joint ? sum * divisors : sum / divisors;
        }
    }

private:
    /// Sums of channels 0 and 2, and of 1 and 3, in lanes twice as wide as a channel.
    template <typename V>
    struct Sums {
        static constexpr int kBits = 8 * sizeof(T);
        using Lane = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
        using Words = Vector<Lane, sizeof(V)>;

        Words even;
        Words odd;

        [[gnu::always_inline]] static inline Sums of(V row) {
            const auto words = reinterpret<Words>(row);
            return {words & splat<Words>(static_cast<Lane>((1U << kBits) - 1)), shiftedRight<kBits>(words)};
        }
        [[gnu::always_inline]] inline void add(V row) {
            const Sums other = of(row);
            even = even + other.even;
            odd = odd + other.odd;
        }
        [[gnu::always_inline]] static inline V joined(Words low, Words high) {
            return reinterpret<V>(low | shiftedLeft<kBits>(high));
        }
    };

    template <typename V, typename M>
    [[gnu::always_inline]] static inline V masked(V row, M mask) {
        return reinterpret<V>(reinterpret<M>(row) & mask);
    }

    template <typename Words>
    [[gnu::always_inline]] static inline Words acrossHalf(Words sums) {
        sums = sums + swapNeighbours<T>(sums);
        return sums + swapPairs<T>(sums);
    }

    template <typename Words, typename V>
    [[gnu::always_inline]] static inline Words quotient(Words sums, V divisors) {
        if constexpr (sizeof(T) == 1) {
            return highProduct(sums + sums, reinterpret<Words>(divisors));
        } else {
            // As in averageOf: half a unit is at least 1/32 of a quotient's step here, the rounding errors of quotients
            // below 2^16 are less than 1/64.
            return truncatedProduct(sums, reinterpret<Vector<float, sizeof(V)>>(divisors));
        }
    }
};

}  // namespace
}  // namespace quorvel
