// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "host/world.h"

namespace quorvel::host {

/// A picture that a module passed to the host: rows of blue, green, red, alpha bytes without gaps, straight alpha.
struct DrawImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// The pixels that a draw event draws on: 8 bits a channel, straight alpha.
class Surface {
public:
    /// Fills the surface with `background`. Throws HostError for sizes that a World refuses.
    Surface(int width, int height, PF_Pixel8 background = {});

    int width() const { return world_.width(); }
    int height() const { return world_.height(); }
    PF_Pixel8& at(int x, int y) { return reinterpret_cast<PF_Pixel8*>(world_.row(y))[x]; }
    const PF_Pixel8& at(int x, int y) const { return reinterpret_cast<const PF_Pixel8*>(world_.row(y))[x]; }
    const World& world() const { return world_; }

    /// Draws the image over the surface with its top left at the pixel nearest to (x, y); halves round to the right and
    /// down. Parts outside the surface are cut off. `opacity`, 0 to 1, multiplies the image's alpha.
    /// With s the image's alpha after that, d the surface's, both 0 to 255, and every division rounded to nearest:
    /// alpha = s + d (255 - s) / 255, colour = (s 255 image + d (255 - s) surface) / (255 alpha).
    /// So an image at full opacity on a fully transparent surface is copied bit by bit.
    void draw(const DrawImage& image, float x, float y, float opacity);

private:
    World world_;
};

}  // namespace quorvel::host
