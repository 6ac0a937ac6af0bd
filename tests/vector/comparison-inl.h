// SPDX-License-Identifier: MIT
// What the checks of the vector building blocks share. See all_checks.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "effect/depth.h"
#include "effect/fast/arrange-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"
#include "tests/vector/checks.h"

namespace quorvel::test {
namespace {

using namespace fast;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr std::int32_t kPixel = kChannelsPerPixel;

template <typename V, typename T>
constexpr std::int32_t kCount = static_cast<std::int32_t>(sizeof(V) / sizeof(T));

template <typename T, std::int32_t Count>
using Array = T[static_cast<std::size_t>(Count)];

/// One operation's values against what they should be.
template <typename T>
class Comparison {
public:
    explicit Comparison(const Reporter& reporter) : reporter_(reporter) {}

    /// Lane i of `actual` must have the bits of expected(i). Reports the first one that has not.
    template <typename C = T, typename V, typename Expected>
    void lanes(const char* operation, const V& actual, const Expected& expected, int detail = 0,
               int detail2 = 0) const {
        Array<C, kCount<V, C>> values;
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

}  // namespace
}  // namespace quorvel::test
