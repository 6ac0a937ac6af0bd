// SPDX-License-Identifier: MIT
#include "effect/curve.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "effect/curve_table.h"
#include "tests/support/model.h"
#include "tests/support/random.h"

namespace quorvel {
namespace {

Settings curveSettings(int curve, int phase = 0, double smoothness = 0.0, int split = 0) {
    Settings values{};
    values.curveType = curve;
    values.curvePhase = phase;
    values.curveSmoothness = smoothness;
    values.curvePhaseSplit = split;
    return values;
}

/// 16.16 degrees that shift a curve of n samples by k, aimed at the middle of the step.
int angleOf(double k, int n) {
    return static_cast<int>((k + std::copysign(0.5, k)) * 360.0 * 65536.0 / n);
}

TEST(Curve, EightBitTablesHaveTheirKnownEntries) {
    struct {
        int curve, sample, value;
    } const known[] = {
        {kLinearRampUp, 0, 0},     {kLinearRampUp, 253, 252}, {kLinearRampUp, 255, 255}, {kLinearRampDown, 0, 255},
        {kLinearRampDown, 255, 0}, {kTriangleWave, 0, 0},     {kTriangleWave, 127, 254}, {kTriangleWave, 255, 0},
        {kSineWave, 0, 127},       {kSineWave, 64, 255},      {kSineWave, 192, 0},       {kExpUp, 63, 0},
        {kExpUp, 64, 1},           {kExpUp, 255, 255},        {kExpDown, 0, 255},        {kExpDown, 255, 0},
    };
    for (const auto& entry : known) {
        const CurveTable<Depth8> table(curveSettings(entry.curve));
        EXPECT_EQ(table.base()[entry.sample], entry.value) << "curve " << entry.curve << " sample " << entry.sample;
    }
    const CurveTable<Depth8> triangle(curveSettings(kTriangleWave));
    EXPECT_EQ(*std::max_element(triangle.base(), triangle.base() + 256), 254);
}

TEST(Curve, SmoothingBlendsBoxesAndFallsBackAtWholeNumbers) {
    const auto value = [](int i, float smoothness) { return curveValue(kExpUp, i, 96, 95.0F, 0.0F, smoothness, 0); };
    const auto mean3 = [&](int i) { return (value((i + 95) % 96, 0) + value(i, 0) + value((i + 1) % 96, 0)) / 3; };
    for (const int i : {0, 1, 40, 95}) {
        EXPECT_EQ(value(i, 1.0F), value(i, 0.0F)) << i;
        EXPECT_NEAR(value(i, 0.5F), 0.5F * mean3(i) + 0.5F * value(i, 0.0F), 1e-4F) << i;
        EXPECT_NEAR(value(i, 2.0F), mean3(i), 1e-4F) << i;
        EXPECT_NEAR(value(i, -0.5F), value(i, 0.0F), 1e-4F) << i;
        for (const float none : {-1.5F, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity(), 1e30F}) {
            EXPECT_EQ(value(i, none), value(i, 0.0F)) << i << " smoothed by " << none;
        }
    }
    EXPECT_GT(value(0, 2.0F), 30.0F) << "the top of the ramp belongs to the neighbours of its start";
}

TEST(Curve, FlagsOffsetsAndUnknownTypes) {
    EXPECT_EQ(curveValue(kTriangleWave, 1, 3, 100.0F, 0.0F, 0.0F, 0), 100.0F) << "exactly half-way up";
    EXPECT_EQ(curveValue(kLinearRampUp, 1, 4, 1.0F, 0.0F, 0.0F, kCurveNotRounded), 1.0F / 3.0F);
    EXPECT_EQ(curveValue(kLinearRampUp, 1, 4, 1.0F, 0.0F, 0.0F, 0), 3333334.0F * 1e-7F);
    EXPECT_EQ(curveValue(kLinearRampUp, 2, 3, 10.0F, 5.0F, 0.0F, 0), 15.0F);
    for (const int unknown : {-1, 6}) {
        EXPECT_FLOAT_EQ(curveValue(unknown, 1, 3, 255.0F, 2.0F, 0.0F, 0), 2.5F);
    }
    EXPECT_NEAR(curveValue(kSineWave, 24, 97, 2.0F, 0.0F, 0.0F, kCurveSineOnRamp), 2.0F, 1e-6F);
    EXPECT_LT(curveValue(kSineWave, 24, 97, 2.0F, 0.0F, 0.0F, 0), 1.9999F) << "its period is one sample longer";
}

/// The curve divides by the count, the model multiplies by its reciprocal.
TEST(Curve, SamplesLieWhereTheModelPutsThem) {
    for (int n = 2; n <= 5000; ++n) {
        for (int i = 0; i < n; ++i) {
            const model::Place place = model::placeOf(i, n);
            ASSERT_EQ(curveValue(kLinearRampUp, i, n, 1.0F, 0.0F, -1.0F, kCurveNotRounded), place.ramp)
                << "sample " << i << " of " << n;
            ASSERT_EQ(static_cast<float>(static_cast<double>(i) / n), place.turn) << "sample " << i << " of " << n;
        }
    }
}

TEST(Curve, EqualsTheModelBitForBit) {
    test::Random random(20240811);
    for (int round = 0; round < 4000; ++round) {
        const int n = random.between(2, 300);
        const int curve = random.between(-1, 6);
        const int i = random.between(0, n - 1);
        const auto top = static_cast<float>(random.uniform(0.5, 40000.0));
        const auto smoothness = static_cast<float>(random.uniform(-2.0, 12.0));
        if (std::ceil(smoothness) > static_cast<float>(n)) {
            continue;  // wraps once only, which is nobody's picture
        }
        ASSERT_EQ(std::bit_cast<int>(curveValue(curve, i, n, top, 0.0F, smoothness, 0)),
                  std::bit_cast<int>(model::curveValue(curve, i, n, top, smoothness)))
            << "curve " << curve << " sample " << i << " of " << n << " top " << top << " smoothness " << smoothness;
    }
}

TEST(Angle, TurnsIntoSamplesAndNegativeOnesLandOneShort) {
    for (const int n : {256, 4000, 4096}) {
        const struct {
            int shift, sample;
        } known[] = {{0, 0}, {1, 1}, {n - 1, n - 1}, {n, 0}, {3 * n + 5, 5}, {-1, n - 2}, {-n, n - 1}, {-n - 1, n - 2}};
        for (const auto& [shift, sample] : known) {
            EXPECT_EQ(angleToShift(shift == 0 ? 0 : angleOf(shift, n), n), sample) << shift << " of " << n;
        }
        EXPECT_EQ(angleToShift(-1, n), 0) << "too small a turn to shift anything";
        test::Random random(7);
        for (int round = 0; round < 2000; ++round) {
            const int angle = random.between(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
            ASSERT_EQ(angleToShift(angle, n), model::angleToSamples(angle, n)) << angle << " of " << n;
        }
        EXPECT_EQ(angleToShift(std::numeric_limits<int>::min(), n),
                  model::angleToSamples(std::numeric_limits<int>::min(), n));
    }
}

template <typename Depth>
class CurveTables : public testing::Test {};
using Depths = testing::Types<Depth8, Depth16, DepthFloat>;
TYPED_TEST_SUITE(CurveTables, Depths);

TYPED_TEST(CurveTables, PhaseRotates) {
    constexpr int n = TypeParam::kSamples;
    const CurveTable<TypeParam> still(curveSettings(kExpUp));
    struct {
        int angle, rotation;
    } const known[] = {{angleOf(1, n), 1},      {360 * 65536, 0},        {720 * 65536 + angleOf(3, n), 3},
                       {angleOf(-1, n), n - 2}, {angleOf(-n, n), n - 1}, {angleOf(-n - 1, n), n - 2}};
    for (const auto& [angle, rotation] : known) {
        const CurveTable<TypeParam> turned(curveSettings(kExpUp, angle));
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(turned.base()[(i + rotation) % n], still.base()[i]) << "angle " << angle << " sample " << i;
        }
    }
}

TYPED_TEST(CurveTables, EqualTheModelInEveryView) {
    using Channel = typename TypeParam::Channel;
    constexpr int n = TypeParam::kSamples;
    test::Random random(99);
    for (int round = 0; round < 24; ++round) {
        const double smoothness = round % 4 == 0 ? random.uniform(0.0, 0.5) : 0.0;
        const int phase = random.between(-(1 << 28), (1 << 28) - 1);
        const int split = random.between(-(1 << 28), (1 << 28) - 1);
        const Settings values = curveSettings(round % 6, phase, smoothness, split);
        const CurveTable<TypeParam> table(values);
        model::Settings settings;
        settings.curve = values.curveType;
        settings.phase = values.curvePhase;
        settings.smoothness = smoothness;
        const model::Curve<Channel> curve(settings);
        const int plus = model::angleToSamples(values.curvePhaseSplit, n);
        const int minus = model::angleToSamples(-std::int64_t{values.curvePhaseSplit}, n);
        for (int i = 0; i < n; ++i) {
            ASSERT_EQ(table.base()[i], curve.at(i, 0)) << "round " << round << " sample " << i;
            ASSERT_EQ(table.plus()[i], curve.at(i, plus)) << "round " << round << " sample " << i;
            ASSERT_EQ(table.minus()[i], curve.at(i, minus)) << "round " << round << " sample " << i;
        }
    }
}

}  // namespace
}  // namespace quorvel
