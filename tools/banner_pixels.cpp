// SPDX-License-Identifier: MIT
// Puts the header banner together from its layers, runs the effect over the strip, and writes the pixels as C++.
#include <png.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "effect/curve.h"
#include "effect/pictures/banner.h"
#include "effect/plain/render.h"

namespace quorvel {
namespace {

constexpr std::size_t kPixels = std::size_t{kBannerWidth} * kBannerHeight;

/// Straight alpha, channels as the kernels have them (A, R, G, B).
using Picture = std::vector<std::uint8_t>;

Picture readPng(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        throw std::runtime_error(path + ": " + image.message);
    }
    if (image.width != kBannerWidth || image.height != kBannerHeight) {
        png_image_free(&image);
        throw std::runtime_error(path + ": is " + std::to_string(image.width) + " by " + std::to_string(image.height) +
                                 " pixels, not " + std::to_string(kBannerWidth) + " by " +
                                 std::to_string(kBannerHeight));
    }
    image.format = PNG_FORMAT_ARGB;
    Picture pixels(kPixels * kChannelsPerPixel);
    if (png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) == 0) {
        throw std::runtime_error(path + ": " + image.message);
    }
    return pixels;
}

/// The effect with a grid of 16-pixel cells and an "Intensity Source"; everything else is at its default.
Picture mosaic(const Picture& source, const Picture& intensity) {
    Settings values{};
    values.channels = kLuminosity;
    values.mosaicIntensity = 0.25;
    values.gridWidth = kBannerWidth / 16;
    values.gridHeight = 1;
    values.maxIterations = 32;
    values.curveType = kLinearRampUp;

    Picture output(source.size());
    const auto view = []<typename T>(T* pixels) {
        return PixelView<T>{pixels, kBannerWidth, kBannerHeight, std::ptrdiff_t{kBannerWidth} * kChannelsPerPixel};
    };
    plain::render<Depth8>(view(output.data()), view(source.data()), values, {view(intensity.data())});
    return output;
}

/// `top` laid over `bottom`, straight alpha on both sides and in the result, rounded to nearest.
void layOver(Picture& bottom, const Picture& top) {
    for (std::size_t i = 0; i < bottom.size(); i += kChannelsPerPixel) {
        const int topWeight = top[i + kChannelA] * 255;
        const int bottomWeight = bottom[i + kChannelA] * (255 - top[i + kChannelA]);
        const int weight = topWeight + bottomWeight;  // 255 times the resulting alpha
        if (weight == 0) {
            continue;
        }
        for (const std::size_t c : {i + kChannelR, i + kChannelG, i + kChannelB}) {
            bottom[c] =
                static_cast<std::uint8_t>((top[c] * topWeight + bottom[c] * bottomWeight + weight / 2) / weight);
        }
        bottom[i + kChannelA] = static_cast<std::uint8_t>((weight + 127) / 255);
    }
}

void printSource(const Picture& picture) {
    std::fputs(
        "// SPDX-License-Identifier: MIT\n"
        "// Made by scripts/banner from effect/pictures/banner.svg; edit that and run the script.\n"
        "#include \"effect/pictures/banner.h\"\n\n"
        "namespace quorvel {\n\n"
        "// clang-format off\n"
        "const unsigned char bannerPixels[] = {\n",
        stdout);
    std::string line;
    for (std::size_t i = 0; i < picture.size(); i += kChannelsPerPixel) {
        for (const int channel : {kChannelB, kChannelG, kChannelR, kChannelA}) {
            const std::string number = std::to_string(picture[i + static_cast<std::size_t>(channel)]) + ",";
            if (line.size() + number.size() > 120) {
                std::puts(line.c_str());
                line.clear();
            }
            line += number;
        }
    }
    std::puts(line.c_str());
    std::fputs("};\n// clang-format on\n\n}  // namespace quorvel\n", stdout);
}

void run(const std::string& layers) {
    Picture banner = mosaic(readPng(layers + "/picture.png"), readPng(layers + "/intensity.png"));
    const Picture fade = readPng(layers + "/fade.png");
    for (std::size_t i = kChannelA; i < banner.size(); i += kChannelsPerPixel) {
        banner[i] = fade[i];
    }
    layOver(banner, readPng(layers + "/lettering.png"));
    printSource(banner);
}

}  // namespace
}  // namespace quorvel

int main(int argc, char* argv[]) {
    if (argc != 2) {
        std::fputs("usage: banner_pixels LAYERS_DIRECTORY >banner_pixels.cpp\n", stderr);
        return 2;
    }
    try {
        quorvel::run(argv[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "banner_pixels: %s\n", error.what());
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
