// SPDX-License-Identifier: MIT
// The program as a user meets it: run as a process, judged by its exit status, its output and the files it leaves.
#include <OpenImageIO/imageio.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "cli/exit_status.h"
#include "cli/levels.h"
#include "tests/support/graph_model.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

std::string contents(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

struct PictureData {
    ImageSpec spec;
    std::vector<float> values;
};

/// Each test has a folder of its own, gone afterwards.
class Cli : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "quorvel-cli-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override {
        fs::permissions(folder_, fs::perms::owner_all);
        fs::remove_all(folder_);
    }

    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    /// Runs the program; `prepare` is called in the new process before it starts.
    Outcome run(
        std::vector<std::string> arguments, const std::function<void()>& prepare = [] {}) const {
        arguments.insert(arguments.begin(), QUORVEL_PROGRAM);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        // Outside the test's folder, so that a test can look at everything that the program left there.
        const fs::path out = folder_.string() + ".out";
        const fs::path err = folder_.string() + ".err";
        const pid_t child = fork();
        if (child == 0) {
            dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
            dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            prepare();
            execv(pointers[0], pointers.data());
            _exit(127);
        }
        int status = 0;
        waitpid(child, &status, 0);
        Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), contents(out), contents(err)};
        fs::remove(out);
        fs::remove(err);
        return outcome;
    }

    Outcome render(const std::string& input, const std::string& output, std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"render", input, "-o", output});
        return run(std::move(more));
    }

    /// Writes samples of `value(x, y, channel)`, alpha not associated.
    std::string draw(const std::string& name, ImageSpec spec, const std::function<float(int, int, int)>& value) const {
        std::vector<float> values;
        for (int y = 0; y < spec.height; ++y) {
            for (int x = 0; x < spec.width; ++x) {
                for (int channel = 0; channel < spec.nchannels; ++channel) {
                    values.push_back(value(x, y, channel));
                }
            }
        }
        spec.attribute("oiio:UnassociatedAlpha", 1);
        const auto output = OIIO::ImageOutput::create(path(name));
        EXPECT_TRUE(output && output->open(path(name), spec) && output->write_image(TypeDesc::FLOAT, values.data()) &&
                    output->close())
            << name;
        return path(name);
    }
    /// Edges, gradients, and transparent pixels that have colour.
    std::string drawUsual(const std::string& name, TypeDesc type, int channels = 4, ImageSpec spec = {}) const {
        spec.width = spec.full_width = 40;
        spec.height = spec.full_height = 30;
        spec.depth = spec.full_depth = 1;
        spec.nchannels = channels;
        spec.default_channel_names();
        spec.set_format(type);
        return draw(name, spec, [](int x, int y, int channel) {
            if (channel == 3) {
                return x % 5 == 0 ? 0.0f : static_cast<float>(y) / 30.0f;
            }
            return static_cast<float>((x * (3 + channel) + y * 7) % 32) / 31.0f;
        });
    }

    static PictureData read(const std::string& file) {
        ImageSpec asStored;
        asStored.attribute("oiio:UnassociatedAlpha", 1);
        const auto input = OIIO::ImageInput::open(file, &asStored);
        if (!input) {
            ADD_FAILURE() << OIIO::geterror();
            return {};
        }
        PictureData picture{input->spec(), {}};
        picture.values.resize(picture.spec.image_pixels() * static_cast<std::size_t>(picture.spec.nchannels));
        EXPECT_TRUE(input->read_image(0, 0, 0, -1, TypeDesc::FLOAT, picture.values.data())) << file;
        return picture;
    }

    std::vector<std::string> filesLeft() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    /// One line on the error output that begins with "quorvel: " and says `words`; nothing on the other.
    static void expectFailure(const Outcome& outcome, int status, const std::string& words) {
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_EQ(outcome.err.rfind("quorvel: ", 0), 0u) << outcome.err;
        EXPECT_NE(outcome.err.find(words), std::string::npos) << outcome.err << "does not say: " << words;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(outcome.out, "");
    }

    fs::path folder_;
};

TEST(Levels, SixteenBitValuesOfTheHostReturnFromAFile) {
    for (std::uint32_t value = 0; value <= kHostWhite16; ++value) {
        ASSERT_EQ(host16FromFile(file16FromHost(value)), value);
    }
    EXPECT_EQ(file16FromHost(kHostWhite16), 65535);
    EXPECT_EQ(file16FromHost(65535), 65535) << "above white";
    EXPECT_EQ(host16FromFile(1), 0x8000 / 0xFFFF + 1) << "rounded up: only black is black";
    EXPECT_EQ(host16FromFile(65535), kHostWhite16);
}

TEST(Levels, OtherDepthsKeepBlackWhiteAndEveryEightBitValue) {
    for (std::uint32_t value = 0; value < 256; ++value) {
        const auto sample = static_cast<std::uint8_t>(value);
        ASSERT_EQ((toFile<std::uint8_t>(toHost<std::uint16_t>(sample))), sample);
        ASSERT_EQ((toFile<std::uint8_t>(toHost<float>(sample))), sample);
        ASSERT_EQ((toHost<std::uint8_t>(toFile<std::uint16_t>(sample))), sample);
    }
    for (const float tooLow :
         {-1.0f, -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_EQ(toFile<std::uint16_t>(tooLow), 0);
        EXPECT_EQ(toHost<std::uint16_t>(tooLow), 0);
    }
    for (const float tooHigh : {1.5f, std::numeric_limits<float>::infinity()}) {
        EXPECT_EQ(toFile<std::uint8_t>(tooHigh), 255);
        EXPECT_EQ(toHost<std::uint16_t>(tooHigh), kHostWhite16);
    }
}

TEST_F(Cli, WrongCommandLinesGetOneLineAndStatusTwo) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const std::string output = path("out.png");
    const auto refused = [&](std::vector<std::string> more, const std::string& words) {
        expectFailure(render(input, output, std::move(more)), kExitUsage, words);
    };
    refused({"--grid-width", "40"}, "--grid-width 40: accepted is 1 to 32");
    refused({"--max-iterations", "0"}, "--max-iterations 0: accepted is 1 to 32");
    refused({"--mosaic-intensity", "1.5"}, "--mosaic-intensity 1.5: accepted is 0 to 1");
    refused({"--grid-height", "nan"}, "--grid-height nan: accepted is 1 to 32");
    refused({"--curve", "zigzag"}, "--curve zigzag: accepted is linear-ramp-up, linear-ramp-down");
    refused({"--curve-phase", "1e9"}, "--curve-phase 1e9: accepted is degrees");
    refused({"--depth", "10"}, "--depth 10: accepted is 8, 16 or 32");
    refused({"--host", "cinema"}, "--host cinema: accepted is after-effects or premiere-pro");
    refused({"--api-version", "13"}, "--api-version 13: accepted is MAJOR.MINOR");
    refused({"--downsample", "0"}, "--downsample 0: accepted is a whole number");
    refused({"--intensity-offset", "4"}, "--intensity-offset 4: accepted is X,Y");
    refused({"--colour", "red"}, "--colour: unknown option");
    refused({"--curve"}, "--curve: takes one value");
    refused({"second.png"}, "second.png: one argument too many");
    expectFailure(render(input, path("out.xyz")), kExitUsage, "accepted is a name ending in .png");
    expectFailure(run({"render", input}), kExitUsage, "--output is required");
    expectFailure(run({"paint"}), kExitUsage, "paint: unknown command");
    expectFailure(run({}), kExitUsage, "a command is missing");
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"in.png"});
}

TEST_F(Cli, OptionsAreTakenInEverySpellingThatIsDocumented) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const auto rendered = [&](std::vector<std::string> more) {
        const Outcome outcome = render(input, path("out.png"), std::move(more));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return contents(path("out.png"));
    };
    const std::string standard = rendered({});
    EXPECT_EQ(rendered({"--channels", "luminosity", "--mosaic-intensity=0.25", "--grid-width", "16", "--grid-height",
                        "+9", "--max-iterations", "32", "--curve-phase", "0", "--curve-smoothness", "0"}),
              standard);
    const std::string curved = rendered({"--curve", "exp-down", "--curve-phase", "-.5", "--max-iterations", "2"});
    EXPECT_NE(curved, standard);
    EXPECT_EQ(rendered({"--curve", "Exp Down", "--curve-phase", "-0.5", "--maximum-iterations", "2"}), curved);
    EXPECT_EQ(rendered({"--curve", "sine-wave", "--curve", "EXP-DOWN", "--curve-phase=-0.5", "--max-iterations", "2"}),
              curved)
        << "the last of two counts";
}

TEST_F(Cli, PicturesThatCannotBeReadAreNamed) {
    const auto refused = [&](const std::string& input, const std::string& words) {
        expectFailure(render(input, path("out.png")), kExitFailure, words);
    };
    refused(path("missing.png"), "missing.png: no such file");
    refused(folder_.string(), "is a folder, not a picture");
    std::ofstream(path("text.png")) << "no picture";
    refused(path("text.png"), "text.png: not a readable picture");
    const ImageSpec wide(30001, 1, 3, TypeDesc::UINT8);
    refused(draw("wide.png", wide, [](int, int, int) { return 0.0f; }), "at most 30000");
    for (const std::string ending : {".png", ".jpg", ".tif", ".exr", ".dpx"}) {
        const std::string whole = drawUsual("whole" + ending, ending == ".exr" ? TypeDesc::FLOAT : TypeDesc::UINT8, 3);
        const std::string bytes = contents(whole);
        const std::string cut = path("cut" + ending);
        std::ofstream(cut, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size() / 2));
        // The PNG library jumps over its caller's clean-up when a file ends too early; that leak is not ours to find.
        const auto tolerateLeaks = [] { setenv("ASAN_OPTIONS", "detect_leaks=0", 1); };
        expectFailure(run({"render", cut, "-o", path("out.png")}, tolerateLeaks), kExitFailure, cut + ": ");
    }
    EXPECT_FALSE(fs::exists(path("out.png")));
    expectFailure(
        render(drawUsual("in.png", TypeDesc::UINT8), path("out.png"), {"--intensity-source", path("none.png")}),
        kExitFailure, "none.png: no such file");
}

TEST_F(Cli, NothingIsLeftOfAnOutputThatCannotBeWritten) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    expectFailure(render(input, path("nowhere/out.png")), kExitFailure, "no such folder: ");
    const std::vector<std::string> before = filesLeft();
    const auto smallDisk = [] {
        const rlimit limit{256, 256};
        setrlimit(RLIMIT_FSIZE, &limit);
    };
    for (const std::string ending : {".png", ".jpg", ".tif", ".exr"}) {
        // The messages do not fit either; the status and the folder tell.
        EXPECT_EQ(run({"render", input, "-o", path("out" + ending)}, smallDisk).status, kExitFailure) << ending;
        EXPECT_EQ(filesLeft(), before) << ending;
    }
}

TEST_F(Cli, NoClobberKeepsWhatIsThere) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    std::ofstream(path("out.png")) << "precious";
    expectFailure(render(input, path("out.png"), {"--no-clobber"}), kExitFailure, "already exists");
    EXPECT_EQ(contents(path("out.png")), "precious");
    EXPECT_EQ(render(input, path("out.png")).status, 0);
    EXPECT_EQ(render(input, path("new.png"), {"--no-clobber"}).status, 0);
    const std::string mosaic = contents(path("new.png"));
    EXPECT_EQ(contents(path("out.png")), mosaic);
    fs::create_symlink("in.png", path("link.png"));
    EXPECT_EQ(render(path("link.png"), path("link.png")).status, 0) << "onto itself";
    EXPECT_TRUE(fs::is_symlink(path("link.png")));
    EXPECT_EQ(contents(input), mosaic);
}

TEST_F(Cli, StandardOutputGetsTheSamePng) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT16);
    ASSERT_EQ(render(input, path("out.png")).status, 0);
    const Outcome outcome = render(input, "-");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out == contents(path("out.png")));
}

// Luminosity copies alpha and Alpha copies the colours, so that each shows what the way through the files does to them.
TEST_F(Cli, ChannelsThatTheEffectCopiesComeBackAsStored) {
    for (const TypeDesc type : {TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::HALF, TypeDesc::FLOAT}) {
        const bool isFloat = type == TypeDesc::HALF || type == TypeDesc::FLOAT;
        // Not every 16-bit value of a file is one of the host's.
        const float tolerance = type == TypeDesc::UINT16 ? 1.01f / 65535.0f : 0.0f;
        for (const std::string& ending :
             isFloat ? std::vector<std::string>{".exr"} : std::vector<std::string>{".png", ".tif"}) {
            const std::string input = drawUsual("in" + ending, type);
            const std::string output = path("out" + ending);
            for (const std::string mode : {"luminosity", "alpha"}) {
                ASSERT_EQ(render(input, output, {"--channels", mode}).status, 0);
                const PictureData before = read(input);
                const PictureData after = read(output);
                ASSERT_EQ(after.spec.format, before.spec.format) << ending;
                ASSERT_EQ(after.spec.nchannels, 4);
                for (std::size_t i = 0; i < before.values.size(); ++i) {
                    if ((i % 4 == 3) == (mode == "luminosity")) {
                        ASSERT_NEAR(after.values[i], before.values[i], tolerance) << ending << mode << i;
                    }
                }
                EXPECT_NE(after.values, before.values);
            }
        }
    }
}

TEST_F(Cli, AlphaIsWrittenWhenTheInputHadItOrTheEffectWorksOnIt) {
    const std::string rgb = drawUsual("rgb.jpg", TypeDesc::UINT8, 3);
    const std::string grey = drawUsual("grey.png", TypeDesc::UINT8, 1);
    for (const std::string& input : {rgb, grey}) {
        ASSERT_EQ(render(input, path("out.png")).status, 0);
        EXPECT_EQ(read(path("out.png")).spec.nchannels, 3);
        ASSERT_EQ(render(input, path("out.png"), {"--channels", "ALPHA"}).status, 0);
        const PictureData picture = read(path("out.png"));
        ASSERT_EQ(picture.spec.nchannels, 4);
        for (std::size_t i = 3; i < picture.values.size(); i += 4) {
            ASSERT_EQ(picture.values[i], 1.0f);
        }
    }
    const PictureData spread = read(path("out.png"));
    const PictureData stored = read(grey);
    for (std::size_t i = 0; i < spread.values.size(); ++i) {
        if (i % 4 != 3) {
            ASSERT_EQ(spread.values[i], stored.values[i / 4]);
        }
    }
    const Outcome toJpeg = render(drawUsual("rgba.png", TypeDesc::UINT8), path("out.jpg"));
    EXPECT_EQ(toJpeg.status, 0);
    EXPECT_NE(toJpeg.err.find("holds no alpha"), std::string::npos);
}

TEST_F(Cli, WhatAFileHasBesidesItsPixelsIsKept) {
    ImageSpec print;
    print.attribute("XResolution", 300.0f);
    print.attribute("YResolution", 300.0f);
    print.attribute("ResolutionUnit", "in");
    print.attribute("Orientation", 6);
    print.attribute("FNumber", 2.5f);
    const std::vector<unsigned char> profile(300, 7);
    print.attribute("ICCProfile", TypeDesc(TypeDesc::UINT8, 300), profile.data());
    const std::string photo = drawUsual("photo.jpg", TypeDesc::UINT8, 3, print);
    for (const std::string& output : {path("out.jpg"), path("out.tif")}) {
        ASSERT_EQ(render(photo, output).status, 0);
        const ImageSpec spec = read(output).spec;
        EXPECT_EQ(spec.get_float_attribute("XResolution"), 300.0f) << output;
        EXPECT_EQ(spec.get_int_attribute("Orientation"), 6) << output;
        EXPECT_EQ(spec.get_float_attribute("FNumber"), 2.5f) << output;
        const auto* kept = spec.find_attribute("ICCProfile");
        ASSERT_NE(kept, nullptr) << output;
        EXPECT_EQ(kept->type().size(), 300u);
        EXPECT_EQ(spec.width, 40) << "not turned";
    }

    ImageSpec window(40, 30, 5, TypeDesc::HALF);
    window.x = -6;
    window.y = 9;
    window.full_width = 80;
    window.full_height = 70;
    window.channelnames = {"R", "G", "B", "A", "depth.Z"};
    window.alpha_channel = 3;
    const std::string shot = draw("shot.exr", window, [](int x, int, int) { return static_cast<float>(x); });
    const Outcome outcome = render(shot, path("out.exr"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find("channels left out: depth.Z"), std::string::npos) << outcome.err;
    const ImageSpec spec = read(path("out.exr")).spec;
    EXPECT_EQ(spec.x, -6);
    EXPECT_EQ(spec.y, 9);
    EXPECT_EQ(spec.full_width, 80);
    EXPECT_EQ(spec.full_height, 70);
    EXPECT_EQ(spec.nchannels, 4);
    EXPECT_EQ(spec.format, TypeDesc::HALF);
}

TEST_F(Cli, DepthAndResolutionFollowTheOptions) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const auto written = [&](const std::string& output, std::vector<std::string> more) {
        EXPECT_EQ(render(input, path(output), std::move(more)).status, 0) << output;
        return read(path(output)).spec;
    };
    EXPECT_EQ(written("a.png", {"--depth", "16"}).format, TypeDesc::UINT16);
    EXPECT_EQ(written("b.tif", {"--depth", "32"}).format, TypeDesc::FLOAT);
    EXPECT_EQ(written("c.exr", {"--depth", "32"}).format, TypeDesc::FLOAT);
    EXPECT_EQ(written("d.exr", {}).format, TypeDesc::HALF);
    EXPECT_EQ(written("e.png", {"--depth", "32"}).format, TypeDesc::UINT16) << "the most that PNG holds";
    const ImageSpec small = written("f.png", {"--downsample", "3", "--host", "premiere-pro"});
    EXPECT_EQ(small.width, 14);
    EXPECT_EQ(small.height, 10);
}

TEST_F(Cli, SmallestPicturesAndOddFloatsAreRendered) {
    for (const TypeDesc type : {TypeDesc::UINT8, TypeDesc::UINT16}) {
        const std::string one = draw("one.png", ImageSpec(1, 1, 3, type), [](int, int, int) { return 1.0f; });
        ASSERT_EQ(render(one, path("out.png"), {"--grid-width", "32", "--channels", "rgb"}).status, 0);
        EXPECT_EQ(read(path("out.png")).values, (std::vector<float>{1, 1, 1}));
    }
    const std::string odd = draw("odd.exr", ImageSpec(9, 7, 4, TypeDesc::FLOAT), [](int x, int y, int) {
        const std::array<float, 5> values{std::numeric_limits<float>::quiet_NaN(),
                                          std::numeric_limits<float>::infinity(),
                                          -std::numeric_limits<float>::infinity(), -3.0f, 1e30f};
        return values[static_cast<std::size_t>(x + y) % values.size()];
    });
    for (const std::string mode : {"luminosity", "rgb", "alpha"}) {
        for (const std::string depth : {"8", "16", "32"}) {
            EXPECT_EQ(render(odd, path("out.exr"), {"--channels", mode, "--depth", depth}).status, 0);
        }
    }
}

TEST_F(Cli, BothHostsGiveTheSamePicture) {
    const std::string guide = drawUsual("guide.tif", TypeDesc::UINT16, 3);
    for (const std::string depth : {"8", "16", "32"}) {
        const std::vector<std::string> settings{
            "--depth",       depth, "--channels",         "rgb", "--curve-phase-split", "70", "--grid-width", "3",
            "--grid-height", "2",   "--intensity-source", guide, "--intensity-offset",  "4,2"};
        const std::string input = draw("in.tif", ImageSpec(25, 20, 4, TypeDesc::UINT8), [](int x, int y, int channel) {
            return static_cast<float>((x * x + y * channel * 5) % 64) / 63.0f;
        });
        std::vector<std::string> premiere = settings;
        premiere.insert(premiere.end(), {"--host", "premiere-pro"});
        ASSERT_EQ(render(input, path("ae.tif"), settings).status, 0);
        ASSERT_EQ(render(input, path("pr.tif"), premiere).status, 0);
        EXPECT_EQ(read(path("ae.tif")).values, read(path("pr.tif")).values) << depth;
        ASSERT_EQ(render(input, path("plain.tif"), {"--depth", depth}).status, 0);
        EXPECT_NE(read(path("ae.tif")).values, read(path("plain.tif")).values) << depth;
    }
}

TEST_F(Cli, ModulesThatFailAreNamed) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const auto refused = [&](const std::string& module, const std::string& words) {
        expectFailure(render(input, path("out.png"), {"--module", module}), kExitFailure, words);
        EXPECT_FALSE(fs::exists(path("out.png")));
    };
    refused(path("none.so"), "none.so: no such module");
    refused(input, "in.png: not a loadable module");
    refused(QUORVEL_ENTRYLESS_MODULE, "no entry point \"EffectMain\"");
    refused(QUORVEL_REFUSING_MODULE, "error 512: No wish to");
    expectFailure(run({"inspect", path("none.so")}), kExitFailure, "none.so: no such module");
    expectFailure(run({"inspect", input}), kExitFailure, "in.png: not a module: neither ELF nor PE");
    expectFailure(render(input, path("out.png"), {"--module", QUORVEL_REFUSING_MODULE, "--tile-count", "8"}),
                  kExitUsage, "--tile-count 8: accepted is 3 to 7");
    expectFailure(render(input, path("out.png"), {"--module", QUORVEL_REFUSING_MODULE, "--grid-width", "8"}),
                  kExitUsage, "--grid-width: unknown option");
    const Outcome help = run({"render", "--help", "--module", path("none.so")});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--no-clobber"), std::string::npos);
    EXPECT_NE(help.out.find("no such module"), std::string::npos);
    EXPECT_NE(run({"render", "--help"}).out.find("--curve-phase-split"), std::string::npos);
}

TEST_F(Cli, ParamsAndInspectTellWhatTheModuleDeclares) {
    const auto parameters = nlohmann::json::parse(run({"params", "--json"}).out);
    ASSERT_EQ(parameters.size(), 13u);
    const auto& grid = parameters.at(5);
    EXPECT_EQ(grid.at("name"), "Grid Width");
    EXPECT_EQ(grid.at("option"), "--grid-width");
    EXPECT_EQ(grid.at("minimum"), 1);
    EXPECT_EQ(grid.at("maximum"), 32);
    EXPECT_EQ(grid.at("default"), 16);
    EXPECT_EQ(grid.at("id"), 3);
    EXPECT_EQ(parameters.at(2).at("choices").at(5), "Alpha");
    EXPECT_EQ(nlohmann::json::parse(run({"params", "--json", "--api-version", "13.8"}).out).size(), 11u);
    EXPECT_EQ(nlohmann::json::parse(run({"params", "--json", "--host", "premiere-pro"}).out).size(), 12u);

    const auto module = nlohmann::json::parse(run({"inspect", "--json"}).out);
    EXPECT_EQ(module.at("match_name"), "Quorvel");
    EXPECT_EQ(module.at("version").at("minor"), 3);
    EXPECT_EQ(module.at("version").at("stage"), 3);
    EXPECT_EQ(module.at("out_flags").at("word"), 0x06008000);
    EXPECT_EQ(module.at("out_flags2").at("names").size(), 5u);
    EXPECT_TRUE(module.at("entry_points").at("EffectMain").get<bool>());
    EXPECT_EQ(module.at("resource").at("out_flags"), module.at("out_flags"));
    EXPECT_EQ(module.at("agreements").size(), 11u);
    for (const auto& property : module.at("agreements")) {
        EXPECT_TRUE(property.at("agree").get<bool>()) << property;
    }
    EXPECT_EQ(run({"--version"}).out, "quorvel " QUORVEL_VERSION "\n");
}

TEST_F(Cli, InspectNamesThePropertyThatContradicts) {
    const fs::path module = path("Quorvel.so");
    fs::copy_file(QUORVEL_MODULE, module);
    EXPECT_NE(run({"inspect", module.string()}).out.find("not checked: there is no resource description"),
              std::string::npos);
    std::string resource = contents(fs::path(QUORVEL_MODULE).replace_extension(".rsrc"));
    const std::size_t flags = resource.find("8BIMeGLO");
    ASSERT_NE(flags, std::string::npos);
    const auto inspectWith = [&](const std::string& bytes) {
        std::ofstream(path("Quorvel.rsrc"), std::ios::binary) << bytes;
        return run({"inspect", module.string()});
    };
    const Outcome sound = inspectWith(resource);
    EXPECT_EQ(sound.status, 0) << sound.err;
    EXPECT_NE(sound.out.find("agree in all 11 properties"), std::string::npos) << sound.out;
    resource[flags + 19] ^= 1;  // the lowest bit of the word behind the signature, key, id and length
    const Outcome wrong = inspectWith(resource);
    EXPECT_EQ(wrong.status, kExitFailure);
    EXPECT_NE(wrong.out.find("out flags: PiPL 0x06008001, module 0x06008000\n"), std::string::npos) << wrong.out;
    EXPECT_NE(wrong.err.find("Quorvel.so: the module contradicts itself\n"), std::string::npos) << wrong.err;
}

/// Where `part` stands in `whole` pixel by pixel (red, green, blue), each of its pixels `scale` times as large; its
/// transparent pixels may be anything. Nothing when it stands nowhere.
std::optional<std::pair<int, int>> placeIn(const PictureData& whole, const PictureData& part, int scale) {
    const auto same = [&](int left, int top) {
        for (int y = 0; y < part.spec.height * scale; ++y) {
            for (int x = 0; x < part.spec.width * scale; ++x) {
                const auto from = static_cast<std::size_t>(4 * (y / scale * part.spec.width + x / scale));
                const auto to = static_cast<std::size_t>(3 * ((top + y) * whole.spec.width + left + x));
                if (part.values[from + 3] == 1.0f &&
                    !std::equal(&part.values[from], &part.values[from] + 3, &whole.values[to])) {
                    return false;
                }
            }
        }
        return true;
    };
    for (int top = 0; top + part.spec.height * scale <= whole.spec.height; ++top) {
        for (int left = 0; left + part.spec.width * scale <= whole.spec.width; ++left) {
            if (same(left, top)) {
                return std::pair(left, top);
            }
        }
    }
    return std::nullopt;
}

TEST_F(Cli, PanelShowsTheEffectsOwnPixels) {
    const auto panel = [&](std::vector<std::string> more) {
        more.insert(more.begin(), {"panel", "-o", path("panel.png")});
        const Outcome outcome = run(std::move(more));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return read(path("panel.png"));
    };
    const PictureData graph = panel({"--graph-only", "--channels", "rgb", "--curve", "sine-wave", "--curve-phase",
                                     "-30", "--curve-smoothness", "2.5", "--curve-phase-split", "60"});
    const model::Graph model({.channels = 1, .curve = 3, .phase = -30 * 65536, .smoothness = 2.5, .split = 60 * 65536});
    ASSERT_EQ(graph.values.size(), 50u * 50u * 4u);
    for (int i = 0; i < 50 * 50 * 4; ++i) {
        ASSERT_EQ(std::lround(graph.values[static_cast<std::size_t>(i)] * 255), model.level(i / 4 % 50, i / 200)) << i;
    }
    const PictureData banner = panel({"--banner-only"});
    EXPECT_EQ(banner.spec.width, 320);
    EXPECT_EQ(banner.spec.height, 17);
    const PictureData whole = panel({});
    const auto place = placeIn(whole, banner, 1);
    ASSERT_TRUE(place);
    const PictureData large = panel({"--scale", "2"});
    EXPECT_EQ(large.spec.width, 2 * whole.spec.width);
    EXPECT_EQ(placeIn(large, banner, 2), std::pair(2 * place->first, 2 * place->second));
    EXPECT_EQ(panel({"--api-version", "13.22", "--banner-only"}).values, banner.values);
    const auto asControl = placeIn(panel({"--api-version", "13.23"}), banner, 1);
    ASSERT_TRUE(asControl);
    EXPECT_GT(asControl->first, place->first);
    EXPECT_FALSE(placeIn(panel({"--host", "premiere-pro"}), banner, 1));
    EXPECT_LT(panel({"--api-version", "13.8"}).spec.height, whole.spec.height - 50);
    EXPECT_NE(panel({"--channels", "rgb"}).values, panel({"--channels", "rgb", "--curve-phase-split", "90"}).values);

    const auto refused = [&](std::vector<std::string> more, int status, const std::string& words) {
        more.insert(more.begin(), {"panel", "-o", path("none.png")});
        expectFailure(run(std::move(more)), status, words);
        EXPECT_FALSE(fs::exists(path("none.png")));
    };
    refused({"--graph-only", "--api-version", "13.8"}, kExitFailure, "no curve graph for this host");
    refused({"--banner-only", "--host", "premiere-pro"}, kExitFailure, "no banner for this host");
    refused({"--intensity-source", path("gone.png")}, kExitFailure, "gone.png");
    refused({"--scale", "3"}, kExitUsage, "--scale 3: accepted is 1 or 2");
    refused({"--graph-only", "--banner-only"}, kExitUsage, "--graph-only");
    refused({"--grid-width", "0"}, kExitUsage, "--grid-width 0: accepted is 1 to 32");
}

TEST_F(Cli, AboutIsTheSameFromTheBannerAndFromTheMenu) {
    const Outcome banner = run({"about"});
    EXPECT_EQ(banner.status, 0) << banner.err;
    EXPECT_EQ(banner.out.rfind("Quorvel, v1.3.0\n", 0), 0u) << banner.out;
    EXPECT_EQ(std::count(banner.out.begin(), banner.out.end(), '\n'), 2);
    EXPECT_EQ(run({"about", "--host", "premiere-pro"}).out, banner.out);
}

}  // namespace
}  // namespace quorvel::cli
