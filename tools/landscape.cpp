// SPDX-License-Identifier: MIT
#include "tools/landscape.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace quorvel {
namespace {

Colour operator+(Colour a, Colour b) {
    return {a.red + b.red, a.green + b.green, a.blue + b.blue};
}
Colour operator*(Colour c, double factor) {
    return {c.red * factor, c.green * factor, c.blue * factor};
}
Colour mix(Colour a, Colour b, double amount) {
    return a * (1 - amount) + b * amount;
}

/// 0 below `from`, 1 above `to`, smooth between.
double smoothStep(double from, double to, double x) {
    const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

/// A fixed pattern of values of 0 to 1 for whole-numbered places.
double speckle(std::int64_t x, std::int64_t y, std::uint32_t seed) {
    auto mixed =
        static_cast<std::uint32_t>(x) * 0x8DA6B343u ^ static_cast<std::uint32_t>(y) * 0xD8163841u ^ seed * 0xCB1AB31Fu;
    mixed = (mixed ^ (mixed >> 15)) * 0x2C1B3C6Du;
    mixed = (mixed ^ (mixed >> 12)) * 0x297A2D39u;
    return static_cast<double>(mixed ^ (mixed >> 15)) / 4294967295.0;
}

/// The speckle made smooth by interpolation.
double noise(double x, double y, std::uint32_t seed) {
    const double left = std::floor(x);
    const double top = std::floor(y);
    const auto column = static_cast<std::int64_t>(left);
    const auto row = static_cast<std::int64_t>(top);
    const double u = smoothStep(0, 1, x - left);
    const double v = smoothStep(0, 1, y - top);
    return std::lerp(std::lerp(speckle(column, row, seed), speckle(column + 1, row, seed), u),
                     std::lerp(speckle(column, row + 1, seed), speckle(column + 1, row + 1, seed), u), v);
}

/// Noise of several sizes on top of each other, 0 to 1.
double turbulence(double x, double y, std::uint32_t seed, int octaves) {
    double sum = 0;
    double weight = 0.5;
    for (int octave = 0; octave < octaves; ++octave, weight /= 2, x *= 2, y *= 2) {
        sum += weight * noise(x, y, seed + static_cast<std::uint32_t>(octave));
    }
    return sum;
}

/// The word on the sign as pen strokes: polylines in letters' units, x to the right, y downwards, 0 to 1 high.
using Stroke = std::vector<std::array<double, 2>>;

Stroke arc(double x, double y, double radiusX, double radiusY, double fromDegrees, double toDegrees) {
    Stroke stroke;
    constexpr int pieces = 14;
    for (int i = 0; i <= pieces; ++i) {
        const double angle = std::lerp(fromDegrees, toDegrees, i / double{pieces}) * std::numbers::pi / 180;
        stroke.push_back({x + radiusX * std::cos(angle), y + radiusY * std::sin(angle)});
    }
    return stroke;
}

constexpr double kWordWidth = 4.0;

const std::vector<Stroke>& word() {
    static const std::vector<Stroke> strokes = [] {
        std::vector<Stroke> list;
        list.push_back(arc(0.40, 0.50, 0.40, 0.50, 0, 360));  // Q
        list.push_back({{0.50, 0.72}, {0.82, 1.04}});
        Stroke u{{1.02, 0.36}};
        const Stroke bowl = arc(1.25, 0.77, 0.23, 0.23, 180, 0);
        u.insert(u.end(), bowl.begin(), bowl.end());
        u.push_back({1.48, 0.36});
        list.push_back(u);
        list.push_back({{1.48, 0.36}, {1.48, 1.00}});
        list.push_back(arc(1.96, 0.68, 0.29, 0.32, 0, 360));  // o
        list.push_back({{2.46, 0.36}, {2.46, 1.00}});         // r
        list.push_back(arc(2.66, 0.58, 0.20, 0.22, 180, 300));
        list.push_back({{2.86, 0.36}, {3.07, 1.00}, {3.28, 0.36}});  // v
        Stroke e{{3.40, 0.67}, {3.87, 0.67}};
        const Stroke loop = arc(3.635, 0.68, 0.235, 0.32, 0, -310);
        e.insert(e.end(), loop.begin(), loop.end());
        list.push_back(e);
        list.push_back({{4.06, 0.00}, {4.06, 1.00}});  // l
        return list;
    }();
    return strokes;
}

/// The distance of a point to the nearest stroke of the word.
double distanceToWord(double x, double y) {
    double nearest = 1e9;
    for (const Stroke& stroke : word()) {
        for (std::size_t i = 0; i + 1 < stroke.size(); ++i) {
            const double dx = stroke[i + 1][0] - stroke[i][0];
            const double dy = stroke[i + 1][1] - stroke[i][1];
            const double along = ((x - stroke[i][0]) * dx + (y - stroke[i][1]) * dy) / (dx * dx + dy * dy);
            const double t = std::clamp(along, 0.0, 1.0);
            nearest = std::min(nearest, std::hypot(x - stroke[i][0] - t * dx, y - stroke[i][1] - t * dy));
        }
    }
    return nearest;
}

double ridge(double x, double base, double height, double scale, std::uint32_t seed) {
    return base - height * turbulence(x * scale, 0.5, seed, 5);
}

Colour sky(double x, double y, const Mood& mood) {
    Colour colour = mix(mood.zenith, mood.horizon, smoothStep(-0.05, 0.72, y));
    const double distance = std::hypot(x - mood.sunX, y - mood.sunY);
    colour = colour + mood.glow * std::exp(-distance * 4.5);
    const double bank = turbulence(x * 2.2 + 3, y * 9, mood.seed + 70, 5);
    colour = mix(colour, mood.cloud, mood.cloudiness * smoothStep(0.48, 0.72, bank));
    if (distance < mood.sunRadius) {
        colour = mood.sun;
    }
    const double star = speckle(static_cast<std::int64_t>(x * 260), static_cast<std::int64_t>(y * 260), mood.seed);
    return star > 0.9985 ? colour + Colour{1, 1, 0.9} * (mood.stars * (star - 0.9985) / 0.0015) : colour;
}

constexpr double kSignLeft = 0.96;
constexpr double kSignTop = 0.265;
constexpr double kSignWidth = 0.56;
constexpr double kSignHeight = 0.165;

/// The sign's board; false where it is not.
bool signBoard(double x, double y, const Mood& mood, Colour& colour) {
    const double u = (x - kSignLeft) / kSignWidth;
    const double v = (y - kSignTop) / kSignHeight;
    if (u < 0 || u > 1 || v < 0 || v > 1) {
        return false;
    }
    const double unit = kSignWidth / (kWordWidth + 0.9);  // one letter height, in picture heights
    const double wordX = (x - kSignLeft) / unit - 0.42;
    const double wordY = (y - kSignTop) / unit - (kSignHeight / unit - 1) / 2;
    const double distance = distanceToWord(wordX, wordY);
    const bool frame = u < 0.012 || u > 0.988 || v < 0.045 || v > 0.955;
    colour =
        frame || distance < 0.075 ? mood.lettering : mood.board + mood.lettering * (0.18 * std::exp(-distance * 7));
    return true;
}

/// The sign's two posts, which stand behind the houses.
bool signPosts(double x, double y, const Mood& mood, Colour& colour) {
    const double u = (x - kSignLeft) / kSignWidth;
    colour = mood.board * 0.6;
    return y > kSignTop && (std::abs(u - 0.18) < 0.012 || std::abs(u - 0.82) < 0.012);
}

/// A row of houses, each as wide as the pattern says; false above the roofs.
bool houses(double x, double y, double ground, const Mood& mood, Colour& colour) {
    constexpr double plot = 0.135;
    const auto number = static_cast<std::int64_t>(std::floor(x / plot));
    const double within = x - static_cast<double>(number) * plot;
    const double width = plot * (0.78 + 0.22 * speckle(number, 1, mood.seed));
    const double roof = ground - 0.09 - 0.24 * speckle(number, 2, mood.seed);
    if (within > width || y < roof) {
        return false;
    }
    const double shade = 0.75 + 0.5 * speckle(number, 3, mood.seed);
    colour = mood.wall * shade;
    const double column = within / 0.0225;
    const double floor = (y - roof) / 0.034;
    const double columnPart = column - std::floor(column);
    const double floorPart = floor - std::floor(floor);
    const bool margin = within < 0.010 || within > width - 0.012 || y < roof + 0.02;
    if (!margin && columnPart > 0.3 && columnPart < 0.78 && floorPart > 0.3 && floorPart < 0.8) {
        const double chance =
            speckle(number * 31 + static_cast<std::int64_t>(column), static_cast<std::int64_t>(floor), mood.seed + 9);
        colour = chance < mood.windowsLit ? mood.litWindow * (0.6 + 0.8 * chance / mood.windowsLit) : mood.darkWindow;
    }
    return true;
}

Colour grass(double x, double y, double ground, const Mood& mood) {
    const double depth = (y - ground) / (1 - ground);
    const double blades = speckle(static_cast<std::int64_t>(x * 420), static_cast<std::int64_t>(y * 150), mood.seed);
    const double patches = turbulence(x * 6, y * 14, mood.seed + 40, 4);
    return mood.grass * (0.35 + 0.5 * blades * (0.4 + 0.6 * depth) + 0.9 * patches * (0.5 + 0.5 * depth));
}

/// The picture at a point, and whether the point is open sky.
Colour scene(double x, double y, const Mood& mood, bool& isSky) {
    const double ground = 0.80 + 0.02 * std::sin(x * 3 + mood.seed);
    isSky = false;
    Colour colour;
    if (y > ground) {
        return grass(x, y, ground, mood);
    }
    if (signBoard(x, y, mood, colour)) {
        return colour;
    }
    if (x > 0.42 && houses(x, y, ground, mood, colour)) {
        return colour;
    }
    if (signPosts(x, y, mood, colour)) {
        return colour;
    }
    const double nearTop = ridge(x, 0.82, 0.36, 2.1, mood.seed + 20);
    const double farTop = ridge(x, 0.74, 0.52, 1.1, mood.seed + 30);
    if (y > nearTop) {
        return mood.nearRidge * (0.8 + 0.5 * turbulence(x * 18, y * 18, mood.seed + 50, 3));
    }
    if (y > farTop) {
        return mix(mood.farRidge, mood.horizon, 0.5 * smoothStep(farTop, 0.8, y));
    }
    isSky = true;
    return sky(x, y, mood);
}

constexpr int kSubSamples = 4;  ///< in each direction, for smooth edges

}  // namespace

const Mood kEvening{.zenith = {0.16, 0.20, 0.44},
                    .horizon = {0.98, 0.58, 0.30},
                    .sun = {1.0, 0.93, 0.70},
                    .glow = {0.55, 0.28, 0.05},
                    .sunX = 0.36,
                    .sunY = 0.40,
                    .sunRadius = 0.062,
                    .cloud = {0.86, 0.42, 0.42},
                    .cloudiness = 0.75,
                    .stars = 0,
                    .farRidge = {0.38, 0.25, 0.42},
                    .nearRidge = {0.20, 0.14, 0.26},
                    .wall = {0.25, 0.18, 0.24},
                    .litWindow = {1.0, 0.80, 0.40},
                    .darkWindow = {0.12, 0.10, 0.18},
                    .grass = {0.34, 0.30, 0.14},
                    .board = {0.16, 0.10, 0.16},
                    .lettering = {0.98, 0.88, 0.66},
                    .windowsLit = 0.45,
                    .seed = 11};

const Mood kMorning{.zenith = {0.22, 0.47, 0.80},
                    .horizon = {0.86, 0.93, 0.97},
                    .sun = {1.0, 0.99, 0.92},
                    .glow = {0.25, 0.20, 0.10},
                    .sunX = 0.70,
                    .sunY = 0.14,
                    .sunRadius = 0.045,
                    .cloud = {1.0, 1.0, 1.0},
                    .cloudiness = 0.9,
                    .stars = 0,
                    .farRidge = {0.48, 0.58, 0.70},
                    .nearRidge = {0.25, 0.40, 0.33},
                    .wall = {0.72, 0.58, 0.47},
                    .litWindow = {0.88, 0.95, 1.0},
                    .darkWindow = {0.22, 0.28, 0.34},
                    .grass = {0.40, 0.62, 0.20},
                    .board = {0.80, 0.16, 0.14},
                    .lettering = {1.0, 0.97, 0.90},
                    .windowsLit = 0.3,
                    .seed = 5};

const Mood kNight{.zenith = {0.010, 0.014, 0.045},
                  .horizon = {0.070, 0.090, 0.190},
                  .sun = {2.6, 2.6, 2.4},
                  .glow = {0.13, 0.14, 0.17},
                  .sunX = 0.42,
                  .sunY = 0.20,
                  .sunRadius = 0.050,
                  .cloud = {0.10, 0.11, 0.16},
                  .cloudiness = 0.6,
                  .stars = 1.6,
                  .farRidge = {0.030, 0.036, 0.075},
                  .nearRidge = {0.014, 0.018, 0.034},
                  .wall = {0.030, 0.028, 0.040},
                  .litWindow = {3.2, 1.9, 0.7},
                  .darkWindow = {0.012, 0.014, 0.024},
                  .grass = {0.035, 0.055, 0.040},
                  .board = {0.02, 0.02, 0.03},
                  .lettering = {5.5, 0.9, 2.4},
                  .windowsLit = 0.4,
                  .seed = 27};

std::vector<float> drawLandscape(int width, int height, const Mood& mood) {
    std::vector<float> pixels;
    pixels.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    const double aspect = static_cast<double>(width) / height;
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            Colour sum;
            double alpha = 0;
            for (int sample = 0; sample < kSubSamples * kSubSamples; ++sample) {
                const double y = (row + (sample / kSubSamples + 0.5) / kSubSamples) / height;
                const double x = (column + (sample % kSubSamples + 0.5) / kSubSamples) / height;
                bool isSky = false;
                sum = sum + scene(x, y, mood, isSky);
                constexpr double corner = 0.09;
                const double dx = std::max({corner - x, x - (aspect - corner), 0.0});
                const double dy = std::max({corner - y, y - (1 - corner), 0.0});
                if (std::hypot(dx, dy) < corner) {
                    alpha += isSky ? 0.25 + 0.75 * smoothStep(0.0, 0.6, y) : 1.0;
                }
            }
            constexpr double share = 1.0 / (kSubSamples * kSubSamples);
            for (const double value : {sum.red * share, sum.green * share, sum.blue * share, alpha * share}) {
                pixels.push_back(static_cast<float>(value));
            }
        }
    }
    return pixels;
}

}  // namespace quorvel
