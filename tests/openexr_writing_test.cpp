// SPDX-License-Identifier: MIT
// OpenEXR files from the project's own encoder against those of OpenImageIO's.
#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "cli/pictures/encode.h"
#include "tests/support/random.h"

namespace quorvel::cli {
namespace {

using namespace test;
using OIIO::ImageSpec;
using OIIO::TypeDesc;
using File = std::vector<unsigned char>;

/// Smooth rows on top, which compress; samples of random bits below, which do not. Values that half floats round or do
/// not hold, all over both.
host::World unevenWorld(int width, int height, TypeDesc type) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr std::array specials{std::numeric_limits<float>::quiet_NaN(),
                                  infinity,
                                  -infinity,
                                  -0.0f,
                                  65519.0f,  // rounds down to the largest half
                                  65520.0f,  // halfway to the next
                                  -1e30f,
                                  1e-7f,            // a denormal half
                                  2.98e-8f,         // below half of the smallest
                                  1e-42f,           // a denormal float
                                  1.00048828125f,   // halfway between two halves, down to even
                                  1.00146484375f};  // and up to even
    Random random(7);
    host::World world(host::Depth::Float32, width, height);
    for (int y = 0; y < height; ++y) {
        float* row = world.channels<float>(y);
        for (int i = 0; i < 4 * width; ++i) {
            const auto bits = static_cast<std::uint32_t>(random.bits());
            if (random.oneIn(40)) {
                row[i] = specials[bits % specials.size()];
            } else if (y < height / 2) {
                row[i] = static_cast<float>(std::round(8 * std::sin(i * 0.01 + y * 0.1)));
            } else {
                OIIO::convert_pixel_values(type, &bits, TypeDesc::FLOAT, &row[i], 1);
            }
        }
    }
    return world;
}

/// All samples of a file in its own type, as bytes.
std::vector<unsigned char> pixelsOf(const File& file) {
    OIIO::Filesystem::IOMemReader proxy(const_cast<unsigned char*>(file.data()), file.size());
    const auto input = OIIO::ImageInput::open("x.exr", nullptr, &proxy);
    if (!input) {
        ADD_FAILURE() << OIIO::geterror();
        return {};
    }
    std::vector<unsigned char> pixels(input->spec().image_bytes());
    EXPECT_TRUE(input->read_image(0, 0, 0, -1, input->spec().format, pixels.data())) << input->geterror();
    return pixels;
}

/// Where the header ends, if no attribute's name comes after the last of those that each file has.
std::size_t headerEnd(const File& file) {
    using namespace std::string_literals;
    const std::string last = "screenWindowWidth\0float\0\4\0\0\0"s;
    constexpr std::size_t valueAndEnd = 5;
    const auto found = std::search(file.begin(), file.end(), last.begin(), last.end());
    return static_cast<std::size_t>(found - file.begin()) + last.size() + valueAndEnd;
}

struct Chunk {
    std::int32_t y = 0, size = 0;
};

/// What the table of a file points to.
std::vector<Chunk> chunksOf(const File& file, std::size_t count) {
    std::vector<Chunk> chunks(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint64_t offset = 0;
        std::memcpy(&offset, &file.at(headerEnd(file) + 8 * i), sizeof(offset));
        std::memcpy(&chunks[i], &file.at(offset), sizeof(Chunk));
    }
    return chunks;
}

/// Each chunk is where the table says, and there is nothing between them. In large pictures those of random bits are
/// stored as they are, and the smooth ones are compressed.
void expectWholeChunks(const File& file, const ImageSpec& spec, int rows) {
    const auto count = static_cast<std::size_t>((spec.height + rows - 1) / rows);
    const std::vector<Chunk> chunks = chunksOf(file, count);
    std::size_t size = headerEnd(file) + 16 * count;
    for (std::size_t i = 0; i < count; ++i) {
        const int top = static_cast<int>(i) * rows;
        const int bytes = static_cast<int>(spec.scanline_bytes()) * std::min(rows, spec.height - top);
        EXPECT_EQ(chunks[i].y, spec.y + top);
        if (spec.width > 100 && top >= spec.height / 2) {
            EXPECT_EQ(chunks[i].size, bytes) << top;
        } else if (spec.width > 100 && top + rows <= spec.height / 2) {
            EXPECT_LT(chunks[i].size, bytes) << top;
        }
        size += static_cast<std::size_t>(chunks[i].size);
    }
    EXPECT_EQ(size, file.size());
}

void compareWithLibrary(const host::World& world, ImageSpec spec, const std::string& compression) {
    SCOPED_TRACE(std::to_string(spec.width) + " x " + std::to_string(spec.height) + " " + spec.format.c_str() + " " +
                 spec.channelnames[0] + " " + compression);
    spec.attribute("compression", compression);
    spec.attribute("DateTime", "2001:02:03 04:05:06");
    spec.attribute("ImageDescription", "Harbour at noon");
    spec.attribute("PixelAspectRatio", 2.0f);
    std::vector<std::string> notes;
    EncodeRequest request{world, *formatNamed("openexr"), "x.exr", spec, host::Depth::Float32, notes};
    request.compression = *parseCompression(request.format, compression);
    const File expected = encodeWithLibrary(request);
    const File file = encodeOpenExr(request);
    const auto end = static_cast<std::ptrdiff_t>(headerEnd(expected));
    ASSERT_EQ(std::string(file.begin(), file.begin() + end), std::string(expected.begin(), expected.begin() + end));
    EXPECT_TRUE(pixelsOf(file) == pixelsOf(expected));
    expectWholeChunks(file, spec, compression == "zips" ? 1 : 16);
}

TEST(OpenExrWriting, HeaderAndPixelsAreThoseOfTheLibrary) {
    const std::vector<std::string> names[] = {
        {"R", "G", "B", "A"}, {"r", "g", "b"}, {"key.R", "key.g", "key.B", "key.A"}};
    const std::pair<int, int> sizes[] = {{1, 1}, {7, 1}, {33, 17}, {1, 50}, {301, 67}};
    for (const auto& [width, height] : sizes) {
        for (const TypeDesc type : {TypeDesc::HALF, TypeDesc::FLOAT}) {
            const host::World world = unevenWorld(width, height, type);
            for (const auto& channels : names) {
                ImageSpec spec(width, height, static_cast<int>(channels.size()), type);
                spec.channelnames = channels;
                compareWithLibrary(world, spec, "zip");
                spec.x = spec.full_x = -5;
                spec.y = spec.full_y = 3;
                compareWithLibrary(world, spec, "zips");
                spec.full_x = -9;
                spec.full_width = width + 30;
                spec.full_height = 0;  // the data window's
                compareWithLibrary(world, spec, "zip:9");
            }
        }
    }
}

}  // namespace
}  // namespace quorvel::cli
