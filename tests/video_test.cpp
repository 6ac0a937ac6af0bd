// SPDX-License-Identifier: MIT
// Videos through the program.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/exit_status.h"
#include "tests/support/clip.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using OIIO::ImageSpec;
using OIIO::TypeDesc;
using test::ClipContent;
using test::ClipRecipe;
using test::ClipStream;
using test::contents;
using test::expectFailure;
using test::loadPicture;
using test::makeClip;
using test::Outcome;
using test::readClip;

/// Divides down to the pixels, so that nothing changes.
const std::vector<std::string> kUnchanged{"--mosaic-intensity", "0", "-q"};

std::vector<std::string> with(std::vector<std::string> one, const std::vector<std::string>& more) {
    one.insert(one.end(), more.begin(), more.end());
    return one;
}

class Videos : public test::ProgramTest {
protected:
    /// in.0001.png and so on, with strong contrast between neighbours and all levels of alpha.
    void drawSequence(int count, TypeDesc type, int channels, int width = 32) const {
        for (int frame = 1; frame <= count; ++frame) {
            draw("in.000" + std::to_string(frame) + ".png", ImageSpec(width, 24, channels, type),
                 [&](int x, int y, int channel) {
                     const int value = (x * 7919 + y * 104729 + channel * 1299709 + frame * 15485863) % 65536;
                     return static_cast<float>(type == TypeDesc::UINT8 ? value / 256 * 257 : value) / 65535.0f;
                 });
        }
    }
    std::string sequence() const { return path("in.####.png"); }
    std::vector<float> pixels(const std::string& file) const { return loadPicture(path(file)).values; }
    void expectDone(const Outcome& outcome) const {
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
    /// The first pixel's R, G and B of a clip of one colour, counted to 255.
    std::vector<float> colourOf(const std::string& clip) const {
        expectDone(render(clip, path("colour.@.png"), with(kUnchanged, {"--frames", "0"})));
        std::vector<float> colour = pixels("colour.0.png");
        colour.resize(3);
        for (float& value : colour) {
            value *= 255;
        }
        return colour;
    }
    std::vector<std::string> digests(const std::string& report) const {
        std::vector<std::string> list;
        const nlohmann::json parsed = nlohmann::json::parse(contents(path(report)));
        for (const auto& frame : parsed.at("frames")) {
            list.push_back(frame.at("digest"));
        }
        return list;
    }
};

TEST_F(Videos, HoldRgbAndAlphaToTheBit) {
    for (const TypeDesc type : {TypeDesc::UINT8, TypeDesc::UINT16}) {
        for (const int channels : {3, 4}) {
            drawSequence(3, type, channels);
            expectDone(render(sequence(), path("plain.####.png"), kUnchanged));
            EXPECT_EQ(pixels("plain.0002.png").size(), 32U * 24 * static_cast<std::size_t>(channels));
            const std::vector<std::pair<std::string, std::string>> kinds{
                {"v.mkv", "ffv1"}, {"v.mov", "png"}, {"v.mov", "qtrle"}, {"v.nut", "ffv1"}};
            for (const auto& [name, codec] : kinds) {
                const bool richest = type == TypeDesc::UINT16 && channels == 4;
                if ((codec == "qtrle" && type == TypeDesc::UINT16) || (name == "v.nut" && !richest)) {
                    continue;
                }
                const std::string what = codec + " of " + type.c_str() + " " + std::to_string(channels);
                expectDone(render(sequence(), path(name), with(kUnchanged, {"--codec", codec})));
                EXPECT_EQ(readClip(path(name)).streams.at(0).codec, codec);
                expectDone(render(path(name), path("back.####.png"), kUnchanged));
                for (int frame = 0; frame < 3; ++frame) {
                    const auto back = loadPicture(path("back.000" + std::to_string(frame) + ".png"));
                    EXPECT_EQ(back.values, pixels("plain.000" + std::to_string(frame + 1) + ".png")) << what;
                    EXPECT_EQ(back.spec.format, type) << what;
                }
            }
        }
    }
}

TEST_F(Videos, TakeColoursAsTagged) {
    struct Case {
        AVColorSpace matrix;
        AVColorRange range;
        int height;
        AVPixelFormat format;
        double kr, kb;
        bool full;
    };
    const std::vector<Case> cases{
        {AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, 24, AV_PIX_FMT_YUV420P, 0.2126, 0.0722, false},
        {AVCOL_SPC_BT709, AVCOL_RANGE_JPEG, 24, AV_PIX_FMT_YUV444P, 0.2126, 0.0722, true},
        {AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG, 24, AV_PIX_FMT_YUV422P, 0.299, 0.114, false},
        {AVCOL_SPC_BT470BG, AVCOL_RANGE_JPEG, 24, AV_PIX_FMT_YUV420P, 0.299, 0.114, true},
        {AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_MPEG, 24, AV_PIX_FMT_YUV420P10, 0.2627, 0.0593, false},
        {AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, 24, AV_PIX_FMT_YUV420P, 0.299, 0.114, false},
        {AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, 720, AV_PIX_FMT_YUV420P, 0.2126, 0.0722, false},
    };
    const int y = 120, cb = 100, cr = 160;
    for (const Case& one : cases) {
        ClipRecipe recipe;
        const int scale = one.format == AV_PIX_FMT_YUV420P10 ? 4 : 1;
        recipe.height = one.height;
        recipe.format = one.format;
        recipe.matrix = one.matrix;
        recipe.range = one.range;
        recipe.times = {0};
        recipe.value = [&](int, int component, int, int) {
            return scale * (component == 0 ? y : component == 1 ? cb : cr);
        };
        makeClip(path("c.mkv"), recipe);
        const double luma = one.full ? y / 255.0 : (y - 16) / 219.0;
        const double blue = (cb - 128) / (one.full ? 255.0 : 224.0);
        const double red = (cr - 128) / (one.full ? 255.0 : 224.0);
        const double r = luma + 2 * (1 - one.kr) * red;
        const double b = luma + 2 * (1 - one.kb) * blue;
        const double g = (luma - one.kr * r - one.kb * b) / (1 - one.kr - one.kb);
        const std::vector<float> actual = colourOf(path("c.mkv"));
        const double expected[] = {r * 255, g * 255, b * 255};
        for (std::size_t channel = 0; channel < 3; ++channel) {
            EXPECT_NEAR(actual[channel], expected[channel], 0.51)
                << "matrix " << one.matrix << ", range " << one.range << ", channel " << channel;
        }
    }
    makeClip(path("untagged.mkv"), ClipRecipe{});
    const std::string note = "quorvel: note: " + path("untagged.mkv") +
                             ": does not say what its colours are; the matrix of BT.601 and limited range assumed\n";
    EXPECT_EQ(render(path("untagged.mkv"), path("u.@.png")).err, note);
}

TEST_F(Videos, TakeChromaFromWhereItLies) {
    struct Case {
        AVChromaLocation siting;
        double right, down;  ///< of a chroma sample from the first of its pixels
    };
    const std::vector<Case> cases{{AVCHROMA_LOC_LEFT, 0, 0.5},
                                  {AVCHROMA_LOC_CENTER, 0.5, 0.5},
                                  {AVCHROMA_LOC_TOPLEFT, 0, 0},
                                  {AVCHROMA_LOC_UNSPECIFIED, 0, 0.5}};
    for (const Case& one : cases) {
        ClipRecipe recipe;
        recipe.width = 96;
        recipe.height = 64;
        recipe.matrix = AVCOL_SPC_BT709;
        recipe.range = AVCOL_RANGE_MPEG;
        recipe.siting = one.siting;
        recipe.times = {0};
        // Ramps, which bicubic interpolation keeps straight.
        recipe.value = [](int, int component, int x, int y) {
            return component == 0 ? 120 : component == 1 ? 100 + x : 100 + 2 * y;
        };
        makeClip(path("ramp.mkv"), recipe);
        expectDone(render(path("ramp.mkv"), path("ramp.@.png"), with(kUnchanged, {"--frames", "0"})));
        const std::vector<float> values = pixels("ramp.0.png");
        for (int y = 16; y < 48; ++y) {
            for (int x = 16; x < 80; ++x) {
                const double luma = (120 - 16) / 219.0;
                const double blue = (100 + (x - one.right) / 2 - 128) / 224;
                const double red = (100 + (y - one.down) - 128) / 224;
                const float* pixel = &values[static_cast<std::size_t>((y * 96 + x) * 3)];
                ASSERT_NEAR(pixel[0] * 255.0, (luma + 1.5748 * red) * 255, 0.51) << one.siting << " " << x << " " << y;
                ASSERT_NEAR(pixel[2] * 255.0, (luma + 1.8556 * blue) * 255, 0.51) << one.siting << " " << x << " " << y;
            }
        }
    }
}

TEST_F(Videos, TakePalettesAndBits) {
    ClipRecipe recipe;
    recipe.codec = AV_CODEC_ID_RAWVIDEO;
    recipe.format = AV_PIX_FMT_PAL8;
    recipe.times = {0};
    recipe.value = [](int, int, int x, int y) { return x * 8 + y; };
    recipe.palette = [](int i) {
        return 0xFF000000U | static_cast<std::uint32_t>(i * 0x010000 + (255 - i) * 0x0100 + i / 2);
    };
    makeClip(path("palette.nut"), recipe);
    expectDone(render(path("palette.nut"), path("palette.@.png"), with(kUnchanged, {"--frames", "0"})));
    const std::vector<float> colours = pixels("palette.0.png");
    ASSERT_EQ(colours.size(), 32U * 24 * 3) << "no pixel is transparent";
    for (int y = 0; y < 24; ++y) {
        for (int x = 0; x < 32; ++x) {
            const float* pixel = &colours[static_cast<std::size_t>((y * 32 + x) * 3)];
            const int index = (x * 8 + y) % 256;
            ASSERT_EQ(std::lround(pixel[0] * 255), index) << x << " " << y;
            ASSERT_EQ(std::lround(pixel[1] * 255), 255 - index) << x << " " << y;
            ASSERT_EQ(std::lround(pixel[2] * 255), index / 2) << x << " " << y;
        }
    }
    recipe.palette = [](int i) { return i == 9 ? 0U : 0xFF000000U; };
    makeClip(path("palette.nut"), recipe);
    expectDone(render(path("palette.nut"), path("palette.@.png"), with(kUnchanged, {"--frames", "0"})));
    EXPECT_EQ(pixels("palette.0.png").size(), 32U * 24 * 4);
    recipe.palette = nullptr;
    recipe.format = AV_PIX_FMT_MONOWHITE;
    recipe.value = [](int, int, int x, int) { return x == 0 ? 0x70 : 0; };  // eight pixels a byte, 1 is black
    recipe.width = 8;
    makeClip(path("bits.nut"), recipe);
    expectDone(render(path("bits.nut"), path("bits.@.png"), with(kUnchanged, {"--frames", "0"})));
    const std::vector<float> bits = pixels("bits.0.png");
    for (std::size_t x = 0; x < 8; ++x) {
        EXPECT_EQ(bits[x * 3], x >= 1 && x <= 3 ? 0.0f : 1.0f) << x;
    }
}

TEST_F(Videos, AreGifsWithMoreThanOneFrame) {
    ClipRecipe recipe;
    recipe.codec = AV_CODEC_ID_GIF;
    recipe.format = AV_PIX_FMT_PAL8;
    recipe.times = {0, 100, 300};
    recipe.value = [](int frame, int, int x, int) { return frame * 70 + x; };
    recipe.palette = [](int i) { return 0xFF000000U | static_cast<std::uint32_t>(i * 0x010101); };
    makeClip(path("three.gif"), recipe);
    expectDone(render(path("three.gif"), path("f.@.png"), kUnchanged));
    EXPECT_EQ(std::lround(pixels("f.2.png")[5 * 3] * 255), 145);
    expectDone(render(path("three.gif"), path("three.mp4"), {"-q"}));
    EXPECT_EQ(readClip(path("three.mp4")).streams.at(0).times(), (std::vector<std::int64_t>{0, 100000, 300000}));
    recipe.times = {0};
    makeClip(path("one.gif"), recipe);
    expectDone(render(path("one.gif"), path("one.png"), kUnchanged));
    EXPECT_EQ(std::lround(pixels("one.png")[5 * 4] * 255), 5);
}

TEST_F(Videos, NameTheFrameThatIsDamaged) {
    ClipRecipe recipe;
    makeClip(path("clip.mkv"), recipe);
    expectDone(render(path("clip.mkv"), path("whole.mkv"), kUnchanged));  // with checksums
    std::string bytes = contents(path("whole.mkv"));
    const std::string third = readClip(path("whole.mkv")).streams.at(0).packets.at(3).bytes;
    bytes.at(bytes.find(third) + third.size() / 2) ^= 0x10;
    std::ofstream(path("flipped.mkv"), std::ios::binary) << bytes;
    expectFailure(render(path("flipped.mkv"), path("out.mkv"), {"-q"}), kExitFailure,
                  "frame 3: " + path("flipped.mkv") + ": damaged or cut short");
    EXPECT_FALSE(fs::exists(path("out.mkv")));
    expectDone(render(path("whole.mkv"), path("whole.y4m"), kUnchanged));
    bytes = contents(path("whole.y4m"));
    std::ofstream(path("cut.y4m"), std::ios::binary) << bytes.substr(0, bytes.size() - 400);
    expectFailure(render(path("cut.y4m"), path("f.@.png"), with(kUnchanged, {"--jobs", "1"})), kExitFailure,
                  "frame 4: " + path("cut.y4m") + ": damaged or cut short");
    EXPECT_TRUE(fs::exists(path("f.3.png"))) << "the frames before are whole";
    std::ofstream(path("text.mp4")) << "not a video";
    expectFailure(render(path("text.mp4"), path("out.mkv")), kExitFailure, "text.mp4: is no video that this build of");
}

TEST_F(Videos, KeepTimesTagsSoundAndMetadata) {
    ClipRecipe recipe;
    recipe.times = {0, 40, 100, 110, 330};
    recipe.format = AV_PIX_FMT_YUV420P10;
    recipe.value = [](int frame, int component, int x, int y) {
        return 64 + (frame * 40 + component * 99 + x * 17 + y * 9) % 800;
    };
    recipe.matrix = AVCOL_SPC_BT2020_NCL;
    recipe.range = AVCOL_RANGE_MPEG;
    recipe.primaries = AVCOL_PRI_BT2020;
    recipe.transfer = AVCOL_TRC_SMPTE2084;
    recipe.width = 48;  // of which Matroska can hold the shown width as a whole number
    recipe.aspectNumerator = 4;
    recipe.aspectDenominator = 3;
    recipe.sound = recipe.hdr = true;
    recipe.title = "A clip: with a title";
    makeClip(path("in.mkv"), recipe);
    const ClipContent before = readClip(path("in.mkv"));
    for (const std::string name : {"out.mkv", "out.mov", "h265.mkv"}) {
        const std::string codec = name == "h265.mkv" ? "h265" : name == "out.mkv" ? "ffv1" : "prores4444";
        expectDone(render(path("in.mkv"), path(name), {"--codec", codec, "-q"}));
        const ClipContent after = readClip(path(name));
        ASSERT_EQ(after.streams.size(), 2U) << name;
        const ClipStream& video = after.streams[0];
        EXPECT_EQ(video.times(), (std::vector<std::int64_t>{0, 40000, 100000, 110000, 330000})) << name;
        EXPECT_EQ(video.primaries, AVCOL_PRI_BT2020) << name;
        EXPECT_EQ(video.transfer, AVCOL_TRC_SMPTE2084) << name;
        EXPECT_EQ(video.matrix, codec == "ffv1" ? AVCOL_SPC_RGB : AVCOL_SPC_BT2020_NCL) << name;
        EXPECT_EQ(video.aspectNumerator * 3, video.aspectDenominator * 4) << name;
        EXPECT_EQ(video.brightest, 1000) << name;
        EXPECT_EQ(after.metadata.at("title"), recipe.title) << name;
        // QuickTime's reader cuts PCM into packets of its own.
        EXPECT_TRUE(after.streams[1].bytes() == before.streams[1].bytes()) << name;
        EXPECT_EQ(after.streams[1].packets.front().time, 0) << name;
    }
    EXPECT_EQ(readClip(path("h265.mkv")).streams[0].pixelFormat, "yuv420p10le");
    expectDone(render(path("in.mkv"), path("silent.mkv"), {"--audio", "none", "-q"}));
    EXPECT_EQ(readClip(path("silent.mkv")).streams.size(), 1U);
    const std::vector<std::string> files = filesLeft();
    expectFailure(render(path("in.mkv"), path("no.mp4"), {"-q"}), kExitFailure,
                  "no.mp4: MP4 cannot hold audio track 1 (pcm_s16le) of " + path("in.mkv") +
                      "; --audio aac encodes it, --audio none leaves it out");
    EXPECT_EQ(filesLeft(), files);
    expectDone(render(path("in.mkv"), path("aac.mp4"), {"--audio", "aac", "-q"}));
    const ClipStream encoded = readClip(path("aac.mp4")).streams.at(1);
    EXPECT_EQ(encoded.codec, "aac");
    // 1024 samples a packet, of which the first is the encoder's run-up.
    EXPECT_EQ(encoded.packets.front().time, -21333);
    EXPECT_EQ(encoded.packets.size(), 20U) << "400 ms";
}

TEST_F(Videos, CutSoundToTheFramesAskedFor) {
    ClipRecipe recipe;
    recipe.sound = true;
    recipe.times = {0, 40, 80, 120, 160, 200, 240, 280};
    makeClip(path("in.mkv"), recipe);
    expectDone(render(path("in.mkv"), path("out.mkv"), {"--frames", "2-5x2", "-q"}));
    const ClipContent before = readClip(path("in.mkv"));
    const ClipContent after = readClip(path("out.mkv"));
    EXPECT_EQ(after.streams.at(0).times(), (std::vector<std::int64_t>{0, 80000}));
    // Frames 2 and 4 are shown from 80 to 200 ms.
    ASSERT_EQ(after.streams.at(1).packets.size(), 6U);
    EXPECT_EQ(after.streams[1].packets.front().time, 0);
    EXPECT_TRUE(after.streams[1].packets.front().bytes == before.streams[1].packets[4].bytes);
    EXPECT_TRUE(after.streams[1].packets.back().bytes == before.streams[1].packets[9].bytes);
    expectFailure(render(path("in.mkv"), path("no.mkv"), {"--frames", "20-30", "-q"}), kExitFailure,
                  "--frames 20-30: " + path("in.mkv") + " has the frames 0-7");
    EXPECT_FALSE(fs::exists(path("no.mkv")));
}

TEST_F(Videos, StandUpright) {
    ClipRecipe recipe;
    recipe.format = AV_PIX_FMT_GRAY8;
    recipe.times = {0};
    recipe.value = [](int, int, int x, int y) { return (x * 37 + y * 101) % 256; };
    makeClip(path("stored.mov"), recipe);
    expectDone(render(path("stored.mov"), path("stored.@.png"), kUnchanged));
    const std::vector<float> stored = pixels("stored.0.png");
    const auto at = [](const std::vector<float>& values, int width, int x, int y) {
        return values[static_cast<std::size_t>((y * width + x) * 3)];
    };
    EXPECT_EQ(std::lround(at(stored, 32, 3, 2) * 255), (3 * 37 + 2 * 101) % 256);
    for (const int degrees : {90, 180, 270}) {
        recipe.rotation = degrees;
        makeClip(path("turned.mov"), recipe);
        expectDone(render(path("turned.mov"), path("turned.@.png"), kUnchanged));
        const std::vector<float> turned = pixels("turned.0.png");
        const int width = degrees == 180 ? 32 : 24;
        for (int y = 0; y < 24; ++y) {
            for (int x = 0; x < 32; ++x) {
                const int toX = degrees == 90 ? y : degrees == 180 ? 31 - x : 23 - y;
                const int toY = degrees == 90 ? 31 - x : degrees == 180 ? 23 - y : x;
                ASSERT_EQ(at(turned, width, toX, toY), at(stored, 32, x, y)) << degrees << " " << x << " " << y;
            }
        }
        expectDone(render(path("turned.mov"), path("turned.mkv"), kUnchanged));
        const ClipStream written = readClip(path("turned.mkv")).streams.at(0);
        EXPECT_EQ(written.width, width);
        EXPECT_FALSE(written.turned);
        expectDone(render(path("turned.mov"), path("asis.@.png"), with(kUnchanged, {"--stored-orientation"})));
        EXPECT_EQ(pixels("asis.0.png"), stored);
    }
}

TEST_F(Videos, GiveTheSameFramesWithAnyNumberOfJobs) {
    ClipRecipe recipe;
    recipe.times.clear();
    for (int frame = 0; frame < 12; ++frame) {
        recipe.times.push_back(frame * 40);
    }
    makeClip(path("in.mkv"), recipe);
    for (const std::string jobs : {"1", "3"}) {
        expectDone(render(path("in.mkv"), path("j" + jobs + ".mkv"),
                          {"--jobs", jobs, "--report", path(jobs + ".json"), "--mosaic-intensity", "0.4", "-q"}));
    }
    EXPECT_EQ(digests("1.json").size(), 12U);
    EXPECT_EQ(digests("1.json"), digests("3.json"));
    expectDone(run({"render", path("in.mkv"), "--verify", path("1.json"), "--mosaic-intensity", "0.4", "-q"}));
    // What was written is what was rendered.
    expectDone(render(path("j3.mkv"), path("back.####.png"), kUnchanged));
    expectDone(render(path("in.mkv"), path("direct.####.png"), {"--mosaic-intensity", "0.4", "-q"}));
    for (const std::string frame : {"0000", "0007", "0011"}) {
        EXPECT_EQ(pixels("back." + frame + ".png"), pixels("direct." + frame + ".png")) << frame;
    }
}

TEST_F(Videos, AreMadeOfStillsAndGuideTheEffect) {
    drawSequence(3, TypeDesc::UINT8, 3);
    expectDone(
        render(path("in.0002.png"), path("still.mkv"), with(kUnchanged, {"--frames", "1-4", "--rate", "30000/1001"})));
    const ClipStream still = readClip(path("still.mkv")).streams.at(0);
    EXPECT_EQ(still.times(), (std::vector<std::int64_t>{0, 33000, 67000, 100000})) << "Matroska counts milliseconds";
    expectDone(render(sequence(), path("guide.mkv"), kUnchanged));
    const std::vector<std::string> guided{"--mosaic-intensity", "0.7", "-q"};
    expectDone(
        render(path("still.mkv"), path("v.@.png"),
               with(guided, {"--intensity-source", path("guide.mkv"), "--frames", "0-1", "--intensity-start", "1"})));
    for (const int frame : {0, 1}) {
        const std::string layer = path("in.000" + std::to_string(frame + 2) + ".png");
        expectDone(render(path("in.0002.png"), path("alone.png"), with(guided, {"--intensity-source", layer})));
        EXPECT_EQ(pixels("v." + std::to_string(frame) + ".png"), pixels("alone.png")) << frame;
    }
    expectFailure(render(path("still.mkv"), path("v.@.png"), with(guided, {"--intensity-source", path("guide.mkv")})),
                  kExitFailure, "guide.mkv: has no frame 3; it has 3 frames");
}

TEST_F(Videos, RefuseWhatCannotBe) {
    drawSequence(1, TypeDesc::UINT8, 4);
    draw("odd.png", ImageSpec(33, 24, 3, TypeDesc::UINT8), [](int x, int, int) { return x % 2 == 0 ? 1.0f : 0.0f; });
    makeClip(path("in.mkv"), ClipRecipe{});
    const std::string in = path("in.mkv"), picture = path("in.0001.png");
    fs::copy_file(path("odd.png"), path("mixed.1.png"));
    draw("mixed.2.png", ImageSpec(33, 24, 4, TypeDesc::UINT8), [](int, int, int) { return 0.5f; });
    const std::vector<std::string> before = filesLeft();
    expectFailure(render(picture, path("a.mp4")), kExitFailure,
                  "a.mp4: h264 holds no alpha; expected --codec prores4444, ffv1, png or qtrle");
    expectFailure(render(path("mixed.#.png"), path("a.mkv")), kExitFailure,
                  "frame 2: " + path("mixed.2.png") + ": has alpha, unlike frame 1, with which the video began");
    expectFailure(render(path("odd.png"), path("a.mp4")), kExitFailure,
                  "h264 as yuv420p needs an even width and height, and the frames are 33 x 24");
    expectFailure(render(in, path("a.webm"), {"--codec", "ffv1"}), kExitUsage, "--codec ffv1: WebM cannot hold it");
    expectFailure(render(in, path("a.mov"), {"--codec", "vp9"}), kExitUsage, "--codec vp9: QuickTime cannot hold it");
    expectFailure(render(in, "-"), kExitUsage,
                  "--output -: expected --format png, nut or y4m, since there are 5 frames");
    expectFailure(render(in, path("a.mkv"), {"--codec", "theora"}), kExitUsage, "--codec theora: expected h264, ");
    expectFailure(render(in, path("a.mkv"), {"--quality", "50"}), kExitUsage, "--quality: ffv1 has none");
    expectFailure(render(in, path("a.@.png"), {"--codec", "h264"}), kExitUsage, "--codec: requires a video as output");
    expectFailure(render(in, path("a.png")), kExitUsage, "since there are 5 frames");
    expectFailure(render(in, path("a.mkv"), {"--skip-existing"}), kExitUsage, "--skip-existing: ");
    for (const std::string rate : {"0", "1001", "-3", "25/0", "fast"}) {
        expectFailure(render(picture, path("a.mkv"), {"--rate=" + rate}), kExitUsage,
                      "--rate " + rate + ": expected frames a second above 0 and at most 1000");
    }
    // A container without pictures.
    const std::string silence(2000, '\0');
    std::ofstream(path("sound.wav"), std::ios::binary)
        << std::string("RIFF\xf4\x07\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1f\0\0\x80\x3e\0\0\2\0\x10\0data\xd0\x07\0\0",
                       44)
        << silence;
    expectFailure(render(path("sound.wav"), path("a.mkv")), kExitFailure, "sound.wav: has no video stream");
    fs::remove(path("sound.wav"));
    EXPECT_EQ(filesLeft(), before);
}

TEST_F(Videos, LeaveNothingWhenTheInputOrTheDiskEnds) {
    ClipRecipe recipe;
    recipe.width = 160;
    recipe.height = 120;
    recipe.value = [](int frame, int component, int x, int y) {
        return 16 + static_cast<int>(
                        (static_cast<unsigned>(x * 7919 + y * 104729 + frame * 31 + component) * 2654435761U) >> 25U);
    };
    for (const std::string name : {"whole.mkv", "whole.mov"}) {
        makeClip(path(name), recipe);
        const std::string bytes = contents(path(name));
        const std::string cut = "cut" + name.substr(5);
        std::ofstream(path(cut), std::ios::binary) << bytes.substr(0, bytes.size() * 3 / 5);
        const Outcome outcome = render(path(cut), path("out.mkv"), {"-q"});
        expectFailure(outcome, kExitFailure, cut + ": damaged or cut short");
        EXPECT_FALSE(fs::exists(path("out.mkv")));
    }
    // The frames before the damage are whole.
    EXPECT_EQ(render(path("cut.mkv"), path("f.@.png"), {"-q"}).status, kExitFailure);
    EXPECT_EQ(pixels("f.0.png").size(), 160U * 120 * 3);
    const std::vector<std::string> before = filesLeft();
    const Outcome full = runFile(program(), {"render", path("whole.mkv"), "-o", path("out.mkv"), "-q"}, [] {
        const rlimit limit{40000, 40000};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    expectFailure(full, kExitFailure, "out.mkv: cannot be written: File too large");
    EXPECT_EQ(filesLeft(), before);
}

TEST_F(Videos, LeaveNothingWhenInterrupted) {
    drawSequence(3, TypeDesc::UINT8, 3);
    const std::string second = contents(path("in.0002.png"));
    fs::remove(path("in.0002.png"));
    ASSERT_EQ(mkfifo(path("in.0002.png").c_str(), 0600), 0);
    const std::vector<std::string> before = filesLeft();
    for (const int signal : {SIGINT, SIGTERM}) {
        const pid_t process = fork();
        if (process == 0) {
            ::close(STDERR_FILENO);
            execl(program().c_str(), program().c_str(), "render", sequence().c_str(), "-o", path("out.mkv").c_str(),
                  "--jobs", "1", nullptr);
            _exit(127);
        }
        std::ofstream pipe(path("in.0002.png"), std::ios::binary);  // waits until the program reads it
        EXPECT_EQ(filesLeft().size(), before.size() + 1) << "the first frame is being written";
        kill(process, signal);
        pipe << second;
        pipe.close();
        int status = 0;
        waitpid(process, &status, 0);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 128 + signal);
        EXPECT_EQ(filesLeft(), before);
    }
}

TEST_F(Videos, GoToTheStandardOutput) {
    makeClip(path("in.mkv"), ClipRecipe{});
    const Outcome y4m = run({"render", path("in.mkv"), "-o", "-", "--format", "y4m", "-q"});
    EXPECT_EQ(y4m.status, 0) << y4m.err;
    EXPECT_TRUE(y4m.out.starts_with("YUV4MPEG2 W32 H24 F25:1 ")) << y4m.out.substr(0, 80);
    const Outcome png = run({"render", path("in.mkv"), "-o", "-", "--format", "png", "--frames", "2-4", "-q"});
    const std::string signature = "\x89PNG\r\n\x1a\n";
    std::vector<std::size_t> starts;
    for (std::size_t at = 0; (at = png.out.find(signature, at)) != std::string::npos; ++at) {
        starts.push_back(at);
    }
    ASSERT_EQ(starts.size(), 3U) << png.err;
    std::ofstream(path("second.png"), std::ios::binary) << png.out.substr(starts[1], starts[2] - starts[1]);
    const Outcome nut = run({"render", path("in.mkv"), "-o", "-", "--format", "nut", "-q"});
    std::ofstream(path("piped.nut"), std::ios::binary) << nut.out;
    expectDone(render(path("piped.nut"), path("piped.@.png"), kUnchanged));
    expectDone(render(path("in.mkv"), path("direct.@.png"), {"-q"}));
    EXPECT_EQ(pixels("piped.4.png"), pixels("direct.4.png"));
    EXPECT_EQ(pixels("second.png"), pixels("direct.3.png"));
    drawSequence(2, TypeDesc::UINT8, 4);
    expectFailure(run({"render", path("in.0001.png"), "-o", "-", "--format", "y4m"}), kExitFailure,
                  "standard output: y4m holds no alpha");
    const std::string row = run({"render", sequence(), "-o", "-", "--format", "png", "-q"}).out;
    const std::size_t second = row.find(signature, 1);
    ASSERT_NE(second, std::string::npos);
    std::ofstream(path("row.png"), std::ios::binary) << row.substr(second);
    expectDone(render(path("in.0002.png"), path("alone.png"), {"-q"}));
    EXPECT_EQ(pixels("row.png"), pixels("alone.png"));
}

}  // namespace
}  // namespace quorvel::cli
