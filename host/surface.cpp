// SPDX-License-Identifier: MIT
#include "host/surface.h"

#include <algorithm>
#include <cmath>

namespace quorvel::host {

namespace {

constexpr int kPixelBytes = 4;

std::uint8_t roundedQuotient(int numerator, int denominator) {
    return static_cast<std::uint8_t>((numerator + denominator / 2) / denominator);
}

PF_Pixel8 over(const std::uint8_t* image, int alpha, const PF_Pixel8& below) {
    const int weight = alpha * 255;
    const int belowWeight = below.alpha * (255 - alpha);
    const int sum = weight + belowWeight;
    if (sum == 0) {
        return {0, image[2], image[1], image[0]};
    }
    const auto mix = [&](int top, int bottom) { return roundedQuotient(top * weight + bottom * belowWeight, sum); };
    return {roundedQuotient(sum, 255), mix(image[2], below.red), mix(image[1], below.green), mix(image[0], below.blue)};
}

}  // namespace

Surface::Surface(int width, int height, PF_Pixel8 background) : world_(Depth::Bits8, width, height) {
    for (int y = 0; y < height; ++y) {
        std::fill_n(&at(0, y), width, background);
    }
}

void Surface::draw(const DrawImage& image, float x, float y, float opacity) {
    const double left = std::floor(static_cast<double>(x) + 0.5);
    const double top = std::floor(static_cast<double>(y) + 0.5);
    // Comes before the conversion to integers, and a position that is not a number fails it too.
    if (!(left > -image.width && left < width() && top > -image.height && top < height())) {
        return;
    }
    const int originX = static_cast<int>(left);
    const int originY = static_cast<int>(top);
    const double strength = std::clamp(static_cast<double>(opacity), 0.0, 1.0);
    for (int row = std::max(0, -originY); row < std::min(image.height, height() - originY); ++row) {
        for (int column = std::max(0, -originX); column < std::min(image.width, width() - originX); ++column) {
            const std::uint8_t* pixel =
                image.pixels.data() + (static_cast<std::size_t>(row) * static_cast<std::size_t>(image.width) +
                                       static_cast<std::size_t>(column)) *
                                          kPixelBytes;
            PF_Pixel8& target = at(originX + column, originY + row);
            target = over(pixel, static_cast<int>(std::lround(pixel[3] * strength)), target);
        }
    }
}

}  // namespace quorvel::host
