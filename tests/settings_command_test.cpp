// SPDX-License-Identifier: MIT
// Settings files through the program: what is rendered is what the same values as options give, frame by frame.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "cli/exit_status.h"
#include "tests/support/clip.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using test::contents;
using test::expectFailure;
using test::loadPicture;
using test::Outcome;

class SettingsFiles : public test::ProgramTest {
protected:
    /// {"quorvel": 1, MORE "values": {VALUES}}
    std::string write(const std::string& name, const std::string& values, const std::string& more = "") const {
        fs::create_directories(fs::path(path(name)).parent_path());
        std::ofstream(path(name)) << "{\"quorvel\": 1, " << more << "\"values\": {" << values << "}}";
        return path(name);
    }
    std::string drawFrame(const std::string& name, int frame) const {
        return draw(name, OIIO::ImageSpec(48, 36, 3, OIIO::TypeDesc::UINT8), [frame](int x, int y, int channel) {
            return static_cast<float>((x * (3 + channel) + y * 7 + frame * 5 + (x / 7) * (y / 5) * 11) % 64) / 63.0f;
        });
    }
    /// What the input becomes with these options.
    std::string rendered(const std::string& input, const std::vector<std::string>& options) const {
        const Outcome outcome = render(input, path("alone.png"), options);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return contents(path("alone.png"));
    }
    void expectDone(const Outcome& outcome) const {
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
};

/// Over five frames: 0.125 to 0.625, 4 to 12 cells, and another curve from the third on.
const std::string kMoving =
    R"("mosaic-intensity": {"keys": {"1": 0.125, "5": 0.625}}, "grid-width": {"keys": {"1": 4, "5": 12}},
       "curve": {"keys": {"1": "linear-ramp-up", "3": "sine-wave"}}, "curve-phase": 30, "channels": "rgb")";

std::vector<std::string> optionsOfFrame(int frame) {
    return {"--mosaic-intensity",
            std::to_string(0.125 * frame),
            "--grid-width",
            std::to_string(2 + 2 * frame),
            "--curve",
            frame < 3 ? "linear-ramp-up" : "sine-wave",
            "--curve-phase",
            "30",
            "--channels",
            "rgb"};
}

TEST_F(SettingsFiles, MoveTheFramesOfASequence) {
    for (int frame = 1; frame <= 5; ++frame) {
        drawFrame("s.000" + std::to_string(frame) + ".png", frame);
    }
    const std::string settings = write("moving.json", kMoving);
    expectDone(render(path("s.####.png"), path("o.@.png"), {"--settings", settings, "--jobs", "3"}));
    expectDone(
        render(path("s.####.png"), path("part.@.png"), {"--settings", settings, "--frames", "4", "--start", "1"}));
    for (int frame = 1; frame <= 5; ++frame) {
        const std::string alone = rendered(path("s.000" + std::to_string(frame) + ".png"), optionsOfFrame(frame));
        EXPECT_EQ(contents(path("o." + std::to_string(frame) + ".png")), alone) << frame;
        if (frame == 4) {
            EXPECT_EQ(contents(path("part.1.png")), alone) << "a part of the run knows the frame's own number";
        }
    }
    // An option replaces the keys of its parameter.
    expectDone(render(path("s.####.png"), path("o.@.png"), {"--settings", settings, "--grid-width", "5"}));
    auto options = optionsOfFrame(4);
    options[3] = "5";
    EXPECT_EQ(contents(path("o.4.png")), rendered(path("s.0004.png"), options));
    // Keys at times count from the first frame.
    const std::string timed =
        write("timed.json", R"("mosaic-intensity": {"keys": {"0s": 0.125, "0.2s": 0.625}})", R"("rate": 20, )");
    expectDone(render(path("s.####.png"), path("o.@.png"), {"--settings", timed, "--frames", "3"}));
    EXPECT_EQ(contents(path("o.3.png")), rendered(path("s.0003.png"), {"--mosaic-intensity", "0.375"}));
    const std::string rateless = write("rateless.json", R"("grid-width": {"keys": {"0s": 1, "1s": 9}})");
    expectFailure(render(path("s.####.png"), path("o.@.png"), {"--settings", rateless}), kExitFailure,
                  rateless + ": rate: missing; keys at times need the frames a second");
}

TEST_F(SettingsFiles, AnimateAPicture) {
    const std::string input = drawFrame("still.png", 1);
    const std::string settings = write("moving.json", kMoving);
    expectFailure(render(input, path("o.png"), {"--settings", settings}), kExitUsage,
                  "--settings " + settings + ": its values move, so a picture needs --frames, such as 1-50");
    expectFailure(render("-", path("o.png"), {"--settings", settings, "--frames", "1"}), kExitUsage,
                  "its values move, so the input must be a file");
    expectDone(render(input, path("o.@.png"), {"--settings", settings, "--frames", "1-5"}));
    for (const int frame : {1, 2, 5}) {
        EXPECT_EQ(contents(path("o." + std::to_string(frame) + ".png")), rendered(input, optionsOfFrame(frame)));
    }

    expectFailure(render(input, path("o.mkv"), {"--settings", settings, "--frames", "1-5"}), kExitUsage,
                  "its values move, so a video of a picture needs --rate");
    const std::string slow = write("slow.json", kMoving, R"("rate": 20, )");
    for (const auto& [file, rate, step] : std::vector<std::tuple<std::string, std::string, int>>{
             {settings, "10", 100000}, {slow, "", 50000}, {slow, "25", 40000}}) {
        std::vector<std::string> options{"--settings", file, "--frames", "1-5", "-q"};
        if (!rate.empty()) {
            options.insert(options.end(), {"--rate", rate});
        }
        expectDone(render(input, path("o.mkv"), options));
        std::vector<std::int64_t> times;
        for (int i = 0; i < 5; ++i) {
            times.push_back(static_cast<std::int64_t>(step) * i);
        }
        EXPECT_EQ(test::readClip(path("o.mkv")).streams.at(0).times(), times);
    }
    // The video's frames, unchanged, are those of the sequence.
    expectDone(render(path("o.mkv"), path("back.@.png"), {"--mosaic-intensity", "0", "-q"}));
    expectDone(render(path("o.4.png"), path("plain.png"), {"--mosaic-intensity", "0", "-q"}));
    EXPECT_EQ(loadPicture(path("back.3.png")).values, loadPicture(path("plain.png")).values);
}

TEST_F(SettingsFiles, MoveTheFramesOfAVideo) {
    test::ClipRecipe recipe;
    recipe.width = 48;
    recipe.height = 36;
    recipe.format = AV_PIX_FMT_YUV444P;
    recipe.value = [](int frame, int component, int x, int y) {
        return 16 + (frame * 9 + component * 31 + x * 5 + y * 3 + (x / 7) * (y / 5) * 23) % 200;
    };
    recipe.times = {1000, 1040, 1080, 1160, 1320};
    const std::string clip = path("clip.mkv");
    test::makeClip(clip, recipe);
    const std::string byTime =
        write("time.json", R"("mosaic-intensity": {"keys": {"0s": 0.125, "0.32s": 0.625}})", R"("rate": 1, )");
    const std::string byNumber = write("number.json", R"("mosaic-intensity": {"keys": {"0": 0.125, "4": 0.625}})");
    for (const auto& [settings, values] : std::vector<std::pair<std::string, std::vector<double>>>{
             {byTime, {0.125, 0.1875, 0.25, 0.375, 0.625}}, {byNumber, {0.125, 0.25, 0.375, 0.5, 0.625}}}) {
        expectDone(render(clip, path("o.@.png"), {"--settings", settings, "-q"}));
        expectDone(render(clip, path("part.@.png"), {"--settings", settings, "--frames", "3", "-q"}));
        for (std::size_t i = 0; i < values.size(); ++i) {
            const std::string frame = std::to_string(i);
            expectDone(render(clip, path("alone.@.png"),
                              {"--frames", frame, "--mosaic-intensity", std::to_string(values[i]), "-q"}));
            EXPECT_EQ(contents(path("o." + frame + ".png")), contents(path("alone." + frame + ".png")))
                << settings << ", frame " << frame;
        }
        EXPECT_EQ(contents(path("part.3.png")), contents(path("o.3.png")));
    }
}

TEST_F(SettingsFiles, NameLayersFromTheirOwnFolder) {
    const std::string input = drawFrame("in.png", 1);
    fs::create_directory(path("look"));
    drawFrame("look/guide.png", 9);
    const std::string settings =
        write("look/guided.json", R"("intensity-source": "guide.png", "mosaic-intensity": 0.5)");
    EXPECT_EQ(rendered(input, {"--settings", settings}),
              rendered(input, {"--intensity-source", path("look/guide.png"), "--mosaic-intensity", "0.5"}));
    EXPECT_EQ(rendered(input, {"--settings", settings, "--intensity-source", input}),
              rendered(input, {"--intensity-source", input, "--mosaic-intensity", "0.5"}));
    expectDone(run({"settings", "--settings", settings, "-o", path("moved.json")}));
    EXPECT_EQ(nlohmann::json::parse(contents(path("moved.json"))).at("values").at("intensity-source"),
              "look/guide.png");
}

TEST_F(SettingsFiles, MakeOutputsOutOfDate) {
    const std::string input = drawFrame("s.0001.png", 1);
    const std::string settings = write("still.json", R"("mosaic-intensity": 0.5)");
    const std::vector<std::string> update{"--settings", settings, "--update"};
    expectDone(render(path("s.####.png"), path("o.@.png"), update));
    std::ofstream(path("o.1.png")) << "newer";
    expectDone(render(path("s.####.png"), path("o.@.png"), update));
    EXPECT_EQ(contents(path("o.1.png")), "newer");
    fs::last_write_time(settings, fs::last_write_time(path("o.1.png")) + std::chrono::seconds(5));
    expectDone(render(path("s.####.png"), path("o.@.png"), update));
    EXPECT_EQ(contents(path("o.1.png")), rendered(input, {"--mosaic-intensity", "0.5"}));
}

TEST_F(SettingsFiles, AreShownAtAFrame) {
    const std::string settings = write("moving.json", kMoving, R"("rate": 25, )");
    const Outcome table = run({"params", "--settings", settings, "--frame", "2"});
    EXPECT_NE(table.out.find("4      2   Mosaic Intensity         --mosaic-intensity   slider   0.25            0.25   "
                             "         0 to 1\n"),
              std::string::npos)
        << table.out;
    const auto valuesAt = [&](const std::string& frame) {
        const auto list =
            nlohmann::json::parse(run({"params", "--settings", settings, "--frame", frame, "--json"}).out);
        return nlohmann::json{list.at(2).at("value"), list.at(4).at("value"), list.at(5).at("value"),
                              list.at(8).at("value"), list.at(3).at("value")};
    };
    EXPECT_EQ(valuesAt("2"), (nlohmann::json{"rgb", 0.25, 6, "linear-ramp-up", "none"}));
    EXPECT_EQ(valuesAt("3"), (nlohmann::json{"rgb", 0.375, 8, "sine-wave", "none"}));
    EXPECT_EQ(valuesAt("0.08s"), valuesAt("2"));
    EXPECT_EQ(valuesAt("99"), (nlohmann::json{"rgb", 0.625, 12, "sine-wave", "none"}));

    expectDone(run({"panel", "-o", path("moving.png"), "--settings", settings, "--frame", "2"}));
    std::vector<std::string> arguments{"panel", "-o", path("options.png")};
    const auto options = optionsOfFrame(2);
    arguments.insert(arguments.end(), options.begin(), options.end());
    expectDone(run(arguments));
    EXPECT_EQ(contents(path("moving.png")), contents(path("options.png")));

    const std::string timed = write("timed.json", R"("grid-width": {"keys": {"0s": 1, "1s": 9}})");
    for (const auto& [given, words] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"--settings", settings}, "--settings " + settings + ": its values move; name a frame with --frame"},
             {{"--frame", "2"}, "--frame requires --settings"},
             {{"--frame", "soon"}, "--frame soon: expected a frame's number such as 12, or a time such as 1.5s"},
             {{"--settings", timed, "--frame", "2"}, "--frame 2: expected a time such as 1.5s, since " + timed}}) {
        std::vector<std::string> command{"params"};
        command.insert(command.end(), given.begin(), given.end());
        expectFailure(run(command), kExitUsage, words);
    }
    EXPECT_EQ(run({"panel", "-o", path("o.png"), "--settings", timed, "--grid-width", "3"}).status, 0)
        << "nothing moves that no option replaces";
}

TEST_F(SettingsFiles, AreRefusedInOneLine) {
    const std::string input = drawFrame("in.png", 1);
    const auto refused = [&](const std::string& settings, int status, const std::string& words) {
        expectFailure(render(input, path("o.png"), {"--settings", settings}), status, words);
        EXPECT_FALSE(fs::exists(path("o.png")));
    };
    refused(path("none.json"), kExitFailure, path("none.json") + ": No such file or directory");
    refused(folder().string(), kExitFailure, folder().string() + ": is a folder");
    const std::string wrong = write("wrong.json", R"("grid-widht": 3)");
    refused(wrong, kExitFailure, wrong + ": values.grid-widht: unknown; did you mean grid-width?");
    refused("no-such-preset", kExitUsage, "--settings no-such-preset: expected ");
    const std::string fast = write("fast.json", kMoving, R"("rate": "1/999999999999", )");
    expectFailure(render(input, path("o.mkv"), {"--settings", fast, "--frames", "1-2"}), kExitUsage, fast + ": rate");
}

TEST_F(SettingsFiles, ArePresetsByName) {
    // A program with its own presets: beside it, and where a package puts them.
    fs::create_directories(path("usr/bin/presets"));
    fs::create_directories(path("usr/share/quorvel/presets"));
    const std::string program = path("usr/bin/quorvel");
    fs::copy_file(ProgramTest::program(), program);
    write("usr/bin/presets/own.json", R"("grid-width": 3)");
    write("usr/share/quorvel/presets/evening-light.json", R"("grid-width": 7)");
    const auto gridWidth = [&](const std::string& settings) {
        const Outcome outcome =
            runFile(program, {"params", "--module", QUORVEL_MODULE, "--settings", settings, "--json"});
        EXPECT_EQ(outcome.err, "");
        return nlohmann::json::parse(outcome.out).at(5).at("value").get<int>();
    };
    EXPECT_EQ(gridWidth("own"), 3);
    EXPECT_EQ(gridWidth("Evening Light"), 7);
    EXPECT_EQ(runFile(program, {"params", "--module", QUORVEL_MODULE, "--settings", "morning"}).err,
              "quorvel: --settings morning: expected the preset evening-light or own, or a file such as "
              "./morning.json\n");
}

TEST_F(SettingsFiles, AreWrittenWithDefaultsAndOptions) {
    const Outcome defaults = run({"settings"});
    const auto values = nlohmann::json::parse(defaults.out).at("values");
    EXPECT_EQ(values.size(), 9U);
    const auto parameters = nlohmann::json::parse(run({"params", "--json"}).out);
    for (const auto& parameter : parameters) {
        if (parameter.at("kind") != "layer" && parameter.contains("default")) {
            const std::string key = parameter.at("option").get<std::string>().substr(2);
            EXPECT_EQ(values.at(key), parameter.at("default")) << key;
        }
    }
    expectDone(run({"settings", "--grid-width", "3", "--curve", "exp-up", "-o", path("mine.json")}));
    const std::string input = drawFrame("in.png", 1);
    EXPECT_EQ(rendered(input, {"--settings", path("mine.json")}),
              rendered(input, {"--grid-width", "3", "--curve", "exp-up"}));
    const std::string before = contents(path("mine.json"));
    expectFailure(run({"settings", "-o", path("mine.json"), "--no-clobber"}), kExitFailure, "already exists");
    EXPECT_EQ(contents(path("mine.json")), before);
    // What is read is written again.
    const std::string moving = write("moving.json", kMoving, R"("name": "Evening", "rate": 24, )");
    expectDone(run({"settings", "--settings", moving, "-o", path("again.json")}));
    EXPECT_EQ(nlohmann::json::parse(contents(path("again.json"))), nlohmann::json::parse(contents(moving)));
}

TEST_F(SettingsFiles, ExchangeKeyframesWithAfterEffects) {
    const std::string settings = write(
        "moving.json",
        R"("channels": {"keys": {"1": "rgb", "9": "alpha"}}, "mosaic-intensity": {"keys": {"1": 0.5, "5": 0.25, "9": 1}},
           "grid-width": 7, "curve-phase": {"keys": {"1": 0, "9": -720.5}})",
        R"("rate": 25, )");
    const Outcome text = run({"settings", "--settings", settings, "--export", "after-effects", "--start", "1"});
    EXPECT_EQ(text.out,
              "Adobe After Effects 8.0 Keyframe Data\n\n\tUnits Per Second\t25\n\tSource Width\t100\n\tSource "
              "Height\t100\n\tSource Pixel Aspect Ratio\t1\n\tComp Pixel Aspect Ratio\t1\n\n"
              "Effects\tQuorvel #1\tChannels #3\n\tFrame\t\n\t0\t2\n\t7\t2\n\t8\t6\n\n"
              "Effects\tQuorvel #1\tMosaic Intensity #5\n\tFrame\t\n\t0\t0.5\n\t4\t0.25\n\t8\t1\n\n"
              "Effects\tQuorvel #1\tGrid Width #6\n\tFrame\t\n\t\t7\n\n"
              "Effects\tQuorvel #1\tCurve Phase #10\n\tFrame\t\n\t0\t0\n\t8\t-720.5\n\n"
              "End of Keyframe Data\n");
    std::ofstream(path("copied.txt")) << text.out;
    expectDone(run({"settings", "--import", path("copied.txt"), "--start", "1", "-o", path("back.json")}));
    auto expected = nlohmann::json::parse(contents(settings));
    expected["values"]["channels"]["keys"]["8"] = "rgb";  // which only says that it holds until there
    EXPECT_EQ(nlohmann::json::parse(contents(path("back.json"))), expected);
    const std::string endless = write("endless.json", R"("grid-width": {"keys": {"0": 4, "2": 8}, "after": "repeat"})");
    expectFailure(run({"settings", "--settings", endless, "--export", "after-effects", "-q"}), kExitUsage,
                  "values.grid-width: repeats or extends; expected the frames to write, with --frames");
    expectFailure(run({"settings", "--import", path("copied.txt"), "--settings", settings}), kExitUsage,
                  "--import excludes --settings");
    std::ofstream(path("other.txt"))
        << "Adobe After Effects 8.0 Keyframe Data\n\nTransform\tOpacity\n\tFrame\tpercent\n"
           "\t0\t50\n\nEnd of Keyframe Data\n";
    expectFailure(run({"settings", "--import", path("other.txt")}), kExitFailure,
                  path("other.txt") + ": has no keyframes of the effect Quorvel");
}

}  // namespace
}  // namespace quorvel::cli
