// SPDX-License-Identifier: MIT
// Averages inside tiles that are split: of quarters, and of their parts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "effect/depth.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Averages from arranged pixels (see arrange-inl.h): each half tile is four places, each two of them a part. `unique`
/// masks the places that hold each pixel once.
template <typename T>
class ArrangedAverages {
public:
    /// The divisor that ofQuarters() needs for quarters of `count` pixels, at most 16, in all lanes of half a tile.
    /// `joint`: round like the form for R, G and B together.
    static auto divisors(std::int32_t count, bool joint) {
        const auto one = divisor(count, joint);
        return splat<Vector<std::remove_const_t<decltype(one)>, kQuartetBytes<T>>>(one);
    }

    /// The average of each part, in both of its places. `first` and `last` are its rows, the same one unless `twoRows`.
    // p0 p1 p2 p3 -> p01 p01 p23 p23
    template <typename V, typename M>
    [[gnu::always_inline]] static inline V ofParts(V first, V last, [[maybe_unused]] M unique,
                                                   [[maybe_unused]] bool twoRows) {
        if constexpr (Depth::kIsInteger) {
            Sums<V> sums = Sums<V>::of(first);
            sums.add(last);
            sums.even = sums.even + swapNeighbours<T>(sums.even);
            sums.odd = sums.odd + swapNeighbours<T>(sums.odd);
            return Sums<V>::joined(shiftedRight<2>(sums.even), shiftedRight<2>(sums.odd));
        } else {
            // In the fixed order. A masked pixel adds zero, which changes no sum: the sum starts at positive zero, and
            // never becomes negative zero.
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

    /// The average of each quarter, in all four places of its half of the tile. `counted` tells which of the four rows
    /// count; `divisors` are those for the number of its pixels.
    // p0 p1 p2 p3 -> q q q q
    template <typename V, typename M>
    [[gnu::always_inline]] static inline V ofQuarters(const V (&rows)[4], const bool (&counted)[4], M unique,
                                                      V divisors, [[maybe_unused]] bool joint) {
        if constexpr (Depth::kIsInteger) {
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
    using Depth = DepthOf<T>;
    static constexpr bool kSumsHave16Bits = sizeof(SumLane<T>) == 2;

    static auto divisor(std::int32_t count, [[maybe_unused]] bool joint) {
        if constexpr (!Depth::kIsInteger) {
            return joint ? 1.0F / static_cast<float>(count) : static_cast<float>(count);
        } else if constexpr (kSumsHave16Bits) {
            // 2^15 / count, rounded up. For the counts that quarters of tiles have, rounding adds at most 4 / count.
            // Sums are at most 16 * 255, so the product exceeds the exact one by less than the 2^15 / count that it
            // would take to reach the next integer.
            return static_cast<std::uint16_t>((32768 + count - 1) / count);
        } else {
            return 1.0F / static_cast<float>(count);
        }
    }

    /// Sums of channels 0 and 2 (`even`), and of 1 and 3 (`odd`).
    // c0 c1 c2 c3 -> even c0 c2, odd c1 c3
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
        if constexpr (kSumsHave16Bits) {
            return highProduct(sums + sums, reinterpret<Words>(divisors));
        } else {
            // As in quotients(): the quotient of sum + 0.5 is at least 1/32 away from every integer, and the rounding
            // errors of quotients below 2^16 are less than 1/64.
            return truncatedProduct(sums, reinterpret<Vector<float, sizeof(V)>>(divisors));
        }
    }
};

}  // namespace
}  // namespace quorvel::fast
