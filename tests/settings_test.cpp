// SPDX-License-Identifier: MIT
// Settings files and keyframes: what is read is what is written, and what lies between keys is as worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "effect/parameters.h"
#include "settings/keyframes.h"
#include "settings/settings_file.h"

namespace quorvel::settings {
namespace {

constexpr Ease kHold{Ease::Kind::Hold};

Keyframes threeKeys(Outside before, Outside after) {
    return {Keyframes::Unit::Frames, {{10, 1.0, {}}, {20, 3.0, kHold}, {40, -1.0, {}}}, before, after};
}

TEST(Keyframes, AreLinearOrHeldBetweenTheKeysAndExactAtThem) {
    const Keyframes frames = threeKeys(Outside::Hold, Outside::Hold);
    for (const auto& [time, value] : std::vector<std::pair<double, double>>{
             {-5, 1}, {10, 1}, {12.5, 1.5}, {15, 2}, {20, 3}, {39.999, 3}, {40, -1}, {1e9, -1}}) {
        EXPECT_EQ(frames.at(time), value) << time;
    }
}

TEST(Keyframes, RepeatOrGoOnOutside) {
    const Keyframes repeated = threeKeys(Outside::Repeat, Outside::Repeat);
    for (const auto& [time, value] : std::vector<std::pair<double, double>>{
             {5, 3}, {-18, 1.4}, {40, -1}, {45, 2}, {70, 1}, {75, 2}, {1000000015.0, 3}}) {
        EXPECT_EQ(repeated.at(time), value) << time;
    }
    const Keyframes decimal{Keyframes::Unit::Seconds, {{4.4, 10, {}}, {4.5, 7, {}}}, Outside::Repeat, Outside::Repeat};
    for (const int frame : {85, 90, 95, 100, 105, 120}) {
        EXPECT_EQ(decimal.at(frame / 25.0), 10.0) << frame;
    }
    Keyframes extended = threeKeys(Outside::Extend, Outside::Extend);
    EXPECT_EQ(extended.at(0), -1.0);
    EXPECT_EQ(extended.at(100), -1.0) << "the last stretch holds, so nothing moves there";
    extended.keys[1].toNext = {};
    EXPECT_EQ(extended.at(50), -3.0);
    extended.keys[1].toNext = kSmooth;
    EXPECT_EQ(extended.at(50), -1.0) << "a smooth end has no speed";
    extended.keys[1].toNext = {Ease::Kind::Curve, 0, 0, 0.5, 0};
    EXPECT_EQ(extended.at(50), -5.0) << "the curve ends twice as fast as a straight line";
}

TEST(Keyframes, FollowACurve) {
    // By hand: with u = 1/2 the smooth curve is at x = 3/8 * 0.42 + 3/8 * 0.58 + 1/8 = 1/2, and at y = 3/8 + 1/8 = 1/2.
    EXPECT_EQ(kSmooth.done(0.5), 0.5);
    // u = 1/4: x = 27/64 * 0.42 + 9/64 * 0.58 + 1/64 = 0.274375, y = 9/64 + 1/64 = 0.15625; u = 3/4 mirrors it.
    EXPECT_NEAR(kSmooth.done(0.274375), 0.15625, 1e-15);
    EXPECT_NEAR(kSmooth.done(0.725625), 0.84375, 1e-15);
    // Beyond both ends: u = 1/2 of (0, -1, 1, 2) is x = 1/2, y = -3/8 + 6/8 + 1/8.
    EXPECT_EQ((Ease{Ease::Kind::Curve, 0, -1, 1, 2}.done(0.5)), 0.5);
    EXPECT_LT((Ease{Ease::Kind::Curve, 0, -1, 1, 2}.done(0.05)), 0);
    double before = 0;
    for (int i = 0; i <= 1000; ++i) {
        const double done = kSmooth.done(i / 1000.0);
        EXPECT_GE(done, before) << i;
        before = done;
    }
    EXPECT_EQ(kSmooth.done(0), 0);
    EXPECT_EQ(kSmooth.done(1), 1);
}

constexpr char kEvening[] = R"({
    "quorvel": 1, "name": "Evening", "rate": "30000/1001",
    "values": {
        "channels": {"keys": {"1": "rgb", "10": "Alpha"}},
        "intensity-source": "matte.####.png",
        "mosaic-intensity": {"keys": {"48": 0.9, "1": 0.9, "24": {"value": 0.2, "to-next": "smooth"}}, "after": "repeat"},
        "grid-width": {"keys": {"0s": 4, "1.5s": {"value": 10, "to-next": [0.1, 0, 0.2, 1]}, "2s": 32}},
        "curve": "triangle-wave",
        "curve-phase": -720.5
    }
})";

TEST(SettingsFile, GivesTheValuesOfAMoment) {
    const SettingsFile file = parseSettings(kEvening, "evening.json");
    EXPECT_EQ(file.name, "Evening");
    EXPECT_TRUE(file.moves());
    ASSERT_TRUE(file.rate.has_value());
    EXPECT_EQ(file.rate->secondsOf(30000), 1001);
    EXPECT_EQ(file.layer(ParameterId::IntensitySource), "matte.####.png");

    const Settings first = file.at(Moment{1, 0});
    EXPECT_EQ(first.channels, kRGB);
    EXPECT_EQ(first.mosaicIntensity, 0.9);
    EXPECT_EQ(first.gridWidth, 4);
    EXPECT_EQ(first.gridHeight, 9) << "the default";
    EXPECT_EQ(first.curveType, kTriangleWave);
    EXPECT_EQ(first.curvePhase, -720 * 65536 - 32768);

    const Settings later = file.at(Moment{10, 0.75});
    EXPECT_EQ(later.channels, kAlpha);
    EXPECT_EQ(later.mosaicIntensity, 0.9 + (0.2 - 0.9) * (9.0 / 23.0));
    EXPECT_EQ(later.gridWidth, 7);
    EXPECT_EQ(file.at(Moment{36, 0.5}).mosaicIntensity, 0.2 + (0.9 - 0.2) * 0.5);
    EXPECT_EQ(file.at(Moment{36, 0.7}).gridWidth, 6) << "6.8: the whole part counts";
    EXPECT_EQ(file.at(ParameterId::MosaicIntensity, Moment{48 + 23, 0}), 0.2);
}

TEST(SettingsFile, StaysWithinRangesWhereCurvesGoBeyond) {
    const SettingsFile file = parseSettings(
        R"({"quorvel": 1, "values": {"mosaic-intensity":
            {"keys": {"0": 0.5, "10": {"value": 0.9, "to-next": [0.3, 4, 0.7, 4]}, "20": 1}, "before": "extend"}}})",
        "x");
    EXPECT_EQ(file.at(ParameterId::MosaicIntensity, Moment{15, 0}), 1);
    EXPECT_EQ(file.at(ParameterId::MosaicIntensity, Moment{-100, 0}), 0);
}

TEST(SettingsFile, IsWrittenAsItIsRead) {
    const SettingsFile file = parseSettings(kEvening, "x");
    const std::string text = settingsText(file);
    EXPECT_EQ(parseSettings(text, "x"), file);
    EXPECT_EQ(settingsText(parseSettings(text, "x")), text);
    SettingsFile defaults;
    for (const Parameter& parameter : parameters()) {
        if (parameter.kind != ParameterKind::Layer) {
            defaults.values.emplace(parameter.id, parameter.defaultValue);
        }
    }
    EXPECT_EQ(settingsText(defaults), R"({
    "quorvel": 1,
    "values": {
        "channels": "luminosity",
        "mosaic-intensity": 0.25,
        "grid-width": 16,
        "grid-height": 9,
        "max-iterations": 32,
        "curve": "linear-ramp-up",
        "curve-phase": 0,
        "curve-smoothness": 0,
        "curve-phase-split": 0
    }
}
)");
}

std::string refusal(const std::string& text) {
    try {
        parseSettings(text, "f.json");
    } catch (const SettingsError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(SettingsFile, RefusesWhatIsWrongByName) {
    const auto values = [](const std::string& text) { return R"({"quorvel": 1, "values": {)" + text + "}}"; };
    for (const auto& [text, expected] : std::vector<std::pair<std::string, std::string>>{
             {"[]", "f.json: []: expected an object"},
             {R"({"values": {}})", "f.json: expected \"quorvel\": 1, the form's version"},
             {R"({"quorvel": 2, "values": {}})", "f.json: quorvel: 2: expected 1, the only version of the form"},
             {R"({"quorvel": 1})", "f.json: expected values"},
             {R"({"quorvel": 1, "value": {}})", "f.json: value: unknown; did you mean values?"},
             {R"({"quorvel": 1, "rate": 0, "values": {}})",
              "f.json: rate: 0: expected frames a second, above 0 and at most 1000, such as 25 or \"30000/1001\""},
             {values(R"("grid-widht": 3)"), "f.json: values.grid-widht: unknown; did you mean grid-width?"},
             {values(R"("grid-width": 3.5)"), "f.json: values.grid-width: 3.5: expected a whole number, 1 to 32"},
             {values(R"("grid-width": 1e400)"), "number overflow"},
             {values(R"("grid-height": "9")"), "f.json: values.grid-height: \"9\": expected a whole number, 1 to 32"},
             {values(R"("mosaic-intensity": -0.1)"), "f.json: values.mosaic-intensity: -0.1: expected 0 to 1"},
             {values(R"("mosaic-intensity": null)"), "f.json: values.mosaic-intensity: null: expected 0 to 1"},
             {values(R"("channels": "purple")"),
              "f.json: values.channels: \"purple\": expected luminosity, rgb, blue, green, red or alpha"},
             {values(R"("intensity-source": {"keys": {"1": "a.png"}})"), "expected a picture's file name"},
             {values(R"("curve-phase": {"keys": {}})"), "f.json: values.curve-phase: expected keys, such as"},
             {values(R"("curve-phase": {"keys": {"one": 1}})"),
              "f.json: values.curve-phase.keys.one: expected a frame's number such as 24, or a time such as 1.5s"},
             {values(R"("curve-phase": {"keys": {"1": 1, "2s": 1}})"),
              "f.json: values.curve-phase.keys.2s: expected keys of one kind, frames or times"},
             {values(R"("curve-phase": {"keys": {"1": 1, "+1": 1}})"),
              "f.json: values.curve-phase.keys.1: is given twice"},
             {values(R"("curve-phase": 1, "curve-phase": 2)"), "f.json: curve-phase: is given twice"},
             {values(R"("curve-phase": {"keys": {"1": {"value": 1, "to-next": [2, 0, 0, 0]}}})"),
              "f.json: values.curve-phase.keys.1.to-next: [2,0,0,0]: expected"},
             {values(R"("curve-phase": {"keys": {"1": 0}, "after": "bounce"})"),
              "f.json: values.curve-phase.after: \"bounce\": expected \"hold\", \"repeat\" or \"extend\""},
             {values(R"("curve": {"keys": {"1": {"value": "exp-up", "to-next": "linear"}}})"),
              "f.json: values.curve.keys.1.to-next: \"linear\": expected \"hold\", since a choice has nothing in "
              "between"},
             {"{\"quorvel\": 1,\n \"values\": }", "line 2, column 12"}}) {
        const std::string said = refusal(text);
        EXPECT_NE(said.find(expected), std::string::npos) << said << "\n  for " << text;
        EXPECT_EQ(said.find('\n'), std::string::npos) << said;
    }
}

TEST(SettingsFile, WithstandsHostileInput) {
    const auto values = [](const std::string& text) { return R"({"quorvel": 1, "values": {)" + text + "}}"; };
    const std::string deep(1'000'000, '[');
    EXPECT_EQ(refusal(values("\"grid-width\": " + deep)), "f.json: is nested too deeply");
    const std::string longName(1'000'000, 'x');
    EXPECT_LT(refusal(values('"' + longName + "\": 1")).size(), 300U);
    EXPECT_LT(refusal(values("\"curve\": \"" + longName + '"')).size(), 300U);
    std::string many;
    for (int i = 0; i < 200'000; ++i) {
        many += (i == 0 ? "\"" : ",\"") + std::to_string(i) + "\": " + std::to_string(1 + i % 32);
    }
    const SettingsFile file = parseSettings(values("\"grid-width\": {\"keys\": {" + many + "}}"), "x");
    EXPECT_EQ(file.at(ParameterId::GridWidth, Moment{150'000.5, 0}), 1 + 150'000 % 32);
    EXPECT_NE(refusal(values(R"("grid-width": {"keys": {"2e9s": 1}})")).find("or a time such as 1.5s"),
              std::string::npos);
    EXPECT_NE(refusal(values(R"("grid-width": {"keys": {"infs": 1}})")).find("or a time such as 1.5s"),
              std::string::npos);
}

TEST(SettingsFile, HasANumberAtEachMomentHoweverCloseTheKeysAre) {
    for (const std::string outside : {"hold", "repeat", "extend"}) {
        for (const std::string ease : {"[5e-324, 1, 1, 1]", "[0, 0, 0, 0]", "[1, -100, 0, 100]", "\"smooth\""}) {
            const SettingsFile file =
                parseSettings(R"({"quorvel": 1, "values": {"curve-smoothness": {"before": ")" + outside +
                                  R"(", "after": ")" + outside + R"(", "keys": {"0s": {"value": 2, "to-next": )" +
                                  ease + R"(}, "5e-324s": {"value": 2, "to-next": )" + ease +
                                  R"(}, "1e-300s": {"value": 9, "to-next": )" + ease + R"(}, "1e9s": 4}}}})",
                              "x");
            for (const double seconds :
                 {-1e300, -1.0, 0.0, 5e-324, 2e-320, 1e-300, 0.5, 1e9, 3e9, 1e300, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
                const double value = file.at(ParameterId::CurveSmoothness, Moment{0, seconds});
                EXPECT_TRUE(value >= 0 && value <= 16) << value << " at " << seconds << ", " << outside << ", " << ease;
            }
            EXPECT_EQ(file.at(ParameterId::CurveSmoothness, Moment{0, 1e-300}), 9);
        }
    }
}

}  // namespace
}  // namespace quorvel::settings
