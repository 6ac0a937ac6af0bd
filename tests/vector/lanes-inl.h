// SPDX-License-Identifier: MIT
// Checks of what is done lane by lane, and of moving lanes. Expected values come from plain loops.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "effect/depth.h"
#include "effect/fast/arrange-inl.h"
#include "effect/fast/decide-inl.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/reduce-inl.h"
#include "effect/fast/vector-inl.h"
#include "tests/vector/comparison-inl.h"

namespace quorvel::test {
namespace {

template <typename T>
void checkLoadStoreSplat(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    forEachVector<T>([&](auto type) {
        using V = decltype(type);
        constexpr std::int32_t n = kCount<V, T>;
        Array<T, n + 1> from;
        for (std::int32_t i = 0; i <= n; ++i) {
            from[i] = distinct<T>(i);
        }
        // From one channel into the array on, which no alignment suits.
        compare.lanes("load", load<V>(from + 1), [&](std::int32_t i) { return from[i + 1]; });
        Array<T, n + 2> to = {};
        store(to + 1, load<V>(from));
        compare.items("store", to, n + 2, [&](std::int32_t i) { return i == 0 || i > n ? T{} : from[i - 1]; });
        const T value = DepthOf<T>::kIsInteger ? distinct<T>(7) : static_cast<T>(-0.0F);
        compare.lanes("splat", splat<V>(value), [&](std::int32_t) { return value; });
    });
}

template <typename T>
void checkComparisons(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    Numbers numbers;
    forEachVector<T>([&](auto type) {
        using V = decltype(type);
        using M = Vector<Mask<T>, sizeof(V)>;
        constexpr std::int32_t n = kCount<V, T>;
        for (int round = 0; round < 50; ++round) {
            Array<T, n> a;
            Array<T, n> b;
            for (std::int32_t i = 0; i < n; ++i) {
                a[i] = numbers.channel<T>();
                b[i] = numbers.next() % 4 == 0 ? a[i] : numbers.channel<T>();
            }
            const V x = load<V>(a);
            const V y = load<V>(b);
            // The comparisons are false for a NaN: the second operand stays.
            compare.lanes("smaller", smaller(x, y), [&](std::int32_t i) { return a[i] < b[i] ? a[i] : b[i]; });
            compare.lanes("larger", larger(x, y), [&](std::int32_t i) { return a[i] > b[i] ? a[i] : b[i]; });
            compare.lanes("minOrMax, lowest", minOrMax<Extreme::Lowest>(x, y),
                          [&](std::int32_t i) { return a[i] < b[i] ? a[i] : b[i]; });
            compare.lanes("minOrMax, highest", minOrMax<Extreme::Highest>(x, y),
                          [&](std::int32_t i) { return a[i] > b[i] ? a[i] : b[i]; });
            compare.template lanes<Mask<T>>("atMost", atMost<M>(x, y),
                                            [&](std::int32_t i) { return maskOf<T>(a[i] <= b[i]); });
            compare.template lanes<Mask<T>>("equal", equal<M>(x, y),
                                            [&](std::int32_t i) { return maskOf<T>(a[i] == b[i]); });
            const M mask = atMost<M>(x, y);
            compare.lanes("select", select(mask, y, x), [&](std::int32_t i) { return a[i] <= b[i] ? b[i] : a[i]; });
        }
        if constexpr (sizeof(V) >= 16) {
            // A single bit anywhere counts.
            compare.is("allZeros", allZeros(M{}), true);
            compare.is("allOnes", allOnes(~M{}), true);
            for (std::int32_t i = 0; i < n; ++i) {
                Array<Mask<T>, n> bits = {};
                bits[i] = 1;
                compare.is("allZeros of one bit", allZeros(load<M>(bits)), false, i);
                compare.is("allOnes but one bit", allOnes(~load<M>(bits)), false, i);
            }
        }
    });
}

/// Vectors of four pixels and more.
template <typename T>
void checkPixelPermutations(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    const auto check = [&](auto type) {
        using V = decltype(type);
        constexpr std::int32_t n = kCount<V, T>;
        Array<T, n> in;
        for (std::int32_t i = 0; i < n; ++i) {
            in[i] = distinct<T>(i);
        }
        const V value = load<V>(in);
        const auto permuted = [&](const char* operation, V actual, const std::int32_t(&order)[4]) {
            compare.lanes(operation, actual, [&](std::int32_t i) {
                return in[(i / kPixel / 4 * 4 + order[i / kPixel % 4]) * kPixel + i % kPixel];
            });
        };
        permuted("permutePixels 3 1 0 2", permutePixels<T, 3, 1, 0, 2>(value), {3, 1, 0, 2});
        permuted("permutePixels 0 0 1 2", permutePixels<T, 0, 0, 1, 2>(value), {0, 0, 1, 2});
        permuted("permutePixels 1 1 3 3", permutePixels<T, 1, 1, 3, 3>(value), {1, 1, 3, 3});
        permuted("permutePixels 2 2 2 2", permutePixels<T, 2, 2, 2, 2>(value), {2, 2, 2, 2});
        permuted("swapNeighbours", swapNeighbours<T>(value), {1, 0, 3, 2});
        permuted("swapPairs", swapPairs<T>(value), {2, 3, 0, 1});
    };
    check(Quartet<T>{});
    check(TileVector<T>{});
    if constexpr (kHoldsTiles<T>) {
        Array<T, kCount<TileVector<T>, T>> in;
        for (std::int32_t i = 0; i < kCount<TileVector<T>, T>; ++i) {
            in[i] = distinct<T>(i);
        }
        compare.lanes("swapHalves", swapHalves<T>(load<TileVector<T>>(in)),
                      [&](std::int32_t i) { return in[i ^ (4 * kPixel)]; });
    }
}

/// Single registers: pixels of two, and channels.
template <typename T>
void checkRegisterPermutations(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    using R = Register<T>;
    constexpr std::int32_t n = kRegisterChannels<T>;
    constexpr std::int32_t kTwoLargest = 128;  // channels in two of the largest vectors, which have 64 bytes
    T in[kTwoLargest];
    for (std::int32_t i = 0; i < kTwoLargest; ++i) {
        in[i] = distinct<T>(i);
    }
    const R a = load<R>(in);
    const R b = load<R>(in + n);
    const auto second = [&](std::int32_t i, std::int32_t first) {
        return in[(i / kPixel * 2 + first) * kPixel + i % kPixel];
    };
    compare.lanes("everySecondPixel 0", everySecondPixel<T, 0>(a, b), [&](std::int32_t i) { return second(i, 0); });
    compare.lanes("everySecondPixel 1", everySecondPixel<T, 1>(a, b), [&](std::int32_t i) { return second(i, 1); });
    compare.lanes("doubledPixels", doubledPixels<T, R>(in),
                  [&](std::int32_t i) { return in[i / kPixel / 2 * kPixel + i % kPixel]; });
    if constexpr (kVectorBytes >= 32) {
        using Half = Vector<T, kVectorBytes / 2>;
        compare.lanes("joined", joined<R>(load<Half>(in + 1), load<Half>(in + n)),
                      [&](std::int32_t i) { return i < n / 2 ? in[i + 1] : in[i + n / 2]; });
    }

    forEachVector<T>([&](auto type) {
        using V = decltype(type);
        const V value = load<V>(in);
        compare.lanes("repeat", repeat<V>(load<PixelVector<T>>(in)), [&](std::int32_t i) { return in[i % kPixel]; });
        if constexpr (sizeof(V) >= 16) {
            compare.lanes("swapChannels", swapChannels<T>(value), [&](std::int32_t i) { return in[i ^ 1]; });
            const auto channel = [&](std::int32_t c) {
                return [&in, c](std::int32_t i) { return in[i / kPixel * kPixel + c]; };
            };
            compare.lanes("everyChannel 0", everyChannel<T, 0>(value), channel(0));
            compare.lanes("everyChannel 1", everyChannel<T, 1>(value), channel(1));
            compare.lanes("everyChannel 2", everyChannel<T, 2>(value), channel(2));
            compare.lanes("everyChannel 3", everyChannel<T, 3>(value), channel(3));
            for (const bool highest : {false, true}) {
                const V folded = highest ? foldJoint<T, Extreme::Highest>(value) : foldJoint<T, Extreme::Lowest>(value);
                compare.lanes("foldJoint of R, G and B", everyChannel<T, 1>(folded),
                              channel(highest ? kChannelB : kChannelR));
                compare.lanes("foldJoint of R, G and B", everyChannel<T, 2>(folded),
                              channel(highest ? kChannelB : kChannelR));
                compare.lanes("foldJoint of R, G and B", everyChannel<T, 3>(folded),
                              channel(highest ? kChannelB : kChannelR));
            }
        }
    });
}

template <typename T>
void checkTransposition(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    using V = TileVector<T>;
    constexpr std::int32_t n = kCount<V, T>;
    Array<T, n> in[4];
    V rows[4];
    for (std::int32_t r = 0; r < 4; ++r) {
        for (std::int32_t i = 0; i < n; ++i) {
            in[r][i] = distinct<T>(r * 64 + i);
        }
        rows[r] = load<V>(in[r]);
    }
    V a = rows[0];
    V b = rows[1];
    exchange<8 * sizeof(T)>(a, b);
    compare.lanes("exchange, first", a, [&](std::int32_t i) { return in[i % 2][i / 2 * 2]; });
    compare.lanes("exchange, second", b, [&](std::int32_t i) { return in[i % 2][i / 2 * 2 + 1]; });
    transpose<T>(rows);
    for (std::int32_t c = 0; c < 4; ++c) {
        compare.lanes(
            "transpose", rows[c], [&](std::int32_t i) { return in[i % kPixel][i / kPixel * kPixel + c]; }, c);
    }
}

/// Permutations known only at run time, and stores of a part.
template <typename T>
void checkUnits(const Reporter& reporter) {
    [[maybe_unused]] const Comparison<T> compare(reporter);
    using V = Register<T>;
    constexpr std::int32_t n = kRegisterChannels<T>;
    [[maybe_unused]] constexpr std::int32_t kUnits = kVectorBytes / 4;
    [[maybe_unused]] constexpr std::int32_t kPerUnit = 4 / sizeof(T);
    [[maybe_unused]] Array<T, n> in;
    for (std::int32_t i = 0; i < n; ++i) {
        in[i] = distinct<T>(i);
    }
    if constexpr (kHasPermute<V>) {
        Array<std::int32_t, kUnits> places;
        for (std::int32_t i = 0; i < kUnits; ++i) {
            places[i] = i * 5 % 7 % kUnits;
        }
        const V actual = permuteUnits(load<V>(in), load<Vector<std::int32_t, kVectorBytes>>(places));
        compare.lanes("permuteUnits", actual,
                      [&](std::int32_t i) { return in[places[i / kPerUnit] * kPerUnit + i % kPerUnit]; });
    }
    if constexpr (kHasMaskedStore<V>) {
        for (std::int32_t units = 0; units <= kUnits; ++units) {
            Array<T, n> to = {};
            storeUnits(to, load<V>(in), units);
            compare.items(
                "storeUnits", to, n, [&](std::int32_t i) { return i < units * kPerUnit ? in[i] : T{}; }, units);
        }
    }
}

/// Products of sums, in the lanes that sums of this channel type have.
template <typename T>
void checkProducts(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    Numbers numbers;
    using S = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
    const auto check = [&](auto type) {
        using V = decltype(type);
        constexpr std::int32_t n = kCount<V, S>;
        for (int round = 0; round < 50; ++round) {
            Array<S, n> a;
            if constexpr (sizeof(T) == 1) {
                Array<S, n> b;
                for (std::int32_t i = 0; i < n; ++i) {
                    a[i] = static_cast<S>(numbers.next());
                    b[i] = static_cast<S>(numbers.next());
                }
                compare.template lanes<S>("highProduct", highProduct(load<V>(a), load<V>(b)), [&](std::int32_t i) {
                    return static_cast<S>((std::uint32_t{a[i]} * std::uint32_t{b[i]}) >> 16);
                });
            } else {
                const std::uint32_t divisor = numbers.next() % 16 + 1;
                for (std::int32_t i = 0; i < n; ++i) {
                    a[i] = numbers.next() % (16 * 65535 + 1);
                }
                using F = Vector<float, sizeof(V)>;
                const F factor = splat<F>(1.0F / static_cast<float>(divisor));
                compare.template lanes<S>(
                    "truncatedProduct", truncatedProduct(load<V>(a), factor),
                    [&](std::int32_t i) { return a[i] / divisor; }, static_cast<int>(divisor));
                compare.template lanes<S>(
                    "truncatedProduct by 3/4", truncatedProduct(load<V>(a), splat<F>(0.75F)),
                    [&](std::int32_t i) { return static_cast<S>((static_cast<float>(a[i]) + 0.5F) * 0.75F); });
            }
        }
        compare.template lanes<S>("shiftedRight", shiftedRight<3>(splat<V>(static_cast<S>(0x8765))),
                                  [](std::int32_t) { return static_cast<S>(0x8765 >> 3); });
        compare.template lanes<S>("shiftedLeft", shiftedLeft<3>(splat<V>(static_cast<S>(0x8765))),
                                  [](std::int32_t) { return static_cast<S>(0x8765U << 3); });
    };
    check(Vector<S, 16>{});
    check(Vector<S, kVectorBytes>{});
    check(Vector<S, 2 * kVectorBytes>{});
}

}  // namespace
}  // namespace quorvel::test
