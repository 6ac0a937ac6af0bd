// SPDX-License-Identifier: MIT
// What is in the files that the program writes: pixels of every format and compression, metadata, and notes on what a
// format cannot hold.
#include <OpenImageIO/imageio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <fstream>
#include <new>

#include "cli/exit_status.h"
#include "cli/pictures/encode.h"
#include "cli/pictures/parallel.h"
#include "cli/pictures/write.h"
#include "tests/support/program.h"
#include "tests/support/random.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using namespace test;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

class PictureWriting : public ProgramTest {
protected:
    /// Renders with settings that leave every pixel as it is.
    Outcome copy(const std::string& input, const std::string& output, std::vector<std::string> more = {}) {
        more.insert(more.end(), {"--mosaic-intensity", "0", "--max-iterations", "1"});
        return render(input, path(output), std::move(more));
    }
    std::string noteOf(const std::string& file, const std::string& words) {
        return std::string("quorvel: note: ").append(path(file)).append(": ").append(words).append("\n");
    }
};

/// Neither flat nor noise, and different in every strip.
float hilly(int x, int y, int channel) {
    const double wave = std::sin(x * 0.05 + channel) * std::cos(y * 0.03) * 0.4 + 0.5;
    return static_cast<float>(wave + ((x * 7 + y * 13) % 11) * 0.004);
}

TEST_F(PictureWriting, LargePicturesReturnFromEveryLosslessCompression) {
    const std::vector<std::pair<std::string, std::string>> everything{
        {"o.png", ""},     {"o.png", "0"},     {"o.png", "1"},     {"o.png", "9"},     {"o.tif", ""},
        {"o.tif", "none"}, {"o.tif", "lzw"},   {"o.tif", "zip:1"}, {"o.tif", "zip:9"}, {"o.tif", "packbits"},
        {"o.exr", "zip"},  {"o.exr", "zip:9"}, {"o.exr", "piz"},   {"o.exr", "none"},  {"o.webp", "lossless"},
        {"o.tga", ""},     {"o.bmp", ""},      {"o.ppm", ""},      {"o.dpx", ""},      {"o.jp2", ""},
    };
    for (const TypeDesc type : {TypeDesc::UINT8, TypeDesc::UINT16, TypeDesc::FLOAT}) {
        for (const int channels : {3, 4}) {
            // More rows than a strip has in any of the formats, and a last strip that is not full.
            const std::string input = draw("in.tif", ImageSpec(401, 1501, channels, type), hilly);
            std::vector<float> expected = loadPicture(input).values;
            for (const auto& [output, compression] : everything) {
                const std::string ending = fs::path(output).extension().string();
                const bool holds = type == TypeDesc::UINT8    ? ending != ".exr"
                                   : type == TypeDesc::UINT16 ? ending == ".png" || ending == ".tif"
                                                              : ending == ".tif" || ending == ".exr";
                const bool holdsAlpha = (compression.empty() && ending != ".ppm") || ending == ".webp";
                // The levels of compression do not depend on the depth.
                const bool again = type == TypeDesc::UINT16 && !compression.empty();
                if (!holds || again || (channels == 4 && !holdsAlpha)) {
                    continue;
                }
                std::vector<std::string> more;
                if (!compression.empty()) {
                    more = {"--compression", compression};
                }
                const Outcome outcome = copy(input, output, more);
                ASSERT_EQ(outcome.status, 0) << output << outcome.err;
                if (output == "o.webp") {
                    ASSERT_EQ(copy(path(output), "o.png").status, 0);
                }
                const PictureData written = loadPicture(path(output == "o.webp" ? "o.png" : output));
                ASSERT_EQ(written.values.size(), expected.size()) << output;
                // Not every 16-bit value of a file is one of the host's.
                const float tolerance = type == TypeDesc::UINT16 ? 1.01f / 65535.0f : 0.0f;
                const auto wrong =
                    std::mismatch(expected.begin(), expected.end(), written.values.begin(),
                                  [&](float one, float other) { return std::abs(one - other) <= tolerance; });
                EXPECT_EQ(wrong.first - expected.begin(), static_cast<std::ptrdiff_t>(expected.size()))
                    << type.c_str() << " " << output << " " << compression << ": the first that differs";
            }
        }
    }
}

TEST_F(PictureWriting, JpegStripsDecodeAsOneEncoderWouldHaveMadeThem) {
    // Strips cut short on the right and at the bottom, one row, one pixel, and more strips than restart marks have
    // numbers.
    const std::pair<int, int> sizes[] = {{701, 903}, {33, 1}, {1, 1}, {16, 257}, {17, 2700}};
    for (const auto& [width, height] : sizes) {
        for (const std::string chroma : {"4:2:0", "4:4:4", "4:2:2"}) {
            ImageSpec spec(width, height, 3, TypeDesc::UINT8);
            spec.attribute("jpeg:subsampling", chroma);
            spec.attribute("compression", "jpeg:100");
            const std::string input = draw("in.jpg", spec, hilly);
            ASSERT_EQ(copy(input, "out.jpg", {"--quality", "80"}).status, 0);
            PictureData whole = loadPicture(input);
            spec.attribute("compression", "jpeg:80");
            const auto output = OIIO::ImageOutput::create("x.jpg");
            ASSERT_TRUE(output->open(path("expected.jpg"), spec) &&
                        output->write_image(TypeDesc::FLOAT, whole.values.data()) && output->close());
            const PictureData written = loadPicture(path("out.jpg"));
            EXPECT_EQ(written.values, loadPicture(path("expected.jpg")).values)
                << chroma << " " << width << " x " << height;
            EXPECT_EQ(written.spec.get_string_attribute("jpeg:subsampling"), chroma);
        }
    }
}

TEST_F(PictureWriting, CompressionAndQualityChangeTheSizeAndAreChecked) {
    const std::string input = draw("in.png", ImageSpec(300, 200, 3, TypeDesc::UINT8), hilly);
    const auto size = [&](const std::string& output, std::vector<std::string> more) {
        EXPECT_EQ(copy(input, output, std::move(more)).status, 0);
        return fs::file_size(path(output));
    };
    EXPECT_GT(size("o.png", {"--compression", "0"}), 300u * 200 * 3);
    EXPECT_LT(size("o.png", {"--compression", "9"}), size("o.png", {"--compression", "1"}));
    EXPECT_LT(size("o.tif", {"--compression", "zip:9"}), size("o.tif", {"--compression", "zip:1"}));
    EXPECT_GT(size("o.tif", {"--compression", "none"}), 300u * 200 * 3);
    EXPECT_LT(size("o.exr", {"--compression", "DWAA"}), size("o.exr", {"--compression", "none"}));
    EXPECT_LT(size("o.jpg", {"--quality", "40"}), size("o.jpg", {}));
    EXPECT_EQ(size("o.jpg", {"--quality", "95"}), size("o.jpg", {}));
    EXPECT_LT(size("o.webp", {"--quality", "40"}), size("o.webp", {"--quality", "95"}));
    EXPECT_LT(size("o.webp", {}), size("o.webp", {"--compression", "lossless"}));
    const auto refused = [&](const std::string& output, std::vector<std::string> more, const std::string& words) {
        expectFailure(copy(input, output, std::move(more)), kExitUsage, words);
    };
    refused("o.png", {"--compression", "10"}, "--compression 10: ");
    refused("o.png", {"--compression", "zip"}, "0 to 9 for PNG");
    refused("o.tif", {"--compression", "zip:0"}, "--compression zip:0: ");
    refused("o.tif", {"--compression", "zip:10"}, "none, lzw, packbits or zip, zip also as zip:1 to zip:9 for TIFF");
    refused("o.bmp", {"--compression", "none"}, "--compression: BMP has no choice of it");
    refused("o.png", {"--quality", "50"}, "--quality: PNG has none");
    refused("o.jpg", {"--quality", "101"}, "--quality 101: ");
    refused("o.webp", {"--quality", "50", "--compression", "lossless"}, "--quality: lossless compression has none");
}

TEST_F(PictureWriting, StandardOutputGetsTheSamePng) {
    const std::string input = drawUsual("in.png", TypeDesc::UINT16);
    ASSERT_EQ(render(input, path("out.png")).status, 0);
    const Outcome outcome = render(input, "-");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out == contents(path("out.png")));
    // Too long for the file that the standard output is, the last of the bytes only when they are flushed.
    for (const rlim_t less : {rlim_t{1}, rlim_t{1000}}) {
        const rlimit limit{outcome.out.size() - less, outcome.out.size() - less};
        const Outcome cut = run({"render", input, "-o", "-"}, [&] { setrlimit(RLIMIT_FSIZE, &limit); });
        EXPECT_EQ(cut.status, kExitFailure);
        EXPECT_EQ(cut.err, "quorvel: standard output: cannot be written: File too large\n");
    }
}

TEST_F(PictureWriting, AFileThatAppearedMeanwhileIsKept) {
    const host::World world(host::Depth::Bits8, 4, 3);
    const auto traits = plainTraits(world);
    WriteSettings settings;
    EXPECT_EQ(writePicture(path("out.png"), world, *traits, settings), std::vector<std::string>{});
    const std::string before = contents(path("out.png"));
    settings.clobber = false;
    settings.alpha = true;
    EXPECT_THROW(writePicture(path("out.png"), world, *traits, settings), Failure);
    EXPECT_EQ(contents(path("out.png")), before);
    settings.clobber = true;
    writePicture(path("out.png"), world, *traits, settings);
    EXPECT_NE(contents(path("out.png")), before);
}

TEST(Parallel, TheFirstFailureIsPassedOnWhenAllHaveEnded) {
    std::atomic<int> done = 0;
    const auto work = [&](std::size_t i) {
        if (i == 3) {
            throw Failure("strip 3");
        }
        ++done;
    };
    EXPECT_THROW(inParallel(40, work), Failure);
    EXPECT_LT(done, 40);
    done = 0;
    inParallel(3, work);
    EXPECT_EQ(done, 3);
}

// ---- Metadata ----

TEST_F(PictureWriting, WhatAFileHasBesidesItsPixelsIsKeptOrNamed) {
    ImageSpec print;
    print.attribute("XResolution", 300.0f);
    print.attribute("YResolution", 150.0f);
    print.attribute("ResolutionUnit", "in");
    print.attribute("Orientation", 6);
    print.attribute("Make", "Camera works");
    print.attribute("FNumber", 2.5f);
    print.attribute("Exif:PixelXDimension", 40);
    const std::vector<unsigned char> profile(300, 7);
    print.attribute("ICCProfile", TypeDesc(TypeDesc::UINT8, 300), profile.data());
    const std::string photo = drawUsual("photo.jpg", TypeDesc::UINT8, 3, print);
    for (const std::string output : {"o.jpg", "o.tif"}) {
        const Outcome outcome = render(photo, path(output));
        EXPECT_EQ(outcome.err, "");
        const ImageSpec spec = loadPicture(path(output)).spec;
        EXPECT_EQ(spec.get_float_attribute("XResolution"), 150.0f) << output << ": turned with the picture";
        EXPECT_EQ(spec.get_float_attribute("YResolution"), 300.0f) << output;
        EXPECT_EQ(spec.get_int_attribute("Orientation"), 1) << output;
        EXPECT_EQ(spec.get_string_attribute("Make"), "Camera works") << output;
        EXPECT_EQ(spec.get_float_attribute("FNumber"), 2.5f) << output;
        EXPECT_EQ(spec.get_int_attribute("Exif:PixelXDimension"), 30) << output;
        const auto* kept = spec.find_attribute("ICCProfile");
        ASSERT_NE(kept, nullptr) << output;
        ASSERT_EQ(kept->type().size(), 300u);
        EXPECT_TRUE(std::equal(profile.begin(), profile.end(), static_cast<const unsigned char*>(kept->data())));
    }
    EXPECT_EQ(render(photo, path("o.png")).err, noteOf("o.png", "the ICC profile is invalid; written without it"));
    const ImageSpec png = loadPicture(path("o.png")).spec;
    EXPECT_EQ(png.get_float_attribute("FNumber"), 2.5f);
    EXPECT_EQ(png.get_string_attribute("Make"), "Camera works");
    const std::string noProfile = " holds no ICC profile; written without it";
    const std::string noExif = " holds no Exif data; written without it";
    EXPECT_EQ(render(photo, path("o.exr")).err, noteOf("o.exr", "OpenEXR" + noProfile));
    const std::vector<std::pair<std::string, std::string>> others{{"o.bmp", "BMP"}, {"o.tga", "TGA"}, {"o.ppm", "PNM"}};
    for (const auto& [file, title] : others) {
        EXPECT_EQ(render(photo, path(file)).err, noteOf(file, title + noProfile) + noteOf(file, title + noExif));
    }
    // WebP keeps all of it: seen in what the program carries on from there.
    EXPECT_EQ(render(photo, path("o.webp"), {"--stored-orientation"}).err, "");
    EXPECT_EQ(render(path("o.webp"), path("again.tif"), {"--stored-orientation"}).err, "");
    const ImageSpec again = loadPicture(path("again.tif")).spec;
    EXPECT_EQ(again.get_int_attribute("Orientation"), 6);
    EXPECT_EQ(again.get_float_attribute("FNumber"), 2.5f);
    EXPECT_NE(again.find_attribute("ICCProfile"), nullptr);
}

std::string bigEndian(std::size_t number) {
    return {static_cast<char>(number >> 8), static_cast<char>(number)};
}

/// A JPEG segment with its marker and length.
std::string segment(char marker, const std::string& data) {
    return std::string("\xFF") + marker + bigEndian(data.size() + 2) + data;
}

std::string xmpWith(const std::string& orientation, const std::string& width, const std::string& height) {
    return "<?xpacket begin='' id='W5M0MpCehiHzreSzNTczkc9d'?><x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
           "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about='' "
           "xmlns:own='http://example.com/own/' xmlns:tiff='http://ns.adobe.com/tiff/1.0/' "
           "xmlns:exif='http://ns.adobe.com/exif/1.0/' own:Shot='A 17' exif:PixelXDimension = \"" +
           width + "\"><tiff:Orientation>" + orientation + "</tiff:Orientation>\n <exif:PixelYDimension>" + height +
           "</exif:PixelYDimension></rdf:Description></rdf:RDF></x:xmpmeta><?xpacket end='w'?>";
}

TEST_F(PictureWriting, XmpAndIptcDataAreCarriedOverOrNamed) {
    using namespace std::string_literals;
    ImageSpec turned;
    turned.attribute("Orientation", 6);
    const std::string drawn = contents(drawUsual("plain.jpg", TypeDesc::UINT8, 3, turned));
    const std::string city = "\x1C\x02\x5A\0\5Turku\x1C\x02\xC8\0\3own\0"s;  // the second is of no known kind
    const std::string resources =
        "Photoshop 3.0\0"
        "8BIM\x03\xED\0\0\0\0\0\3abc\0"
        "8BIM\x04\x04\0\0\0\0"s +
        bigEndian(city.size()) + city;
    const std::string before = xmpWith("6", "40", "30");
    const std::string after = xmpWith("1", "30", "40");
    std::ofstream(path("photo.jpg"), std::ios::binary)
        << drawn.substr(0, 2) << segment('\xE1', "http://ns.adobe.com/xap/1.0/\0"s + before)
        << segment('\xED', resources) << drawn.substr(2);
    const auto holds = [&](const std::string& file, const std::string& bytes) {
        return contents(path(file)).find(bytes) != std::string::npos;
    };
    const auto rendered = [&](const std::string& from, const std::string& to, std::vector<std::string> more = {}) {
        const Outcome outcome = render(path(from), path(to), std::move(more));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_FALSE(loadPicture(path(to)).values.empty()) << to;
        return outcome.err;
    };
    for (const std::string file : {"o.jpg", "o.tif", "lzw.tif"}) {
        EXPECT_EQ(rendered("photo.jpg", file,
                           file == "lzw.tif" ? std::vector{"--compression"s, "lzw"s} : std::vector<std::string>()),
                  "");
        EXPECT_TRUE(holds(file, after)) << file;
        EXPECT_TRUE(holds(file, city)) << file;
        EXPECT_FALSE(holds(file, before)) << file;
        EXPECT_EQ(loadPicture(path(file)).spec.get_string_attribute("IPTC:City"), "Turku") << file;
    }
    EXPECT_EQ(rendered("photo.jpg", "o.png"), noteOf("o.png", "PNG holds no IPTC data; written without it"));
    EXPECT_TRUE(holds("o.png", "iTXtXML:com.adobe.xmp\0\0\0\0\0"s + after));
    // On from every reader.
    EXPECT_EQ(rendered("o.png", "o.webp"), "");
    EXPECT_TRUE(holds("o.webp", after));
    EXPECT_EQ(rendered("o.webp", "2.tif"), "");
    EXPECT_TRUE(holds("2.tif", after));
    EXPECT_EQ(rendered("lzw.tif", "2.jpg"), "");
    EXPECT_TRUE(holds("2.jpg", "http://ns.adobe.com/xap/1.0/\0"s + after));
    EXPECT_TRUE(holds("2.jpg", city));
    EXPECT_EQ(rendered("photo.jpg", "raw.jpg", {"--stored-orientation"}), "");
    EXPECT_TRUE(holds("raw.jpg", before));
    EXPECT_EQ(rendered("photo.jpg", "o.exr"), noteOf("o.exr", "OpenEXR holds no XMP data; written without it") +
                                                  noteOf("o.exr", "OpenEXR holds no IPTC data; written without it"));
}

TEST_F(PictureWriting, MetadataThatDependsOnTheFormatIsMadeTrueOfIt) {
    // How alpha is meant: OpenEXR's colours are multiplied by it, and TIFF can say so.
    const auto alphaKind = [](const std::string& file) {
        return loadPicture(file).spec.get_int_attribute("oiio:UnassociatedAlpha", 0);
    };
    ASSERT_EQ(copy(drawUsual("in.exr", TypeDesc::HALF), "associated.tif").status, 0);
    EXPECT_EQ(alphaKind(path("associated.tif")), 0);
    ASSERT_EQ(copy(drawUsual("in.png", TypeDesc::UINT8), "straight.tif").status, 0);
    EXPECT_EQ(alphaKind(path("straight.tif")), 1);

    // A compression is the format's own.
    ImageSpec small;
    small.attribute("compression", "lzw");
    const std::string lzw = drawUsual("lzw.tif", TypeDesc::UINT8, 3, small);
    const auto compression = [&](const std::string& file) {
        return loadPicture(path(file)).spec.get_string_attribute("compression");
    };
    ASSERT_EQ(copy(lzw, "again.tif").status, 0);
    EXPECT_EQ(compression("again.tif"), "lzw");
    const std::string photo = drawUsual("photo.jpg", TypeDesc::UINT8, 3);
    ASSERT_EQ(copy(photo, "photo.tif").status, 0);
    EXPECT_EQ(compression("photo.tif"), "zip");
    EXPECT_EQ(loadPicture(path("photo.tif")).values, loadPicture(photo).values);
    small.attribute("compression", "rle");
    ASSERT_EQ(copy(drawUsual("rle.exr", TypeDesc::FLOAT, 3, small), "zip.tif").status, 0);
    EXPECT_EQ(compression("zip.tif"), "zip");

    ImageSpec commented;
    commented.attribute("ImageDescription", "Harbour at noon");
    ASSERT_EQ(copy(drawUsual("commented.jpg", TypeDesc::UINT8, 3, commented), "out.jpg").status, 0);
    const std::string comment("\xFF\xFE\0\x12Harbour at noon\0", 20);
    EXPECT_NE(contents(path("out.jpg")).find(comment), std::string::npos);
    ImageSpec crop(40, 30, 3, TypeDesc::UINT8);
    crop.full_width = 60;
    crop.full_height = 50;
    ASSERT_EQ(copy(draw("crop.tif", crop, hilly), "cropped.tif").status, 0);
    EXPECT_EQ(loadPicture(path("cropped.tif")).spec.full_width, 60);
    EXPECT_EQ(loadPicture(path("cropped.tif")).spec.full_height, 50);
}

TEST_F(PictureWriting, TiffFilesEndAfterTheirOnlyDirectory) {
    ASSERT_EQ(copy(drawUsual("in.png", TypeDesc::UINT8), "out.tif").status, 0);
    const std::string file = contents(path("out.tif"));
    const auto little = [&](std::size_t at, int bytes) {
        std::size_t value = 0;
        for (int i = bytes - 1; i >= 0; --i) {
            value = value << 8 | static_cast<unsigned char>(file.at(at + static_cast<std::size_t>(i)));
        }
        return value;
    };
    const std::size_t directory = little(4, 4);
    const std::size_t end = directory + 2 + 12 * little(directory, 2);
    EXPECT_EQ(end + 4, file.size());
    EXPECT_EQ(little(end, 4), 0u);
}

TEST_F(PictureWriting, NothingIsLostWhenTheDiskIsNearlyFull) {
    using namespace std::string_literals;
    ImageSpec camera;
    camera.attribute("FNumber", 2.5f);
    const std::string photo = drawUsual("photo.jpg", TypeDesc::UINT8, 3, camera);
    for (const auto& [ending, compression] : {std::pair(".tif"s, "zip"s), {".tif", "none"}, {".exr", "zip"}}) {
        ASSERT_EQ(render(photo, path("whole" + ending), {"--compression", compression}).status, 0);
        const rlim_t size = fs::file_size(path("whole" + ending));
        for (const rlim_t less : {size / 2, size / 4, rlim_t{1}, rlim_t{60}, rlim_t{200}}) {
            const rlimit limit{size - less, size - less};
            const std::string cut = path("cut" + ending);
            const Outcome outcome = run({"render", photo, "-o", cut, "--compression", compression},
                                        [&] { setrlimit(RLIMIT_FSIZE, &limit); });
            EXPECT_EQ(outcome.status, kExitFailure) << cut << " " << compression << " " << less;
            EXPECT_FALSE(fs::exists(cut));
        }
    }
}

// ---- What a format cannot hold ----

TEST_F(PictureWriting, HdrGetsNoNegativeValues) {
    const std::string input = draw("in.exr", ImageSpec(40, 20, 3, TypeDesc::FLOAT),
                                   [](int x, int, int channel) { return channel == 0 && x < 20 ? -0.125f : 0.5f; });
    const std::string nothing =
        draw("nan.exr", ImageSpec(40, 20, 3, TypeDesc::FLOAT), [](int x, int, int) { return x == 7 ? NAN : 0.5f; });
    EXPECT_EQ(copy(nothing, "nan.hdr").err, noteOf("nan.hdr", "HDR holds no values below 0; they were written as 0"));
    EXPECT_EQ(loadPicture(path("nan.hdr")).values[3 * 7], 0.0f);
    EXPECT_EQ(copy(input, "out.hdr").err, noteOf("out.hdr", "HDR holds no values below 0; they were written as 0"));
    const PictureData written = loadPicture(path("out.hdr"));
    EXPECT_EQ(written.values[0], 0.0f);
    EXPECT_EQ(written.values[1], 0.5f);
    EXPECT_EQ(written.values[3 * 39], 0.5f);
    EXPECT_EQ(copy(draw("high.exr", ImageSpec(40, 20, 3, TypeDesc::FLOAT), hilly), "out.hdr").err, "");
}

TEST_F(PictureWriting, DepthsThatAFormatCannotHoldAreNamed) {
    const std::string deep = drawUsual("deep.exr", TypeDesc::FLOAT, 3);
    const auto reduced = [](const std::string& bits) {
        return "written with " + bits + " bits a channel, the most that the format holds";
    };
    EXPECT_EQ(copy(deep, "o.bmp").err, noteOf("o.bmp", reduced("8")));
    EXPECT_EQ(copy(deep, "o.png").err, noteOf("o.png", reduced("16")));
    EXPECT_EQ(copy(deep, "o.gif").err,
              noteOf("o.gif", reduced("8")) + noteOf("o.gif", "GIF holds at most 256 colours"));
    EXPECT_EQ(copy(deep, "o.tif").err, "");
    // What is said of the intensity source is said, too.
    const std::string guide = drawUsual("guide.png", TypeDesc::UINT8, 3);
    ImageSpec more(40, 30, 4, TypeDesc::FLOAT);
    more.channelnames = {"R", "G", "B", "Z"};
    const std::string layered = draw("layered.exr", more, hilly);
    EXPECT_EQ(copy(guide, "o.png", {"--intensity-source", layered}).err,
              "quorvel: note: " + layered + ": channels left out: Z\n");
}

TEST_F(PictureWriting, LossyWebpKeepsTheColoursOfTransparentPixels) {
    const std::string input = draw("in.png", ImageSpec(64, 32, 4, TypeDesc::UINT8), [](int x, int, int channel) {
        return channel == 3 ? (x < 32 ? 0.0f : 1.0f) : channel == 0 ? 0.8f : 0.4f;
    });
    ASSERT_EQ(copy(input, "lossy.webp").status, 0);
    ASSERT_EQ(copy(path("lossy.webp"), "out.png").status, 0);
    const PictureData out = loadPicture(path("out.png"));
    for (const std::size_t x : {std::size_t{5}, std::size_t{20}, std::size_t{50}}) {
        EXPECT_NEAR(out.values[4 * (64 * 10 + x)], 0.8f, 0.05f) << x;
        EXPECT_NEAR(out.values[4 * (64 * 10 + x) + 2], 0.4f, 0.05f) << x;
    }
}

TEST_F(PictureWriting, SizesThatAWriterCannotHandleAreRefused) {
    const auto refused = [&](const std::string& input, const std::string& output, const std::string& words) {
        expectFailure(copy(input, output), kExitFailure, words);
        EXPECT_FALSE(fs::exists(path(output)));
    };
    const auto grey = [](int, int, int) { return 0.5f; };
    refused(draw("small.png", ImageSpec(40, 31, 3, TypeDesc::UINT8), grey), "o.jp2",
            "JPEG 2000 files of less than 32 pixels in either direction are unsupported, and this has 40 x 31");
    ASSERT_EQ(copy(draw("just.png", ImageSpec(32, 32, 3, TypeDesc::UINT8), hilly), "o.jp2").status, 0);
    EXPECT_EQ(loadPicture(path("o.jp2")).values, loadPicture(path("just.png")).values);
    refused(draw("huge.ppm", ImageSpec(4100, 4100, 3, TypeDesc::UINT8), grey), "o.gif",
            "GIF files of more than 16.7 megapixels are unsupported, and this has 4100 x 4100");
    refused(draw("wide.png", ImageSpec(16384, 2, 3, TypeDesc::UINT8), grey), "o.webp",
            "WebP holds at most 16383 pixels");
}

TEST_F(PictureWriting, PgmIsGrey) {
    const std::string grey = draw("grey.png", ImageSpec(5, 2, 1, TypeDesc::UINT8),
                                  [](int x, int y, int) { return static_cast<float>(x + 10 * y) / 255.0f; });
    ASSERT_EQ(copy(grey, "o.pgm").status, 0);
    EXPECT_EQ(contents(path("o.pgm")), std::string("P5\n5 2\n255\n\0\1\2\3\4\x0A\x0B\x0C\x0D\x0E", 21));
    ASSERT_EQ(copy(grey, "o.ppm", {"--downsample", "4", "--depth", "16"}).status, 0);
    EXPECT_EQ(contents(path("o.ppm")), std::string("P6\n2 1\n65535\n\0\0\0\0\0\0\4\4\4\4\4\4", 25));
    expectFailure(copy(drawUsual("colour.png", TypeDesc::UINT8, 3), "o.pgm"), kExitFailure,
                  "o.pgm: cannot be written: PGM holds grey alone, and the picture has colour; use .ppm");
    const std::string blue = draw("blue.png", ImageSpec(5, 2, 3, TypeDesc::UINT8),
                                  [](int, int, int channel) { return channel == 2 ? 1.0f : 0.0f; });
    for (const std::string output : {"o.pgm", "O.PGM"}) {
        expectFailure(copy(blue, output), kExitFailure, "the picture has colour; use .ppm");
    }
    expectFailure(copy(grey, "o.pbm"), kExitUsage, "--output " + path("o.pbm"));
}

TEST(LibraryWriters, FailWithoutAWordWhenMemoryIsShort) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer takes more addresses than any limit";
#endif
    // Random bytes, because some writers compress, and one writes on while it is destroyed.
    test::Random random(3);
    host::World world(host::Depth::Bits8, 700, 700);
    std::generate(world.memory().begin(), world.memory().end(), [&] { return static_cast<std::byte>(random.bits()); });
    for (const std::string ending : {"tga", "bmp", "dpx"}) {
        int failed = 0;
        for (rlim_t further = 0; further <= 12; ++further) {
            const pid_t child = fork();
            if (child == 0) {
                const std::string name = "x";
                std::size_t pages = 0;
                std::ifstream("/proc/self/statm") >> pages;
                const rlim_t bytes = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + (further << 20U);
                const rlimit limit{bytes, bytes};
                std::vector<std::string> notes;
                const Format& format = *formatOfEnding("x." + ending);
                const EncodeRequest request{
                    world, format, name, ImageSpec(700, 700, 4, TypeDesc::UINT8), host::Depth::Bits8, notes};
                setrlimit(RLIMIT_AS, &limit);
                try {
                    encodeWithLibrary(request);
                } catch (const std::bad_alloc&) {
                    _exit(1);
                } catch (const std::exception&) {
                    _exit(2);
                }
                _exit(0);
            }
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status)) << ending << " with " << further << " MB: signal " << WTERMSIG(status);
            failed += WEXITSTATUS(status) != 0 ? 1 : 0;
        }
        if (failed == 0) {
            GTEST_SKIP() << "tests before it in this process left enough free memory; run it alone";
        }
    }
}

}  // namespace
}  // namespace quorvel::cli
