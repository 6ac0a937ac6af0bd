// SPDX-License-Identifier: MIT
// Keyframes in the text form of After Effects.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "settings/after_effects_text.h"
#include "settings/settings_file.h"

namespace quorvel::settings {
namespace {

const AfterEffectsNames kNames{"Quorvel", {{ParameterId::MosaicIntensity, 5}, {ParameterId::GridWidth, 6}}};

SettingsFile parse(const std::string& values) {
    return parseSettings(R"({"quorvel": 1, "rate": 25, "values": {)" + values + "}}", "x");
}

ImportedKeyframes import(const std::string& text, int start = 0) {
    return parseAfterEffectsKeyframes(text, "f.txt", "Quorvel", start);
}

std::string refusal(const std::string& text) {
    try {
        import(text);
    } catch (const SettingsError& error) {
        return error.what();
    }
    return "accepted";
}

std::string withBlocks(const std::string& blocks) {
    return "Adobe After Effects 8.0 Keyframe Data\n\n\tUnits Per Second\t29.97\n\n" + blocks +
           "\nEnd of Keyframe Data\n";
}

const std::string kIntensity = "Effects\tQuorvel #2\tMosaic Intensity #5\n\tFrame\tpercent\t\n";

TEST(AfterEffectsText, IsReadAsItComesFromTheClipboard) {
    const ImportedKeyframes read = import(
        "\xEF\xBB\xBF"
        "Adobe After Effects 9.0 Keyframe Data\r\n\r\n\tUnits Per Second\t29.97\r\n\tSource Width\t1920\r\n\r\n"
        "Transform\tOpacity\r\n\tFrame\tpercent\t\r\n\t0\t50\t\r\n\r\n"
        "Effects\tQuorvel #2\tChannels #3\r\n\tFrame\t\r\n\t0\t2\t\r\n\t10\t6\t\r\n\r\n" +
            std::string(
                "Effects\tQuorvel #2\tMosaic Intensity #5\r\n\tFrame\tpercent\t\r\n\t0\t50\t\r\n\t4.4\t100\t\r\n\r\n") +
            "Effects\tQuorvel #2\tGrid Width #6\r\n\tFrame\t\r\n\t\t7.6\t\r\n\r\n"
            "Effects\tQuorvel #2\tIntensity Source #4\r\n\tFrame\t\r\n\t\t1\t\r\n\r\n"
            "Effects\tQuorvel #3\tGrid Height #7\r\n\tFrame\t\r\n\t\t9\t\r\n\r\n"
            "Effects\tQuorvel #2\tCurve Phase #10\r\nExpression Data\r\ntime * 360\r\nEnd of Expression Data\r\n"
            "\r\nEnd of Keyframe Data\r\n",
        1001);
    EXPECT_EQ(settingsText(read.settings), R"({
    "quorvel": 1,
    "rate": 29.97,
    "values": {
        "channels": {
            "keys": {
                "1001": "rgb",
                "1011": "alpha"
            }
        },
        "mosaic-intensity": {
            "keys": {
                "1001": 0.5,
                "1005": 1
            }
        },
        "grid-width": 7
    }
}
)");
    EXPECT_EQ(read.notes, (std::vector<std::string>{"f.txt: left out: Transform",
                                                    "f.txt: keys between two frames are moved to the nearest",
                                                    "f.txt: left out: Intensity Source, since the text names no file",
                                                    "f.txt: left out: Quorvel #3, after Quorvel #2"}));
    EXPECT_EQ(import(withBlocks(kIntensity + "\t0\t0.5\n\t2\t1\n")).settings.at(ParameterId::MosaicIntensity, {1, 0}),
              0.75)
        << "no value is above 1, so none is in per cent";
}

TEST(AfterEffectsText, ShowsTheSameValueAtEachFrame) {
    const SettingsFile file = parse(
        R"("mosaic-intensity": {"keys": {"3": {"value": 0.9, "to-next": "smooth"}, "9": {"value": 0.2, "to-next": "hold"},
           "14": {"value": 0.5, "to-next": [0.3, 4, 0.7, 4]}, "20": 1}},
           "grid-width": {"keys": {"0.1s": 4, "0.5s": {"value": 12, "to-next": "smooth"}, "0.61s": 1}})");
    const SettingsFile back = import(afterEffectsKeyframes(file, kNames, *file.rate, 0, {})).settings;
    for (int frame = -2; frame <= 30; ++frame) {
        const Moment moment{static_cast<double>(frame), frame / 25.0};
        for (const ParameterId id : {ParameterId::MosaicIntensity, ParameterId::GridWidth}) {
            EXPECT_EQ(back.at(id, moment), file.at(id, moment)) << frame;
        }
    }
    EXPECT_LT(std::get<Keyframes>(back.values.at(ParameterId::MosaicIntensity)).keys.size(), 16U)
        << "a key a frame where the value follows a curve, and none while it holds";
}

TEST(AfterEffectsText, EndsWhereItIsTold) {
    const SettingsFile file = parse(R"("grid-width": {"keys": {"0": 4, "2": 8}, "after": "repeat"})");
    EXPECT_THROW(afterEffectsKeyframes(file, kNames, *file.rate, 0, {}), SettingsError);
    const std::string text = afterEffectsKeyframes(file, kNames, *file.rate, 0, {0, 1, 2, 3, 4, 5});
    EXPECT_NE(text.find("\tFrame\t\n\t0\t4\n\t1\t6\n\t2\t8\n\t3\t6\n\t4\t4\n\t5\t6\n\n"), std::string::npos) << text;
}

TEST(AfterEffectsText, RefusesWhatIsWrongByLine) {
    for (const auto& [text, expected] : std::vector<std::pair<std::string, std::string>>{
             {"", "f.txt: is cut off; expected \"End of Keyframe Data\" at its end"},
             {"{}", "f.txt: expected keyframes from After Effects, beginning with \"Adobe After Effects 8.0"},
             {"Adobe After Effects 8.0 Keyframe Data\n" + kIntensity, "f.txt: is cut off"},
             {withBlocks("Effects\tBlur #1\tAmount #2\n\tFrame\t\n\t0\t5\n"),
              "f.txt: has no keyframes of the effect Quorvel"},
             {"Adobe After Effects 8.0 Keyframe Data\n\tUnits Per Second\t0\n",
              "f.txt: line 2: Units Per Second: 0: expected frames a second, above 0 and at most 1000"},
             {withBlocks(kIntensity + "\t0\thalf\n"), "f.txt: line 7: Mosaic Intensity: \"half\": expected a number"},
             {withBlocks(kIntensity + "\t0\n"), "f.txt: line 7: Mosaic Intensity: \"\": expected a number"},
             {withBlocks(kIntensity + "\t0\t101\n"), "f.txt: line 7: Mosaic Intensity: 101: expected 0 to 100"},
             {withBlocks(kIntensity + "\tnow\t1\n"), "f.txt: line 7: now: expected a frame's number"},
             {withBlocks("Effects\tQuorvel #1\tCurve #9\n\tFrame\t\n\t0\t7\n"), "line 7: Curve: 7: expected 1 to 6"},
             {withBlocks("Effects\tQuorvel #1\tCurve #9\n\tFrame\t\n\t0\t1.5\n"), "Curve: 1.5: expected 1 to 6"}}) {
        const std::string said = refusal(text);
        EXPECT_NE(said.find(expected), std::string::npos) << said << "\n  for " << text;
    }
}

}  // namespace
}  // namespace quorvel::settings
