// SPDX-License-Identifier: MIT
// A drawn landscape with what a mosaic of this kind reacts to differently: smooth sky, hard edges against it, regular
// detail (windows), fine texture (grass) and thin strokes (a sign). Nothing is random, so that drawing again gives the
// same.
#pragma once

#include <cstdint>
#include <vector>

namespace quorvel {

struct Colour {
    double red = 0, green = 0, blue = 0;
};

/// Light and place of one picture. Heights and widths are in units of the picture's height, y downwards.
struct Mood {
    Colour zenith, horizon, sun, glow;
    double sunX, sunY, sunRadius;
    Colour cloud;
    double cloudiness;
    double stars;
    Colour farRidge, nearRidge, wall, litWindow, darkWindow, grass, board, lettering;
    double windowsLit;  ///< the share of windows with light
    std::uint32_t seed;
};

extern const Mood kEvening;
extern const Mood kMorning;
/// Lamps, the moon and the sign are brighter than white.
extern const Mood kNight;

/// R, G, B and A of `width` x `height` pixels, row by row; 0 to 1, but for what is brighter than white. The alpha is
/// full on the ground, thins out towards the top of the sky, and cuts the corners round.
std::vector<float> drawLandscape(int width, int height, const Mood& mood);

}  // namespace quorvel
