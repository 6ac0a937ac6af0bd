// SPDX-License-Identifier: MIT
// Which pixels of a file the effect sees: parts, layers, windows, orientation, pipes; and what is refused.
#include <OpenImageIO/deepdata.h>
#include <OpenImageIO/imageio.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "cli/exit_status.h"
#include "cli/pictures/messages.h"
#include "tests/support/program.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using namespace test;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

class PictureReading : public ProgramTest {
protected:
    /// Renders with settings that leave every pixel as it is; expects success and exactly these messages.
    PictureData copied(const std::string& input, const std::string& output, std::vector<std::string> more = {},
                       const std::string& messages = "") {
        more.insert(more.end(), {"--mosaic-intensity", "0", "--max-iterations", "1"});
        const Outcome outcome = render(input, path(output), std::move(more));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, messages);
        return loadPicture(path(output));
    }
    void refused(const std::string& input, const std::string& words, std::vector<std::string> more = {}) {
        expectFailure(render(input, path("none.png"), std::move(more)), kExitFailure, words);
        EXPECT_FALSE(fs::exists(path("none.png")));
    }
};

/// In 255ths: red tells the column, green the row.
long stored255(int x, int y, int channel) {
    return channel == 0 ? 20 * x : channel == 1 ? 30 * y : 7;
}
float position(int x, int y, int channel) {
    return static_cast<float>(stored255(x, y, channel)) / 255.0f;
}

/// A channel's value in 255ths.
long at(const PictureData& picture, int x, int y, int channel) {
    const auto index = static_cast<std::size_t>((y * picture.spec.width + x) * picture.spec.nchannels + channel);
    return std::lround(picture.values[index] * 255);
}

TEST_F(PictureReading, ThePictureIsTurnedAsItsOrientationSays) {
    constexpr int width = 7, height = 4;
    struct Stored {
        int x, y;
    };
    // Which stored pixel is shown at (x, y), by orientation.
    const auto shown = [](int orientation, int x, int y) {
        const std::array<Stored, 8> pixels{{{x, y},
                                            {width - 1 - x, y},
                                            {width - 1 - x, height - 1 - y},
                                            {x, height - 1 - y},
                                            {y, x},
                                            {y, height - 1 - x},
                                            {width - 1 - y, height - 1 - x},
                                            {width - 1 - y, x}}};
        return pixels[static_cast<std::size_t>(orientation - 1)];
    };
    for (int orientation = 1; orientation <= 8; ++orientation) {
        ImageSpec spec(width, height, 3, TypeDesc::UINT8);
        spec.attribute("Orientation", orientation);
        const std::string input = draw("in.tif", spec, position);
        for (const int step : {1, 3}) {
            const PictureData turned = copied(input, "out.tif", {"--downsample", std::to_string(step)});
            EXPECT_EQ(turned.spec.get_int_attribute("Orientation", 1), 1);
            ASSERT_EQ(turned.spec.width, ((orientation < 5 ? width : height) + step - 1) / step) << orientation;
            ASSERT_EQ(turned.spec.height, ((orientation < 5 ? height : width) + step - 1) / step) << orientation;
            EXPECT_EQ(turned.spec.full_width, turned.spec.width) << orientation;
            EXPECT_EQ(turned.spec.full_height, turned.spec.height) << orientation;
            for (int y = 0; y < turned.spec.height; ++y) {
                for (int x = 0; x < turned.spec.width; ++x) {
                    const Stored from = shown(orientation, x * step, y * step);
                    ASSERT_EQ(at(turned, x, y, 0), stored255(from.x, from.y, 0)) << orientation << " " << step;
                    ASSERT_EQ(at(turned, x, y, 1), stored255(from.x, from.y, 1)) << orientation << " " << step;
                }
            }
        }
        std::vector<std::string> outputs{"as-stored.tif"};
        if (orientation == 6) {
            outputs.insert(outputs.end(), {"as-stored.png", "as-stored.exr", "as-stored.jpg"});
        }
        for (const std::string& output : outputs) {
            const PictureData stored = copied(input, output, {"--stored-orientation"});
            EXPECT_EQ(stored.spec.get_int_attribute("Orientation", 1), orientation) << output;
            EXPECT_EQ(stored.spec.width, width);
        }
        const std::string lost =
            "quorvel: note: " + path("as-stored.bmp") + ": BMP holds no orientation; written without it\n";
        copied(input, "as-stored.bmp", {"--stored-orientation"}, orientation == 1 ? "" : lost);
    }
}

TEST_F(PictureReading, TheIntensitySourceIsTurnedToo) {
    ImageSpec onItsSide(30, 40, 3, TypeDesc::UINT8);
    onItsSide.attribute("Orientation", 6);
    const auto busy = [](int x, int y) { return x < 20 && y < 12 ? static_cast<float>((x * y) % 5) / 4.0f : 0.5f; };
    const std::string turned =
        draw("turned.tif", onItsSide, [&](int x, int y, int /*channel*/) { return busy(39 - y, x); });
    const std::string upright = draw("upright.tif", ImageSpec(40, 30, 3, TypeDesc::UINT8),
                                     [&](int x, int y, int /*channel*/) { return busy(x, y); });
    const std::string input = drawUsual("in.png", TypeDesc::UINT8, 3);
    const auto rendered = [&](const std::string& source, std::vector<std::string> more) {
        more.insert(more.end(), {"--intensity-source", source, "--grid-width", "4", "--grid-height", "3"});
        EXPECT_EQ(render(input, path("out.png"), more).status, 0);
        return loadPicture(path("out.png")).values;
    };
    EXPECT_EQ(rendered(turned, {}), rendered(upright, {}));
    EXPECT_NE(rendered(turned, {}), rendered(turned, {"--stored-orientation"}));
}

TEST_F(PictureReading, OnePartIsRenderedAndTheOthersAreNamed) {
    const std::string pages = path("pages.tif");
    const std::string parts = path("parts.exr");
    for (const std::string& file : {pages, parts}) {
        std::vector<ImageSpec> specs(3, ImageSpec(6, 5, 3, file == pages ? TypeDesc::UINT8 : TypeDesc::HALF));
        const std::array names{"left", "right", "centre"};
        for (std::size_t i = 0; i < specs.size(); ++i) {
            specs[i].attribute("oiio:subimagename", names[i]);
        }
        const auto output = OIIO::ImageOutput::create(file);
        ASSERT_TRUE(file == pages ? output->open(file, specs[0]) : output->open(file, 3, specs.data()));
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(i == 0 ||
                        output->open(file, specs[static_cast<std::size_t>(i)], OIIO::ImageOutput::AppendSubimage));
            const std::vector<float> values(6 * 5 * 3, static_cast<float>(i + 1) / 5.0f);
            ASSERT_TRUE(output->write_image(TypeDesc::FLOAT, values.data()));
        }
        ASSERT_TRUE(output->close());
    }
    const std::string choice = "; only the first is rendered (--part picks another)\n";
    EXPECT_EQ(at(copied(pages, "o.png", {}, "quorvel: note: " + pages + ": has further parts" + choice), 3, 2, 0), 51);
    EXPECT_EQ(at(copied(pages, "o.png", {"--part", "1"}), 3, 2, 0), 51);
    EXPECT_EQ(at(copied(pages, "o.png", {"--part", "3"}), 3, 2, 0), 153);
    EXPECT_EQ(
        at(copied(parts, "o.png", {"--depth", "8"}, "quorvel: note: " + parts + ": has 3 parts" + choice), 3, 2, 0),
        51);
    EXPECT_EQ(at(copied(parts, "o.png", {"--depth", "8", "--part", "right"}), 3, 2, 0), 102);
    EXPECT_EQ(at(copied(parts, "o.png", {"--depth", "8", "--part", "3"}), 3, 2, 0), 153);
    refused(pages, "pages.tif: has no part 4", {"--part", "4"});
    refused(pages, "pages.tif: has no part 0", {"--part", "0"});
    refused(parts, "parts.exr: has no part named \"middle\"", {"--part", "middle"});
}

// ---- OpenEXR ----

TEST_F(PictureReading, TheDisplayWindowIsRenderedTransparentOutsideTheDataWindow) {
    ImageSpec inside(5, 3, 3, TypeDesc::FLOAT);
    inside.x = 12;
    inside.y = -3;
    inside.full_x = 10;
    inside.full_y = -4;
    inside.full_width = 9;
    inside.full_height = 6;
    const std::string shot = draw("shot.exr", inside, position);
    const PictureData whole = copied(shot, "out.exr");
    ASSERT_EQ(whole.spec.nchannels, 4);
    EXPECT_EQ(whole.spec.x, 10);
    EXPECT_EQ(whole.spec.y, -4);
    EXPECT_EQ(whole.spec.width, 9);
    EXPECT_EQ(whole.spec.height, 6);
    EXPECT_EQ(whole.spec.full_width, 9);
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 9; ++x) {
            const bool stored = x >= 2 && x < 7 && y >= 1 && y < 4;
            ASSERT_EQ(at(whole, x, y, 3), stored ? 255 : 0) << x << " " << y;
            ASSERT_EQ(at(whole, x, y, 0), stored ? stored255(x - 2, y - 1, 0) : 0) << x << " " << y;
            ASSERT_EQ(at(whole, x, y, 1), stored ? stored255(x - 2, y - 1, 1) : 0) << x << " " << y;
        }
    }
    const PictureData halved = copied(shot, "half.exr", {"--downsample", "2"});
    ASSERT_EQ(halved.spec.width, 5);
    ASSERT_EQ(halved.spec.height, 3);
    EXPECT_EQ(at(halved, 1, 1, 0), stored255(0, 1, 0));
    EXPECT_EQ(at(halved, 3, 1, 1), stored255(4, 1, 1));
    EXPECT_EQ(at(halved, 1, 0, 3), 0);
    EXPECT_EQ((std::array{halved.spec.x, halved.spec.y, halved.spec.full_x, halved.spec.full_y}),
              (std::array{5, -2, 5, -2}));
    EXPECT_EQ(halved.spec.full_width, 5);
    EXPECT_EQ(halved.spec.full_height, 3);

    // A gap at one side is enough.
    for (const auto& [left, top] : {std::pair(2, 0), {0, 2}, {-2, 0}, {0, -2}}) {
        ImageSpec shifted(6, 4, 3, TypeDesc::FLOAT);
        shifted.x = std::max(left, 0);
        shifted.y = std::max(top, 0);
        shifted.full_width = 6 + std::abs(left);
        shifted.full_height = 4 + std::abs(top);
        const PictureData gap = copied(draw("gap.exr", shifted, position), "gap-out.exr");
        ASSERT_EQ(gap.spec.nchannels, 4) << left << " " << top;
        EXPECT_EQ(at(gap, left > 0 ? 0 : gap.spec.width - 1, top > 0 ? 0 : gap.spec.height - 1, 3), 0);
        EXPECT_EQ(at(gap, shifted.x + 5, shifted.y + 3, 3), 255);
        EXPECT_EQ(at(gap, shifted.x + 5, shifted.y + 3, 0), stored255(5, 3, 0));
    }

    ImageSpec beyond(8, 6, 3, TypeDesc::FLOAT);
    beyond.x = beyond.y = -2;
    beyond.full_width = 4;
    beyond.full_height = 3;
    const std::string overscan = draw("overscan.exr", beyond, position);
    const PictureData cropped =
        copied(overscan, "cropped.exr", {},
               "quorvel: note: " + overscan + ": pixels outside the display window are left out\n");
    ASSERT_EQ(cropped.spec.width, 4);
    ASSERT_EQ(cropped.spec.height, 3);
    EXPECT_EQ(cropped.spec.nchannels, 3);
    EXPECT_EQ(at(cropped, 3, 2, 0), stored255(5, 4, 0));
    EXPECT_EQ(at(cropped, 0, 0, 1), stored255(2, 2, 1));
}

TEST_F(PictureReading, OpenExrLayersArePickedAndOtherChannelsPassThrough) {
    ImageSpec spec(20, 9, 9, TypeDesc::FLOAT);
    spec.channelnames = {"R", "G", "B", "A", "depth.Z", "glow.R", "glow.G", "glow.B", "id"};
    spec.channelformats = {TypeDesc::HALF, TypeDesc::HALF, TypeDesc::HALF, TypeDesc::HALF, TypeDesc::FLOAT,
                           TypeDesc::HALF, TypeDesc::HALF, TypeDesc::HALF, TypeDesc::UINT};
    const auto value = [](int x, int y, int channel) {
        return channel == 4 ? 1000.125f + static_cast<float>(x * y)
                            : static_cast<float>((x * 7 + y * 3 + channel * 5) % 32) / 32.0f;
    };
    const std::string input = draw("in.exr", spec, value);
    const auto channel = [](const PictureData& picture, const std::string& name) {
        const auto& names = picture.spec.channelnames;
        const auto found = std::find(names.begin(), names.end(), name);
        std::vector<float> values;
        for (std::size_t i = static_cast<std::size_t>(found - names.begin());
             found != names.end() && i < picture.values.size(); i += names.size()) {
            values.push_back(picture.values[i]);
        }
        return values;
    };
    const PictureData before = loadPicture(input);
    for (const std::string layer : {"", "glow"}) {
        std::vector<std::string> more{"--mosaic-intensity", "1"};
        if (!layer.empty()) {
            more.insert(more.end(), {"--layer", layer});
        }
        const Outcome outcome = render(input, path("out.exr"), more);
        ASSERT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        const PictureData after = loadPicture(path("out.exr"));
        ASSERT_EQ(after.spec.nchannels, 9);
        for (const std::string& name : before.spec.channelnames) {
            const bool rendered = layer.empty() ? name.size() == 1 && name != "A" : name.substr(0, 4) == "glow";
            EXPECT_EQ(channel(after, name) == channel(before, name), !rendered) << layer << " " << name;
            const auto type = [&](const PictureData& picture) {
                return picture.spec.channelformat(picture.spec.channelindex(name));
            };
            EXPECT_EQ(type(after), rendered || name == "A" ? type(after) : type(before)) << name;
        }
    }
    const std::vector<float> glow = channel(before, "glow.G");
    const PictureData picked = copied(input, "o.tif", {"--layer", "glow", "--depth", "32"},
                                      "quorvel: note: " + input + ": channels left out: R, G, B, A, id, depth.Z\n");
    EXPECT_EQ(channel(picked, "G"), glow);
    const PictureData sampled = copied(input, "third.exr", {"--downsample", "3"});
    EXPECT_EQ(channel(sampled, "depth.Z")[7 + 2], value(6, 3, 4));
    refused(input, "has no layer \"haze\" with channels R, G and B or Y: the file's layers are depth, glow",
            {"--layer", "haze"});
    refused(drawUsual("plain.png", TypeDesc::UINT8), "the file has no layers", {"--layer", "glow"});
}

TEST_F(PictureReading, ChannelsAreFoundByTheirNamesInAnySpelling) {
    ImageSpec spec(6, 4, 4, TypeDesc::FLOAT);
    spec.channelnames = {"r", "g", "b", "a"};
    const auto value = [](int x, int y, int channel) {
        return channel == 3 ? 0.5f : static_cast<float>(x + 8 * y + 32 * channel) / 128.0f;
    };
    const std::string lower = draw("lower.exr", spec, value);
    const PictureData before = loadPicture(lower);
    const PictureData after = copied(lower, "out.exr");
    EXPECT_EQ(after.spec.channelnames, before.spec.channelnames) << "as the file spells them";
    EXPECT_EQ(after.values, before.values);
    ImageSpec passes(6, 4, 7, TypeDesc::FLOAT);
    passes.channelnames = {"R", "G", "B", "light.key.R", "light.key.G", "light.key.B", "light.key.Z"};
    const std::string nested = draw("nested.exr", passes, value);
    refused(nested, "the file's layers are light.key\n", {"--layer", "light"});
    EXPECT_EQ(copied(nested, "o.tif", {"--layer", "light.key"},
                     "quorvel: note: " + nested + ": channels left out: R, G, B, light.key.Z\n")
                  .spec.nchannels,
              3);
    const std::string grey = draw("grey.png", ImageSpec(6, 4, 2, TypeDesc::UINT8), [](int x, int, int channel) {
        return channel == 1 ? 0.4f : static_cast<float>(x) / 5.0f;
    });
    const PictureData both = copied(grey, "both.png");
    ASSERT_EQ(both.spec.nchannels, 4);
    EXPECT_EQ(at(both, 2, 1, 3), 102);
    EXPECT_EQ(at(both, 2, 1, 1), 102);
    EXPECT_EQ(at(both, 3, 1, 2), 153);
    EXPECT_EQ(at(both, 3, 1, 3), 102);
}

TEST_F(PictureReading, TiledPicturesAreReadAndDeepOnesRefused) {
    for (const std::string name : {"tiled.exr", "tiled.tif"}) {
        ImageSpec spec(50, 37, 3, name == "tiled.exr" ? TypeDesc::FLOAT : TypeDesc::UINT16);
        spec.tile_width = spec.tile_height = 16;
        const auto value = [](int x, int y, int channel) {
            return static_cast<float>((x * 4 + y * 2 + channel) * 128) / 65535.0f;
        };
        const PictureData whole = copied(draw(name, spec, value), "out.tif", {"--depth", "32"});
        for (int y = 0; y < 37; ++y) {
            for (int x = 0; x < 50; ++x) {
                ASSERT_NEAR(whole.values[static_cast<std::size_t>((y * 50 + x) * 3 + 1)], value(x, y, 1), 1e-7)
                    << name << x << " " << y;
            }
        }
    }
    ImageSpec moved(20, 18, 3, TypeDesc::FLOAT);
    moved.tile_width = moved.tile_height = 16;
    moved.x = moved.full_x = 7;
    moved.y = moved.full_y = -5;
    const std::string input = draw("moved.exr", moved, position);
    EXPECT_EQ(copied(input, "moved-out.exr").values, loadPicture(input).values);
    ImageSpec deep(4, 3, 4, TypeDesc::HALF);
    deep.deep = true;
    OIIO::DeepData samples(deep);
    samples.set_all_samples(std::vector<unsigned>(12, 1));
    const auto output = OIIO::ImageOutput::create("x.exr");
    ASSERT_TRUE(output->open(path("deep.exr"), deep) && output->write_deep_image(samples) && output->close());
    refused(path("deep.exr"), "deep.exr: holds deep pixels or a volume, not a flat picture");
}

// ---- Where the bytes come from ----

TEST_F(PictureReading, StandardInputAndPipesAreRead) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    const std::string tga = drawUsual("in.tga", TypeDesc::UINT8);
    ASSERT_EQ(render(input, path("expected.png")).status, 0);
    for (const std::string& file : {input, tga}) {
        const Outcome outcome =
            run({"render", "-", "-o", path("out.png")}, [&] { dup2(open(file.c_str(), O_RDONLY), STDIN_FILENO); });
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(loadPicture(path("out.png")).values, loadPicture(path("expected.png")).values) << file;
    }
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(path("pipe"), std::ios::binary) << contents(input); });
    EXPECT_EQ(render(path("pipe"), path("out.png")).status, 0);
    writer.join();
    EXPECT_EQ(contents(path("out.png")), contents(path("expected.png")));
    expectFailure(run({"render", "-", "-o", path("out.png")}, [] { dup2(open("/dev/null", O_RDONLY), STDIN_FILENO); }),
                  kExitFailure, "standard input: is empty");
    refused("/dev/null", "/dev/null: is neither a regular file nor a pipe");
}

TEST_F(PictureReading, FormatsAreKnownByTheirContent) {
    // Two pixels in TIFF's other byte order: 100, 101, 102 and 200, 201, 202.
    std::string tiff("MM\0*\0\0\0\x0E", 8);
    tiff += "def\xC8\xC9\xCA";
    const std::vector<std::array<int, 3>> entries{{256, 3, 2}, {257, 3, 1}, {258, 3, 8}, {259, 3, 1}, {262, 3, 2},
                                                  {273, 4, 8}, {277, 3, 3}, {278, 3, 1}, {279, 4, 6}};
    const auto big = [&tiff](int value, int bytes) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
            tiff += static_cast<char>(value >> shift);
        }
    };
    big(static_cast<int>(entries.size()), 2);
    for (const auto& [tag, type, entry] : entries) {
        big(tag, 2);
        big(type, 2);
        big(1, 4);
        big(type == 3 ? entry << 16 : entry, 4);
    }
    big(0, 4);
    std::ofstream(path("Motorola"), std::ios::binary) << tiff;
    const PictureData read = copied(path("Motorola"), "OUT.PNG");
    ASSERT_EQ(read.values.size(), 6u);
    EXPECT_EQ(at(read, 0, 0, 1), 101);
    EXPECT_EQ(at(read, 1, 0, 2), 202);

    // The first version of TGA has nothing to be known by but its name.
    const std::string bytes = contents(drawUsual("new.tga", TypeDesc::UINT8));
    std::ofstream(path("old.tga"), std::ios::binary).write(bytes.data(), 18 + 40 * 30 * 4 + bytes[0]);
    if (bytes[2] == 2) {  // not compressed
        EXPECT_EQ(copied(path("old.tga"), "old.png").values, copied(path("new.tga"), "new.png").values);
    }
    const PictureData photo = copied(drawUsual("in.jpe", TypeDesc::UINT8, 3), "out.jpe");
    EXPECT_STREQ(OIIO::ImageInput::open(path("out.jpe"))->format_name(), "jpeg");
    EXPECT_EQ(photo.spec.width, 40);
}

TEST_F(PictureReading, NamesWithSpecialCharactersAreFiles) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT8);
    for (const std::string name : {"a?b.png", "a?b=c&d.png", "50%04d#.tif", " \xC3\xA4.exr"}) {
        ASSERT_EQ(render(input, path(name)).status, 0) << name;
        const Outcome again = render(path(name), path("again.png"), {"--depth", "8"});
        EXPECT_EQ(again.status, 0) << again.err;
    }
}

// ---- What is refused ----

TEST_F(PictureReading, PicturesThatCannotBeReadAreNamed) {
    refused(path("missing.png"), "missing.png: no such file");
    refused(folder().string(), "is a folder, not a picture");
    std::ofstream(path("text.png")) << "no picture";
    refused(path("text.png"), "text.png: not a readable picture: is not PNG, TIFF, OpenEXR");
    std::ofstream(path("empty.png")) << "";
    refused(path("empty.png"), "empty.png: is empty");
    const ImageSpec wide(30001, 1, 3, TypeDesc::UINT8);
    refused(draw("wide.png", wide, [](int, int, int) { return 0.0f; }), "at most 30000");
    refused(draw("iris.sgi", ImageSpec(4, 4, 3, TypeDesc::UINT8), position), "iris.sgi: not a readable picture");
    // Claims 14 GB of floats and holds none.
    std::ofstream(path("claim.hdr")) << "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 30000 +X 30000\n";
    refused(path("claim.hdr"), "claim.hdr: damaged or cut short");
    // Claims 7 GB, interlaced, and holds none.
    const std::string claim("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\0\0\x75\x30\0\0\x75\x30\x10\6\0\0\1", 29);
    std::ofstream(path("claim.png"), std::ios::binary) << claim;
    refused(path("claim.png"), "claim.png: damaged or cut short: 29 bytes cannot hold 30000 x 30000 pixels");
    for (const std::string ending : {".png", ".jpg", ".tif", ".exr", ".dpx", ".webp"}) {
        const std::string whole = drawUsual("whole" + ending, ending == ".exr" ? TypeDesc::FLOAT : TypeDesc::UINT8, 3);
        const std::string bytes = contents(whole);
        const std::string cut = path("cut" + ending);
        std::ofstream(cut, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size() / 2));
        // The PNG library jumps over its caller's clean-up when a file ends too early; that leak is not ours to find.
        const auto tolerateLeaks = [] { setenv("ASAN_OPTIONS", "detect_leaks=0", 1); };
        expectFailure(run({"render", cut, "-o", path("out.png")}, tolerateLeaks), kExitFailure, cut + ": ");
    }
    EXPECT_FALSE(fs::exists(path("out.png")));
    refused(drawUsual("in.png", TypeDesc::UINT8), "none.png: no such file", {"--intensity-source", path("none.png")});
}

TEST(PictureMessages, SayEachLineOfALibraryOnceAndEnd) {
    std::string repeated;
    for (int i = 0; i < 300; ++i) {
        repeated += "Bad code at row 5.\n";
    }
    EXPECT_STREQ(pictureFailure("a.tif", "damaged", repeated).what(), "a.tif: damaged: Bad code at row 5");
    EXPECT_STREQ(pictureFailure("a.tif", "damaged", "first\nsecond \n\nfirst").what(), "a.tif: damaged: first; second");
    EXPECT_STREQ(pictureFailure("a.tif", "damaged").what(), "a.tif: damaged");
    std::string umlauts = "x";
    for (int i = 0; i < 300; ++i) {
        umlauts += "\xC3\xA4";
    }
    const std::string cut = pictureFailure("a", "b", umlauts).what();
    EXPECT_EQ(cut, "a: b: " + umlauts.substr(0, 299) + " ...") << "cut between two characters";
    EXPECT_STREQ(memoryFailure("a.hdr", 30000, 20000, 9.6e9).what(),
                 "a.hdr: not enough memory for 30000 x 20000 pixels (9.6 GB)");
}

// ---- WebP ----

TEST_F(PictureReading, WebpColoursAreNotMultipliedByAlpha) {
    std::vector<std::uint8_t> pixels;
    for (int i = 0; i < 6 * 4; ++i) {
        pixels.insert(pixels.end(), {194, 201, 169, static_cast<std::uint8_t>(i * 10)});
    }
    WebPConfig config;
    WebPConfigInit(&config);
    config.lossless = config.exact = 1;
    WebPPicture picture;
    WebPPictureInit(&picture);
    picture.use_argb = 1;
    picture.width = 6;
    picture.height = 4;
    WebPMemoryWriter written;
    WebPMemoryWriterInit(&written);
    picture.writer = WebPMemoryWrite;
    picture.custom_ptr = &written;
    ASSERT_TRUE(WebPPictureImportRGBA(&picture, pixels.data(), 6 * 4) != 0 && WebPEncode(&config, &picture) != 0);
    std::ofstream(path("in.webp"), std::ios::binary)
        .write(reinterpret_cast<const char*>(written.mem), static_cast<std::streamsize>(written.size));
    WebPPictureFree(&picture);
    WebPMemoryWriterClear(&written);
    const auto expected = [&](const PictureData& read) {
        ASSERT_EQ(read.values.size(), pixels.size());
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            ASSERT_EQ(std::lround(read.values[i] * 255), pixels[i]) << i;
        }
    };
    expected(copied(path("in.webp"), "out.png"));
    // Written and read once more.
    ASSERT_EQ(render(path("in.webp"), path("lossless.webp"),
                     {"--compression", "lossless", "--mosaic-intensity", "0", "--max-iterations", "1"})
                  .status,
              0);
    expected(copied(path("lossless.webp"), "again.png"));
}

TEST_F(PictureReading, FramesOfAnimatedWebpAreParts) {
    WebPAnimEncoder* encoder = WebPAnimEncoderNew(8, 6, nullptr);
    WebPConfig config;
    WebPConfigInit(&config);
    config.lossless = config.exact = 1;
    for (int frame = 0; frame < 3; ++frame) {
        WebPPicture picture;
        WebPPictureInit(&picture);
        picture.use_argb = 1;
        picture.width = 8;
        picture.height = 6;
        const std::vector<std::uint8_t> pixels(8 * 6 * 3, static_cast<std::uint8_t>(50 * (frame + 1)));
        ASSERT_NE(WebPPictureImportRGB(&picture, pixels.data(), 8 * 3), 0);
        ASSERT_NE(WebPAnimEncoderAdd(encoder, &picture, 100 * frame, &config), 0);
        WebPPictureFree(&picture);
    }
    ASSERT_NE(WebPAnimEncoderAdd(encoder, nullptr, 300, nullptr), 0);
    WebPData whole;
    ASSERT_NE(WebPAnimEncoderAssemble(encoder, &whole), 0);
    const std::string file = path("moving.webp");
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(whole.bytes), static_cast<std::streamsize>(whole.size));
    WebPDataClear(&whole);
    WebPAnimEncoderDelete(encoder);
    const std::string note = ": has 3 parts; only the first is rendered (--part picks another)\n";
    EXPECT_EQ(at(copied(file, "o.png", {}, "quorvel: note: " + file + note), 4, 3, 1), 50);
    for (const int part : {1, 2, 3}) {
        EXPECT_EQ(at(copied(file, "o.png", {"--part", std::to_string(part)}), 4, 3, 1), 50 * part);
    }
    refused(file, "moving.webp: has no part 4", {"--part", "4"});
}

TEST_F(PictureReading, WebpsExifDataMayBeginAsThatOfJpeg) {
    ImageSpec spec;
    spec.attribute("FNumber", 2.5f);
    const std::string photo = drawUsual("photo.jpg", TypeDesc::UINT8, 3, spec);
    ASSERT_EQ(render(photo, path("plain.webp")).status, 0);
    const std::string plain = contents(path("plain.webp"));
    const WebPData data{reinterpret_cast<const std::uint8_t*>(plain.data()), plain.size()};
    WebPMux* mux = WebPMuxCreate(&data, 1);
    WebPData chunk;
    ASSERT_EQ(WebPMuxGetChunk(mux, "EXIF", &chunk), WEBP_MUX_OK);
    const std::string marked =
        std::string("Exif\0\0", 6) + std::string(reinterpret_cast<const char*>(chunk.bytes), chunk.size);
    const WebPData longer{reinterpret_cast<const std::uint8_t*>(marked.data()), marked.size()};
    ASSERT_EQ(WebPMuxSetChunk(mux, "EXIF", &longer, 1), WEBP_MUX_OK);
    WebPData whole;
    ASSERT_EQ(WebPMuxAssemble(mux, &whole), WEBP_MUX_OK);
    std::ofstream(path("marked.webp"), std::ios::binary)
        .write(reinterpret_cast<const char*>(whole.bytes), static_cast<std::streamsize>(whole.size));
    WebPDataClear(&whole);
    WebPMuxDelete(mux);
    for (const std::string file : {"plain.webp", "marked.webp"}) {
        EXPECT_EQ(copied(path(file), "o.tif").spec.get_float_attribute("FNumber"), 2.5f) << file;
    }
}

}  // namespace
}  // namespace quorvel::cli
