// SPDX-License-Identifier: MIT
#include "bench/pictures.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <tuple>

#include "cli/pictures/read.h"
#include "effect/depth.h"
#include "effect/pixels.h"

namespace quorvel::bench {

namespace {

/// Both photographs' files, and what was read of them.
struct Photograph {
    std::filesystem::path file;
    std::optional<host::World> world;
};
Photograph& photographOf(Content content) {
    static Photograph photographs[2];
    return photographs[content == Content::OtherPhotograph ? 1 : 0];
}

/// Bilinear, from the photograph in float.
double scaled(const host::World& photograph, double x, double y, int channel) {
    const double column = std::clamp(x * photograph.width() - 0.5, 0.0, photograph.width() - 1.0);
    const double row = std::clamp(y * photograph.height() - 0.5, 0.0, photograph.height() - 1.0);
    const int left = static_cast<int>(column);
    const int top = static_cast<int>(row);
    const auto at = [&](int px, int py) {
        return static_cast<double>(photograph.channels<float>(
            std::min(py, photograph.height() - 1))[std::min(px, photograph.width() - 1) * kChannelsPerPixel + channel]);
    };
    const double across = column - left;
    const double down = row - top;
    return (at(left, top) * (1 - across) + at(left + 1, top) * across) * (1 - down) +
           (at(left, top + 1) * (1 - across) + at(left + 1, top + 1) * across) * down;
}

template <typename Depth>
void paint(host::World& world, Content content) {
    using T = typename Depth::Channel;
    std::mt19937 random(1);
    const bool isPhotograph = content == Content::Photograph || content == Content::OtherPhotograph;
    Photograph& photograph = photographOf(content);
    if (isPhotograph && !photograph.world) {
        cli::ReadSettings settings;
        settings.depth = host::Depth::Float32;
        photograph.world = std::move(cli::readPicture(photograph.file, settings).world);
    }
    for (int y = 0; y < world.height(); ++y) {
        T* pixel = world.channels<T>(y);
        for (int x = 0; x < world.width(); ++x, pixel += kChannelsPerPixel) {
            for (int c = 0; c < kChannelsPerPixel; ++c) {
                double value = 0.4;
                if (content == Content::Gradient) {
                    value = static_cast<double>(x + y) / (world.width() + world.height());
                } else if (content == Content::Noise) {
                    value = static_cast<double>(random()) / 4294967295.0;
                } else if (isPhotograph) {
                    value = scaled(*photograph.world, (x + 0.5) / world.width(), (y + 0.5) / world.height(), c);
                }
                pixel[c] = static_cast<T>(std::clamp(value, 0.0, 1.0) * static_cast<double>(Depth::kWhite));
            }
        }
    }
}

}  // namespace

const char* nameOf(Content content) {
    switch (content) {
        case Content::Photograph:
            return "photograph";
        case Content::OtherPhotograph:
            return "other photograph";
        case Content::Flat:
            return "flat";
        case Content::Gradient:
            return "gradient";
        default:
            return "noise";
    }
}

void setPhotographs(const std::filesystem::path& first, const std::filesystem::path& other) {
    photographOf(Content::Photograph).file = first;
    photographOf(Content::OtherPhotograph).file = other;
}

const host::World& picture(Content content, host::Depth depth, int width, int height) {
    using Key = std::tuple<Content, host::Depth, int, int>;
    static std::map<Key, host::World> pictures;
    const Key key{content, depth, width, height};
    const auto found = pictures.find(key);
    if (found != pictures.end()) {
        return found->second;
    }
    host::World world(depth, width, height);
    switch (depth) {
        case host::Depth::Bits8:
            paint<Depth8>(world, content);
            break;
        case host::Depth::Bits16:
            paint<Depth16>(world, content);
            break;
        default:
            paint<DepthFloat>(world, content);
            break;
    }
    return pictures.emplace(key, std::move(world)).first->second;
}

}  // namespace quorvel::bench
