// SPDX-License-Identifier: MIT
// The fast kernel gives the plain kernel's bits, with every instruction set that the machine has.
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <vector>

#include "effect/curve.h"
#include "effect/depth.h"
#include "effect/fast/curve_samples.h"
#include "tests/support/current_test.h"
#include "tests/support/frame_renders.h"
#include "tests/support/instruction_sets.h"

namespace quorvel::test {
namespace {

using fast::InstructionSet;

class Kernels : public testing::TestWithParam<InstructionSet> {
protected:
    void SetUp() override {
        if (!canRun(GetParam())) {
            GTEST_SKIP() << "this machine does not have the instructions";
        }
    }

    template <typename Depth>
    void compareFrames(std::uint64_t firstSeed, int frames) {
        for (int i = 0; i < frames; ++i) {
            const auto frame = randomFrame<Depth>(firstSeed + static_cast<std::uint64_t>(i));
            ASSERT_EQ(compareRenderers(frame, GetParam(), currentTest()), "");
        }
    }
};

TEST_P(Kernels, RandomFrames8) {
    compareFrames<Depth8>(1615, 126);
}
TEST_P(Kernels, RandomFrames16) {
    compareFrames<Depth16>(1001, 100);
}
TEST_P(Kernels, RandomFramesFloat) {
    compareFrames<DepthFloat>(2621, 70);
}

/// Cells so large that coarse parts are measured within coarse parts.
TEST_P(Kernels, LargeCells) {
    EXPECT_EQ(compareRenderers(randomCell<Depth8>(1, 4200, 1560), GetParam(), currentTest()), "");
    EXPECT_EQ(compareRenderers(randomCell<Depth16>(2, 700, 301), GetParam(), currentTest()), "");
    EXPECT_EQ(compareRenderers(randomCell<DepthFloat>(3, 1031, 500), GetParam(), currentTest()), "");
}

TEST_P(Kernels, CurvesAreThoseOfTheGraph) {
    struct Size {
        int count;
        float amplitude;
    };
    // The last two radii are wider than the filter for whole curves goes, and than the curve itself.
    const float smoothnesses[] = {-1.5F, -0.5F, 0.0F,  0.5F,   1.0F,    2.0F,
                                  2.7F,  42.1F, 43.0F, 255.5F, 1100.2F, std::numeric_limits<float>::quiet_NaN()};
    for (const Size size : {Size{Depth8::kSamples, Depth8::kAmplitude}, Size{Depth16::kSamples, Depth16::kAmplitude},
                            Size{DepthFloat::kSamples, DepthFloat::kAmplitude}}) {
        std::vector<float> samples(static_cast<std::size_t>(size.count));
        for (int type = kLinearRampUp; type <= kExpDown + 1; ++type) {
            for (const float smoothness : smoothnesses) {
                fast::sampleCurve(type, size.count, size.amplitude, smoothness, samples.data(), GetParam());
                // Slow for wide filters: a sample here and there, and both ends.
                const int step = smoothness > 3.0F ? 193 : 11;
                for (int i = 0; i < size.count; i += i < 8 || i > size.count - 8 ? 1 : step) {
                    const float expected = curveValue(type, i, size.count, size.amplitude, 0.0F, smoothness, 0);
                    ASSERT_EQ(std::bit_cast<std::uint32_t>(samples[static_cast<std::size_t>(i)]),
                              std::bit_cast<std::uint32_t>(expected))
                        << "type " << type << ", smoothness " << smoothness << ", sample " << i << " of " << size.count;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(InstructionSets, Kernels, testing::ValuesIn(kTestedSets),
                         [](const testing::TestParamInfo<InstructionSet>& set) {
                             return set.param == InstructionSet::Baseline ? "Baseline"
                                    : set.param == InstructionSet::Avx2   ? "Avx2"
                                                                          : "Avx512";
                         });

}  // namespace
}  // namespace quorvel::test
