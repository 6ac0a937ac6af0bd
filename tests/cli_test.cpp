// SPDX-License-Identifier: MIT
// The program as a user meets it: run as a process, judged by its exit status, its output and the files it leaves.
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "cli/exit_status.h"
#include "cli/levels.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using OIIO::ImageSpec;
using OIIO::TypeDesc;
using test::contents;
using test::expectFailure;
using test::loadPicture;
using test::Outcome;
using test::PictureData;

class Cli : public test::ProgramTest {};

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

TEST_F(Cli, PicturesThatCannotBeReadAreNamed) {
    const auto refused = [&](const std::string& input, const std::string& words) {
        expectFailure(render(input, path("out.png")), kExitFailure, words);
    };
    refused(path("missing.png"), "missing.png: no such file");
    refused(folder().string(), "is a folder, not a picture");
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
                const PictureData before = loadPicture(input);
                const PictureData after = loadPicture(output);
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
        EXPECT_EQ(loadPicture(path("out.png")).spec.nchannels, 3);
        ASSERT_EQ(render(input, path("out.png"), {"--channels", "ALPHA"}).status, 0);
        const PictureData picture = loadPicture(path("out.png"));
        ASSERT_EQ(picture.spec.nchannels, 4);
        for (std::size_t i = 3; i < picture.values.size(); i += 4) {
            ASSERT_EQ(picture.values[i], 1.0f);
        }
    }
    const PictureData spread = loadPicture(path("out.png"));
    const PictureData stored = loadPicture(grey);
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
        const ImageSpec spec = loadPicture(output).spec;
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
    const ImageSpec spec = loadPicture(path("out.exr")).spec;
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
        return loadPicture(path(output)).spec;
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
        EXPECT_EQ(loadPicture(path("out.png")).values, (std::vector<float>{1, 1, 1}));
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
        EXPECT_EQ(loadPicture(path("ae.tif")).values, loadPicture(path("pr.tif")).values) << depth;
        ASSERT_EQ(render(input, path("plain.tif"), {"--depth", depth}).status, 0);
        EXPECT_NE(loadPicture(path("ae.tif")).values, loadPicture(path("plain.tif")).values) << depth;
    }
}

}  // namespace
}  // namespace quorvel::cli
