// SPDX-License-Identifier: MIT
// Random choices that are the same on every machine and with every standard library for the same seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>

namespace quorvel::test {

/// The engine is the standard's, which fixes its every number. Its distributions are not fixed, so these are our own.
class Random {
public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}

    std::uint64_t bits() { return engine_(); }
    /// A whole number from `low` to `high`, both included.
    template <typename Integer>
    Integer between(Integer low, Integer high) {
        const auto count = static_cast<std::uint64_t>(high) - static_cast<std::uint64_t>(low) + 1;
        return static_cast<Integer>(static_cast<std::uint64_t>(low) + bits() % count);
    }
    /// From 0 up to, but not including, 1.
    double unit() { return static_cast<double>(bits() >> 11) / 9007199254740992.0; }
    double uniform(double low, double high) { return low + (high - low) * unit(); }
    bool chance(double probability) { return unit() < probability; }
    bool oneIn(int chances) { return between(1, chances) == 1; }
    template <typename T>
    T oneOf(std::initializer_list<T> choices) {
        return choices.begin()[between(std::size_t{0}, choices.size() - 1)];
    }

private:
    std::mt19937_64 engine_;
};

}  // namespace quorvel::test
