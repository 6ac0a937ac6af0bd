// SPDX-License-Identifier: MIT
// Averages of filled blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "effect/fast/geometry.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Truncated averages of `count` pixels' integer channels. With half a unit added the exact quotient stays at least
/// half of 1 / count off every integer that it is below, far more than the rounding errors as long as sums stay below
/// 2^50; theirs end at 2^47.
template <typename T, typename S>
[[gnu::always_inline]] inline Pixel<T> quotients(const S* sums, std::int32_t count) {
    const double reciprocal = 1.0 / static_cast<double>(count);
    Pixel<T> average;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        const double sum = static_cast<double>(static_cast<std::int64_t>(sums[c]));
        average.channel[c] = static_cast<T>(static_cast<std::int32_t>((sum + 0.5) * reciprocal));
    }
    return average;
}

using FloatPixel = PixelVector<float>;

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

/// Averages of the parts of half tiles, from vectors of arranged pixels (see arrange.h): rows of four pixels, of which
/// each two are one part's, a part of a single pixel having it twice. `unique` masks one of each such two.
template <typename T>
class ArrangedAverages {
public:
    /// What ofQuarters divides by `count` pixels with, at most 16, in all lanes of half a tile. `joint`: as the form
    /// for R, G and B together rounds.
    static auto divisors(std::int32_t count, bool joint) {
        const auto one = divisor(count, joint);
        return splat<Vector<std::remove_const_t<decltype(one)>, kQuartetBytes<T>>>(one);
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

    /// Of a quarter of the tile: the whole half, and those of four rows that are `counted`. `divisors` for its pixels.
    template <typename V, typename M>
    [[gnu::always_inline]] static inline V ofQuarters(const V (&rows)[4], const bool (&counted)[4], M unique,
                                                      V divisors, [[maybe_unused]] bool joint) {
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
    static auto divisor(std::int32_t count, [[maybe_unused]] bool joint) {
        if constexpr (sizeof(T) == 1) {
            // Half of 2^16 / count, rounded up by at most 4 / count for the counts that quarters of tiles can have:
            // times a sum of up to 16 * 255 that stays below the 2^15 / count that it would take to reach another
            // integer.
            return static_cast<std::uint16_t>((32768 + count - 1) / count);
        } else if constexpr (sizeof(T) == 2) {
            return 1.0F / static_cast<float>(count);
        } else {
            return joint ? 1.0F / static_cast<float>(count) : static_cast<float>(count);
        }
    }

    /// Sums of channels 0 and 2, and of 1 and 3, in lanes twice as wide as a channel.
    template <typename V>
    struct Sums {
        static constexpr int kBits = 8 * sizeof(T);
        using Words = Vector<SumLane<T>, sizeof(V)>;

        Words even;
        Words odd;

        [[gnu::always_inline]] static inline Sums of(V row) {
            const auto words = reinterpret<Words>(row);
            return {words & splat<Words>(static_cast<SumLane<T>>((1U << kBits) - 1)), shiftedRight<kBits>(words)};
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
            // As in quotients(): half a unit is at least 1/32 of a quotient's step here, the rounding errors of
            // quotients below 2^16 are less than 1/64.
            return truncatedProduct(sums, reinterpret<Vector<float, sizeof(V)>>(divisors));
        }
    }
};

}  // namespace
}  // namespace quorvel::fast
