// SPDX-License-Identifier: MIT
// Random frames for the renderer's tests, and the ways to compare what became of them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <optional>
#include <sstream>
#include <string>

#include "effect/settings.h"
#include "host/world.h"
#include "tests/model.h"

namespace quorvel::test {

using host::World;

template <typename Channel>
constexpr host::Depth kHostDepth = sizeof(Channel) == 1   ? host::Depth::Bits8
                                   : sizeof(Channel) == 2 ? host::Depth::Bits16
                                                          : host::Depth::Float32;

/// A stream of choices that is the same on every machine for the same seed (SplitMix64, cheap to start).
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::uint32_t bits() {
        std::uint64_t z = state_ += 0x9E3779B97F4A7C15U;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return static_cast<std::uint32_t>(z >> 32);
    }
    int between(int low, int high) {
        return low + static_cast<int>(bits() % (static_cast<std::uint32_t>(high - low) + 1U));
    }
    double unit() { return bits() / 4294967295.0; }
    bool chance(int percent) { return between(1, 100) <= percent; }
    template <typename T>
    T oneOf(std::initializer_list<T> choices) {
        return choices.begin()[between(0, static_cast<int>(choices.size()) - 1)];
    }

private:
    std::uint64_t state_;
};

/// What a frame may hold.
enum class Values {
    Sane,  ///< what the panel's sliders give
    Any,   ///< also empty grids, negative depths and unknown choices
};

/// One frame to be rendered, made of nothing but its seed.
template <typename Channel>
struct Frame {
    std::uint32_t seed;
    Random random;
    model::Settings settings;
    World source;
    World output;  ///< as the host hands it over: filled with leftovers
    std::optional<World> layer;
    int originX;
    int originY;

    explicit Frame(std::uint32_t frameSeed, Values values = Values::Sane)
        : seed(frameSeed),
          random(frameSeed),
          settings(someSettings(values)),
          // Braces, because they evaluate from left to right.
          source{kHostDepth<Channel>, random.chance(10) ? 1 : random.between(1, 70),
                 random.chance(10) ? 1 : random.between(1, 50), someLayout()},
          output{kHostDepth<Channel>, source.width(), source.height(), someLayout()},
          originX(random.oneOf({0, 0, 3, -2})),
          originY(random.oneOf({0, 0, 5, -1})) {
        paint(source);
        for (std::byte& byte : output.memory()) {
            byte = static_cast<std::byte>(random.between(0, 255));
        }
        const int width = source.width();
        const int height = source.height();
        switch (random.between(0, 4)) {
            case 0:
                layer = World{source.depth(), width, height, someLayout()};
                break;
            case 1:
                layer = World{source.depth(), random.between(1, width), random.between(1, height), someLayout()};
                break;
            case 2:
                layer =
                    World{source.depth(), width + random.between(0, 9), height + random.between(0, 9), someLayout()};
                break;
            default:
                break;
        }
        if (layer) {
            paint(*layer);
        }
    }

    std::string describe() const {
        std::ostringstream text;
        text << "seed " << seed << ", " << source.width() << "x" << source.height() << ", channels "
             << settings.channels << ", intensity " << settings.intensity << ", grid " << settings.gridWidth << "x"
             << settings.gridHeight << ", iterations " << settings.maximumDepth << ", curve " << settings.curve
             << ", phase " << settings.phase << ", smoothness " << settings.smoothness << ", split " << settings.split
             << ", row bytes " << source.rowBytes() << " to " << output.rowBytes() << ", origin " << originX << ","
             << originY;
        if (layer) {
            text << ", layer " << layer->width() << "x" << layer->height() << " row bytes " << layer->rowBytes();
        }
        return text.str();
    }

    Settings effectSettings() const {
        Settings values{};
        values.channels = settings.channels;
        values.mosaicIntensity = settings.intensity;
        values.gridWidth = settings.gridWidth;
        values.gridHeight = settings.gridHeight;
        values.maxIterations = settings.maximumDepth;
        values.curveType = settings.curve;
        values.curvePhase = settings.phase;
        values.curveSmoothness = settings.smoothness;
        values.curvePhaseSplit = settings.split;
        return values;
    }

private:
    model::Settings someSettings(Values values) {
        const bool any = values == Values::Any;
        model::Settings some;
        some.channels = random.between(any ? -1 : 0, any ? 6 : 5);
        some.intensity = random.oneOf({0.25, 0.0, 1.0, random.unit(), random.unit() * 0.3});
        some.gridWidth = random.chance(70) ? random.between(any ? -1 : 1, 6) : random.between(7, 32);
        some.gridHeight = random.chance(70) ? random.between(any ? -1 : 1, 6) : random.between(7, 32);
        some.maximumDepth = random.chance(60) ? 32 : random.between(any ? -1 : 1, 5);
        some.curve = random.between(any ? -1 : 0, any ? 6 : 5);
        some.phase = someAngle();
        some.smoothness = random.chance(70) ? 0.0 : random.unit() * 0.6;
        some.split = someAngle();
        return some;
    }
    int someAngle() { return random.chance(40) ? 0 : random.between(-1500 * 65536, 1500 * 65536); }
    host::RowLayout someLayout() {
        return {random.oneOf({0, 0, 1, 5, 12}) * static_cast<int>(sizeof(Channel)), random.chance(30)};
    }

    /// Flat tiles under some noise, so that quadtrees stop at every depth; a few pictures hold values out of range.
    void paint(World& world) {
        const int tile = random.between(1, 14);
        const double noise = random.oneOf({0.0, 0.02, 0.2, 1.0});
        const double gain = random.chance(15) ? 2.0 : 1.0;
        const bool broken = random.chance(15);
        const auto start = static_cast<std::uint32_t>(random.between(0, 1 << 30));
        for (int y = 0; y < world.height(); ++y) {
            Channel* row = world.channels<Channel>(y);
            for (int i = 0; i < world.width() * 4; ++i) {
                Random place(start + static_cast<std::uint32_t>(y / tile * 4096 + i / 4 / tile * 4 + i % 4));
                const double value = gain * (place.unit() + noise * (random.unit() - 0.5));
                row[i] = channelOf(value, broken && random.chance(3));
            }
        }
    }
    Channel channelOf(double value, bool broken) {
        if constexpr (std::is_floating_point_v<Channel>) {
            using Limits = std::numeric_limits<float>;
            return broken ? random.oneOf({Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), -0.5F, 1e30F,
                                          Limits::denorm_min()})
                          : static_cast<float>(value);
        } else {
            constexpr double top = std::numeric_limits<Channel>::max();
            return static_cast<Channel>(broken ? top : std::clamp(value * model::Numbers<Channel>::top, 0.0, top));
        }
    }
};

template <typename Channel>
model::Picture<Channel> pictureOf(const World& world) {
    model::Picture<Channel> picture(world.width(), world.height());
    for (int y = 0; y < world.height(); ++y) {
        std::copy_n(world.channels<Channel>(y), world.width() * 4, &picture.at(0, y, 0));
    }
    return picture;
}

/// What the frame's output has to look like after rendering, padding included.
template <typename Channel>
World expectedOutput(const Frame<Channel>& frame) {
    model::Picture<Channel> output = pictureOf<Channel>(frame.output);
    std::optional<model::Picture<Channel>> layer;
    if (frame.layer) {
        layer = pictureOf<Channel>(*frame.layer);
    }
    const model::Picture<Channel> source = pictureOf<Channel>(frame.source);
    model::Mosaic<Channel>(output, source, frame.settings, layer ? &*layer : nullptr, frame.originX, frame.originY)
        .draw();
    World world = frame.output.clone();
    for (int y = 0; y < world.height(); ++y) {
        std::copy_n(&output.at(0, y, 0), world.width() * 4, world.channels<Channel>(y));
    }
    return world;
}

/// Equal in every bit of every channel (any NaN equals any other) and in what lies between the rows.
template <typename Channel>
testing::AssertionResult sameWorld(const World& expected, const World& actual) {
    std::ostringstream first;
    int different = 0;
    World expectedPadding = expected.clone();
    World actualPadding = actual.clone();
    for (int y = 0; y < expected.height(); ++y) {
        const Channel* wanted = expected.channels<Channel>(y);
        const Channel* got = actual.channels<Channel>(y);
        for (int i = 0; i < expected.width() * 4; ++i) {
            const bool bothNaN = wanted[i] != wanted[i] && got[i] != got[i];
            if (!bothNaN && std::memcmp(&wanted[i], &got[i], sizeof(Channel)) != 0 && different++ == 0) {
                first << "pixel " << i / 4 << "," << y << " channel "
                      << "ARGB"[i % 4] << ": expected " << +wanted[i] << ", got " << +got[i];
            }
        }
        std::memset(expectedPadding.row(y), 0, static_cast<std::size_t>(expected.width()) * 4 * sizeof(Channel));
        std::memset(actualPadding.row(y), 0, static_cast<std::size_t>(expected.width()) * 4 * sizeof(Channel));
    }
    if (different != 0) {
        return testing::AssertionFailure() << different << " channels differ, first " << first.str();
    }
    if (expectedPadding.memory() != actualPadding.memory()) {
        return testing::AssertionFailure() << "bytes between the rows were written";
    }
    return testing::AssertionSuccess();
}

}  // namespace quorvel::test
