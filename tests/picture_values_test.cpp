// SPDX-License-Identifier: MIT
// Channel values on their way from file to world to file, in every depth, and which pixels --downsample takes.
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "cli/pictures/channel_values.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

using namespace test;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

class PictureValues : public ProgramTest {};

/// Settings with which the effect leaves every pixel as it is.
std::vector<std::string> unchanged(std::vector<std::string> more = {}) {
    more.insert(more.end(), {"--mosaic-intensity", "0", "--max-iterations", "1"});
    return more;
}

TEST(ChannelValues, SixteenBitValuesOfTheHostReturnFromAFile) {
    for (std::uint32_t value = 0; value <= kHostWhite16; ++value) {
        ASSERT_EQ(host16FromFile(file16FromHost(value)), value);
    }
    EXPECT_EQ(file16FromHost(kHostWhite16), 65535);
    EXPECT_EQ(file16FromHost(65535), 65535) << "above white";
    EXPECT_EQ(host16FromFile(1), 0x8000 / 0xFFFF + 1) << "rounded up: only black is black";
    EXPECT_EQ(host16FromFile(65535), kHostWhite16);
}

TEST(ChannelValues, OtherDepthsKeepBlackWhiteAndEveryEightBitValue) {
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

TEST_F(PictureValues, MiddleValuesAreConvertedExactly) {
    const float halfTenth = 0.0999755859375f;  // the half float nearest to 0.1
    struct Case {
        std::string input;
        TypeDesc type;
        float value;
        std::string depth;  ///< empty: the file's own
        std::string output;
        TypeDesc expectedType;
        float expected;
    };
    const TypeDesc u8 = TypeDesc::UINT8, u16 = TypeDesc::UINT16, f16 = TypeDesc::HALF, f32 = TypeDesc::FLOAT;
    const std::vector<Case> cases{
        {"a.png", u8, 100 / 255.0f, "", "o.png", u8, 100 / 255.0f},
        {"a.png", u8, 100 / 255.0f, "16", "o.png", u16, 25700 / 65535.0f},
        {"a.png", u8, 100 / 255.0f, "32", "o.tif", f32, 100 / 255.0f},
        {"a.png", u8, 100 / 255.0f, "", "o.exr", f16, 0.392089844f},
        {"a.png", u16, 25700 / 65535.0f, "8", "o.png", u8, 100 / 255.0f},
        {"a.png", u16, 25900 / 65535.0f, "8", "o.png", u8, 101 / 255.0f},  // 100.78, rounded
        {"a.png", u16, 25850 / 65535.0f, "8", "o.png", u8, 101 / 255.0f},  // 100.58, whose high byte is 100
        {"a.png", u16, 25850 / 65535.0f, "", "o.bmp", u8, 101 / 255.0f},
        {"a.tif", TypeDesc::INT16, 12850 / 32767.0f, "", "o.tif", u16, 25700 / 65535.0f},
        {"a.png", u16, 25700 / 65535.0f, "", "o.tif", u16, 25700 / 65535.0f},
        {"a.png", u16, 25700 / 65535.0f, "16", "o.exr", f32, 12850 / 32768.0f},
        {"a.png", u16, 25701 / 65535.0f, "32", "o.tif", f32, 25701 / 65535.0f},
        {"a.exr", f32, 0.35f, "8", "o.png", u8, 89 / 255.0f},
        {"a.exr", f32, 0.35f, "16", "o.png", u16, 22938 / 65535.0f},
        {"a.exr", f32, 0.35f, "16", "o.tif", u16, 22938 / 65535.0f},
        {"a.exr", f32, 0.1f, "", "o.exr", f32, 0.1f},
        {"a.exr", f16, 0.1f, "", "o.exr", f16, halfTenth},
        {"a.exr", f16, 0.1f, "32", "o.exr", f32, halfTenth},
        {"a.exr", f16, 0.1f, "", "o.tif", f32, halfTenth},
        {"a.exr", f32, 2.5f, "", "o.hdr", f32, 2.5f},
        {"a.exr", f32, 2.5f, "", "o.png", u16, 1.0f},
    };
    for (const Case& c : cases) {
        const std::string what = c.input + " " + c.type.c_str() + " --depth '" + c.depth + "' " + c.output;
        const std::string input = draw(c.input, ImageSpec(9, 7, 3, c.type), [&](int, int, int) { return c.value; });
        std::vector<std::string> more = unchanged();
        if (!c.depth.empty()) {
            more.insert(more.end(), {"--depth", c.depth});
        }
        ASSERT_EQ(render(input, path(c.output), more).status, 0) << what;
        const PictureData written = loadPicture(path(c.output));
        EXPECT_EQ(written.spec.format, c.expectedType) << what;
        ASSERT_EQ(written.values.size(), 9u * 7 * 3) << what;
        for (const float value : written.values) {
            ASSERT_FLOAT_EQ(value, c.expected) << what;
        }
    }
}

// Luminosity copies alpha and Alpha copies the colours, so that each shows what the way through the files does to them.
TEST_F(PictureValues, ChannelsThatTheEffectCopiesComeBackAsStored) {
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

TEST_F(PictureValues, AlphaIsWrittenWhenTheInputHadItOrTheEffectWorksOnIt) {
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
    ASSERT_EQ(render(grey, path("out.exr"), {"--channels", "alpha", "--depth", "16"}).status, 0);
    const PictureData deep = loadPicture(path("out.exr"));
    ASSERT_EQ(deep.spec.nchannels, 4);
    for (std::size_t i = 3; i < deep.values.size(); i += 4) {
        ASSERT_EQ(deep.values[i], 1.0f) << "white of 16 bits in a float file";
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

TEST_F(PictureValues, SmallestPicturesAndOddFloatsAreRendered) {
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

// ---- Every N-th pixel ----

TEST_F(PictureValues, DownsampleTakesEveryNthPixelOfEveryNthRow) {
    const std::string input = draw("in.png", ImageSpec(11, 7, 3, TypeDesc::UINT8), [](int x, int y, int channel) {
        return static_cast<float>(channel == 0 ? 20 * x : 30 * y) / 255.0f;
    });
    for (const int step : {1, 2, 3, 5, 99}) {
        ASSERT_EQ(render(input, path("out.png"), unchanged({"--downsample", std::to_string(step)})).status, 0);
        const PictureData taken = loadPicture(path("out.png"));
        ASSERT_EQ(taken.spec.width, (11 + step - 1) / step);
        ASSERT_EQ(taken.spec.height, (7 + step - 1) / step);
        for (int y = 0; y < taken.spec.height; ++y) {
            for (int x = 0; x < taken.spec.width; ++x) {
                const auto at = static_cast<std::size_t>(3 * (y * taken.spec.width + x));
                ASSERT_EQ(std::lround(taken.values[at] * 255), 20 * x * step) << step << " " << x;
                ASSERT_EQ(std::lround(taken.values[at + 1] * 255), 30 * y * step) << step << " " << y;
            }
        }
    }
}

float busy(int x, int y, int channel) {
    return static_cast<float>((x * 37 + y * 59 + channel * 11 + x * y % 7) % 64 + 45) / 192.0f;
}

/// Busy in some places and flat in others, so that a shift by a pixel shows.
float patchy(int x, int y, int channel) {
    return (x / 20 + y / 14) % 2 == 0 ? busy(x, y, channel) : 0.25f;
}

TEST_F(PictureValues, DownsampleTakesTheSamePixelsOfTheIntensitySourceAndTheOffset) {
    const auto drawEvery = [&](const std::string& name, int step, int width, int height,
                               float (*value)(int, int, int)) {
        return draw(name, ImageSpec(width / step, height / step, 3, TypeDesc::UINT8),
                    [=](int x, int y, int channel) { return value(x * step, y * step, channel); });
    };
    const std::string picture = drawEvery("picture.png", 1, 96, 72, busy);
    const std::string source = drawEvery("source.png", 1, 140, 110, patchy);
    const std::string halfPicture = drawEvery("half-picture.png", 2, 96, 72, busy);
    const std::string halfSource = drawEvery("half-source.png", 2, 140, 110, patchy);
    const auto rendered = [&](const std::string& input, const std::string& intensity, const std::string& offset,
                              const std::string& step) {
        EXPECT_EQ(render(input, path("out.png"),
                         {"--intensity-source", intensity, "--intensity-offset", offset, "--downsample", step,
                          "--grid-width", "12", "--grid-height", "9", "--mosaic-intensity", "0.1"})
                      .status,
                  0);
        return loadPicture(path("out.png")).values;
    };
    const auto plain = rendered(picture, source, "0,0", "1");
    EXPECT_NE(rendered(picture, source, "8,0", "1"), plain);
    EXPECT_NE(rendered(picture, source, "0,6", "1"), plain);
    EXPECT_NE(rendered(picture, source, "8,6", "1"), rendered(picture, source, "6,8", "1"));
    const auto half = rendered(picture, source, "8,6", "2");
    EXPECT_EQ(half, rendered(halfPicture, halfSource, "4,3", "1"));
    EXPECT_NE(half, rendered(halfPicture, halfSource, "3,3", "1"));
    EXPECT_NE(half, rendered(halfPicture, halfSource, "4,2", "1"));
}

}  // namespace
}  // namespace quorvel::cli
