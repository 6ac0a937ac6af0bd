// SPDX-License-Identifier: MIT
// The plain kernel where whole frames through a host do not reach, and examples worked by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "effect/plain/render.h"
#include "tests/support/host_frame.h"
#include "tests/support/random.h"

namespace quorvel::test {
namespace {

/// One channel's values, row by row, and what they have to become in a single cell under a plain ramp.
struct Example {
    const char* what;
    int width;
    double intensity;
    std::vector<double> source;
    std::vector<double> expected;
    int iterations = 32;
};

template <typename Depth>
void check(ChannelMode mode, int channel, const std::vector<Example>& examples) {
    using T = typename Depth::Channel;
    for (const Example& example : examples) {
        const int height = static_cast<int>(example.source.size()) / example.width;
        model::Picture<T> source(example.width, height);
        model::Picture<T> output(example.width, height);
        for (std::size_t i = 0; i < example.source.size(); ++i) {
            source.values[i * 4 + static_cast<std::size_t>(channel)] = static_cast<T>(example.source[i]);
        }
        Settings values{};
        values.channels = mode;
        values.mosaicIntensity = example.intensity;
        values.gridWidth = values.gridHeight = 1;
        values.maxIterations = example.iterations;
        plain::render<Depth>({output.values.data(), output.width, output.height, output.width * 4},
                             {source.values.data(), source.width, source.height, source.width * 4}, values);
        for (std::size_t i = 0; i < example.expected.size(); ++i) {
            const T got = output.values[i * 4 + static_cast<std::size_t>(channel)];
            const T wanted = static_cast<T>(example.expected[i]);
            EXPECT_TRUE(got == wanted || (got != got && wanted != wanted))
                << example.what << ", pixel " << i << ": expected " << +wanted << ", got " << +got;
        }
    }
}

// With the ramp a block's value is its contrast: in 8 bits, a threshold of 0.2 is 51.
TEST(Block, WorkedExamples) {
    const std::vector<double> busy = {0, 100, 104, 50, 9, 20, 51, 31, 42};
    std::vector<double> edge(20, 7);
    edge[19] = 207;
    check<Depth8>(kLuminosity, kChannelR, {{"averages are truncated", 2, 0.5, {10, 11}, {10, 10}}});
    check<Depth8>(
        kRed, kChannelR,
        {
            {"0 iterations copy", 2, 1.0, {10, 11}, {10, 11}, 0},
            {"-1 iterations leave it to the threshold: fill", 2, 0.5, {10, 12}, {11, 11}, -1},
            {"-1 iterations leave it to the threshold: copy", 2, 0.0, {10, 12}, {10, 12}, -1},
            {"on the threshold nothing splits", 3, 0.2, {0, 51, 0, 0, 0, 0, 0, 0, 0}, std::vector<double>(9, 5)},
            {"3x3 splits into 1x1, 2x1, 1x2 and 2x2", 3, 0.1, busy, {0, 102, 102, 50, 9, 20, 50, 31, 42}},
            {"the deepest level is never averaged", 3, 0.1, busy, busy, 1},
            {"2x10 above the threshold is copied", 2, 0.5, edge, edge},
            {"2x10 below it is averaged", 2, 0.9, edge, std::vector<double>(20, 17)},
            {"5x4 splits into columns of 2 and 3",
             5,
             0.5,
             {10, 20, 200, 210, 205, 10, 20, 200, 210, 205, 0, 2, 90, 90, 93, 0, 2, 90, 90, 93},
             {15, 15, 205, 205, 205, 15, 15, 205, 205, 205, 1, 1, 91, 91, 91, 1, 1, 91, 91, 91}},
        });
    check<Depth16>(kAlpha, kChannelA,
                   {
                       {"past the last sample comes the first of the next turn", 2, 0.5, {0, 32777}, {16388, 16388}},
                       {"and so on up to the last but two", 2, 0.5, {0, 65535}, {0, 65535}},
                   });
    const double nan = std::numeric_limits<double>::quiet_NaN();
    check<DepthFloat>(kRed, kChannelR,
                      {
                          {"contrast is clamped, averages are not", 2, 1.0, {1.5, -0.5}, {0.5, 0.5}},
                          {"a NaN has no contrast but spoils the average", 2, 0.1, {nan, 0.5}, {nan, nan}},
                          {"nothing but NaN has sample 0", 2, 0.0, {nan, nan}, {nan, nan}},
                      });
}

template <typename Depth>
class Kernel : public testing::Test {};
using Depths = testing::Types<Depth8, Depth16, DepthFloat>;
TYPED_TEST_SUITE(Kernel, Depths);

TYPED_TEST(Kernel, HugeLayersAndOriginsStayInsideTheLayer) {
    using T = typename TypeParam::Channel;
    for (std::uint64_t seed = 2001; seed <= 2020; ++seed) {
        auto frame = randomFrame<TypeParam>(seed, FrameFor::Hosts);
        Random random(seed);
        const int length = random.oneOf({32768, 50000, 65537});
        const int breadth = random.between(1, 2);
        const bool wide = random.oneIn(2);
        GuardedPicture<T>& layer =
            frame.layer.emplace(wide ? length : breadth, wide ? breadth : length,
                                (wide ? length : breadth) * kChannelsPerPixel, GuardedMemory::Guard::After);
        for (std::size_t i = 0; i < layer.channels(); ++i) {
            layer.memory()[i] = static_cast<T>(random.uniform(0.0, model::Numbers<T>::top));
        }
        frame.originX = random.oneOf({0, 40000, std::numeric_limits<int>::max()});
        frame.originY = 0;
        ASSERT_EQ(difference(viewOf(modelled(frame)), renderedPlainly(frame).view(), currentTest()), "")
            << frame.description();
    }
}

}  // namespace
}  // namespace quorvel::test
