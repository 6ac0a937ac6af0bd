// SPDX-License-Identifier: MIT
// Compiled once for each instruction set, with QUORVEL_CHECKS naming its table. Expected values come from plain loops.
// As in the kernels, everything has internal linkage, and no header is used that would leave a shared copy of a
// function.
#include "tests/vector_checks.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "effect/depth.h"
#include "effect/fast/arrange-inl.h"
#include "effect/fast/average_blocks-inl.h"
#include "effect/fast/average_parts-inl.h"
#include "effect/fast/decide-inl.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/reduce-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/pixels.h"

namespace quorvel::test {
namespace {

using namespace fast;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr std::int32_t kPixel = kChannelsPerPixel;

template <typename V, typename T>
constexpr std::int32_t kCount = static_cast<std::int32_t>(sizeof(V) / sizeof(T));

/// One operation's values against what they should be.
template <typename T>
class Comparison {
public:
    explicit Comparison(const Reporter& reporter) : reporter_(reporter) {}

    /// Lane i of `actual` must have the bits of expected(i). Reports the first one that has not.
    template <typename C = T, typename V, typename Expected>
    void lanes(const char* operation, const V& actual, const Expected& expected, int detail = 0,
               int detail2 = 0) const {
        C values[kCount<V, C>];
        store(values, actual);
        items<C>(operation, values, kCount<V, C>, expected, detail, detail2);
    }

    template <typename C = T, typename Expected>
    void items(const char* operation, const C* values, std::int32_t count, const Expected& expected, int detail = 0,
               int detail2 = 0) const {
        for (std::int32_t i = 0; i < count; ++i) {
            const C value = expected(i);
            if (__builtin_memcmp(&value, values + i, sizeof value) != 0) {
                reporter_.report({operation, name(), static_cast<int>(sizeof(C)) * count, detail, detail2, i,
                                  static_cast<double>(value), static_cast<double>(values[i])});
                return;
            }
        }
    }

    void is(const char* operation, bool actual, bool expected, int detail = 0) const {
        if (actual != expected) {
            reporter_.report({operation, name(), 0, detail, 0, 0, expected ? 1.0 : 0.0, actual ? 1.0 : 0.0});
        }
    }

private:
    static const char* name() { return sizeof(T) == 1 ? "8 bits" : sizeof(T) == 2 ? "16 bits" : "float"; }

    const Reporter& reporter_;
};

/// Numbers that look random and are the same everywhere.
class Numbers {
public:
    std::uint32_t next() {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return static_cast<std::uint32_t>(state_ >> 33);
    }
    /// Any value of an integer channel; of floats also zeros, infinities and NaNs.
    template <typename T>
    T channel() {
        if constexpr (DepthOf<T>::kIsInteger) {
            return static_cast<T>(next());
        } else {
            constexpr float kSpecial[] = {kNaN, kInfinity, -kInfinity, 0.0F, -0.0F};
            const std::uint32_t pick = next() % 40;
            return pick < 5 ? kSpecial[pick] : finite<T>();
        }
    }
    /// Floats from -0.3 to 1, whose sums are rounded and so depend on their order.
    template <typename T>
    T finite() {
        if constexpr (DepthOf<T>::kIsInteger) {
            return static_cast<T>(next());
        } else {
            return static_cast<float>(next() % 65536) / 49152.0F - 0.3F;
        }
    }

private:
    std::uint64_t state_ = 1;
};

/// Values that differ from lane to lane, up to 256 of them.
template <typename T>
T distinct(std::int32_t lane) {
    return static_cast<T>(lane * (sizeof(T) == 1 ? 1 : 257) + 1);
}

/// Runs check(V{}) for each type of vector that holds pixels of T.
template <typename T, typename Check>
void forEachVector(const Check& check) {
    check(PixelVector<T>{});
    check(Register<T>{});
    check(Quartet<T>{});
    check(TileVector<T>{});
}

template <typename T>
void checkLoadStoreSplat(const Reporter& reporter) {
    const Comparison<T> compare(reporter);
    forEachVector<T>([&](auto type) {
        using V = decltype(type);
        constexpr std::int32_t n = kCount<V, T>;
        T from[n + 1];
        for (std::int32_t i = 0; i <= n; ++i) {
            from[i] = distinct<T>(i);
        }
        // From one channel into the array on, which no alignment suits.
        compare.lanes("load", load<V>(from + 1), [&](std::int32_t i) { return from[i + 1]; });
        T to[n + 2] = {};
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
            T a[n];
            T b[n];
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
                Mask<T> bits[n] = {};
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
        T in[n];
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
        T in[kCount<TileVector<T>, T>];
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
    T in[2 * n];
    for (std::int32_t i = 0; i < 2 * n; ++i) {
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
    compare.lanes("joined", joined<Vector<T, 2 * kVectorBytes>>(a, b), [&](std::int32_t i) { return in[i]; });

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
    T in[4][n];
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
    [[maybe_unused]] T in[n];
    for (std::int32_t i = 0; i < n; ++i) {
        in[i] = distinct<T>(i);
    }
    if constexpr (kHasPermute<V>) {
        std::int32_t places[kUnits];
        for (std::int32_t i = 0; i < kUnits; ++i) {
            places[i] = i * 5 % 7 % kUnits;
        }
        const V actual = permuteUnits(load<V>(in), load<Vector<std::int32_t, kVectorBytes>>(places));
        compare.lanes("permuteUnits", actual,
                      [&](std::int32_t i) { return in[places[i / kPerUnit] * kPerUnit + i % kPerUnit]; });
    }
    if constexpr (kHasMaskedStore<V>) {
        for (std::int32_t units = 0; units <= kUnits; ++units) {
            T to[n] = {};
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
            S a[n];
            if constexpr (sizeof(T) == 1) {
                S b[n];
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
    T row[kRowChannels];
    for (std::int32_t i = 0; i < kRowChannels; ++i) {
        row[i] = distinct<T>(i);
    }
    forEachArrangement<T>(1, [&](const Arrangement<T>& tiles, const Halves& halves, std::int32_t left,
                                 std::int32_t first, std::int32_t second) {
        T arranged[kCount<V, T>];
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
        T out[(kRowWidth + 2 * kAround) * kPixel];
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
        Mask<T> masks[kCount<V, T>];
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
        for (std::int32_t i = 0; i < 64 * 2; ++i) {
            evens[i] = static_cast<SumLane<T>>(numbers.next() % (std::numeric_limits<SumLane<T>>::max() / 8 + 1U));
            odds[i] = static_cast<SumLane<T>>(numbers.next() % (std::numeric_limits<SumLane<T>>::max() / 8 + 1U));
        }
        const auto sum = [&](std::int32_t x, std::int32_t width, std::int32_t c) {
            std::uint32_t total = 0;
            for (std::int32_t i = x; i < x + width; ++i) {
                total += (c % 2 == 0 ? evens : odds)[2 * i + c / 2];
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
            T average[kCount<V, T>];
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
                const std::uint64_t most = static_cast<std::uint64_t>(count) * std::numeric_limits<T>::max();
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
        const Region regions[4] = {{0, 0, 7, 7}, {7, 0, 8, 7}, {15, 7, 7, 8}, {30, 8, 8, 8}};
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

#define QUORVEL_CHECK(name)                                                             \
    {#name "8", check##name<std::uint8_t>}, {#name "16", check##name<std::uint16_t>}, { \
#name "Float", check##name < float>                                             \
    }

const VectorCheck QUORVEL_CHECKS[] = {
    QUORVEL_CHECK(LoadStoreSplat),    QUORVEL_CHECK(Comparisons),
    QUORVEL_CHECK(PixelPermutations), QUORVEL_CHECK(RegisterPermutations),
    QUORVEL_CHECK(Transposition),     QUORVEL_CHECK(Units),
    QUORVEL_CHECK(Products),          QUORVEL_CHECK(Arrangement),
    QUORVEL_CHECK(Reductions),        QUORVEL_CHECK(Averages),
    QUORVEL_CHECK(BlockAverages),     {nullptr, nullptr},
};

}  // namespace quorvel::test
