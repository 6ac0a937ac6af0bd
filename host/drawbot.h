// SPDX-License-Identifier: MIT
// Drawing surfaces and the images that a module draws on them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "host/ledger.h"
#include "host/world.h"
#include "sdk/drawbot.h"

namespace quorvel::host {

/// A picture handed over by a module: rows of blue, green, red, alpha bytes without gaps, straight alpha.
struct DrawImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// What a draw event draws on: straight-alpha 8-bit pixels, at first the given one throughout.
class Surface {
public:
    /// Throws HostError for sizes that a World refuses.
    Surface(int width, int height, PF_Pixel8 background = {});

    int width() const { return world_.width(); }
    int height() const { return world_.height(); }
    PF_Pixel8& at(int x, int y) { return reinterpret_cast<PF_Pixel8*>(world_.row(y))[x]; }
    const PF_Pixel8& at(int x, int y) const { return reinterpret_cast<const PF_Pixel8*>(world_.row(y))[x]; }
    const World& world() const { return world_; }

    /// Lays the image over the surface with its top left at the pixel nearest to (x, y), halves towards right and
    /// bottom; what lies outside is cut off. `opacity`, 0 to 1, weakens the image's alpha.
    /// With s the image's alpha after that, d the surface's, both 0 to 255, and every division rounded to nearest:
    /// alpha = s + d (255 - s) / 255, colour = (s 255 image + d (255 - s) surface) / (255 alpha).
    /// So an image at full opacity on a fully transparent surface is copied bit by bit.
    void draw(const DrawImage& image, float x, float y, float opacity);

private:
    World world_;
};

/// The images of one host, each with its count of references. Safe to use from several threads.
class DrawImages {
public:
    explicit DrawImages(Ledger& ledger) : ledger_(ledger) {}
    DrawImages(const DrawImages&) = delete;
    DrawImages& operator=(const DrawImages&) = delete;

    /// A new object with one reference, which the module has to release.
    DRAWBOT_ImageRef create(DrawImage image);
    /// False when there is no such object.
    bool retain(DRAWBOT_ObjectRef object);
    bool release(DRAWBOT_ObjectRef object);
    /// Null when there is no such object.
    std::shared_ptr<const DrawImage> find(DRAWBOT_ImageRef image) const;

private:
    struct Entry {
        std::shared_ptr<const DrawImage> image;
        int references = 1;
    };
    Ledger& ledger_;
    mutable std::mutex mutex_;
    std::unordered_map<const void*, Entry> entries_;
};

}  // namespace quorvel::host
