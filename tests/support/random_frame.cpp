// SPDX-License-Identifier: MIT
#include "tests/support/random_frame.h"

#include <algorithm>
#include <limits>
#include <sstream>
#include <type_traits>
#include <utility>
#include <vector>

#include "effect/curve_table.h"
#include "effect/depth.h"
#include "tests/support/model.h"
#include "tests/support/random.h"

namespace quorvel::test {

namespace {

/// Draws one thing a statement wherever the order of evaluation is each compiler's own.
template <typename Depth>
class FrameMaker {
public:
    using T = typename Depth::Channel;

    FrameMaker(std::uint64_t seed, FrameFor use) : seed_(seed), forHosts_(use == FrameFor::Hosts), random_(seed) {}

    RandomFrame<Depth> anyFrame() {
        chooseSize();
        const bool largeCells = !forHosts_ && chooseLargeCells();
        chooseSettings();
        if (largeCells) {
            enlargeCells();
        }
        if (forHosts_) {
            chooseHostSettings();
        }
        RandomFrame<Depth> frame = withPictures(true);
        addLayer(frame);
        return frame;
    }

    RandomFrame<Depth> cell(std::int32_t width, std::int32_t height) {
        width_ = width;
        height_ = height;
        chooseSettings();
        settings_.gridWidth = settings_.gridHeight = 1;
        settings_.maxIterations = 32;
        return withPictures(false);
    }

private:
    std::uint64_t seed_;
    bool forHosts_;
    Random random_;
    std::int32_t width_ = 0;
    std::int32_t height_ = 0;
    Settings settings_{};

    std::int32_t between(std::int32_t low, std::int32_t high) { return random_.between(low, high); }
    bool chance(double probability) { return random_.chance(probability); }
    double uniform(double low, double high) { return random_.uniform(low, high); }

    void chooseSize() {
        if (forHosts_) {
            width_ = chance(0.1) ? 1 : between(1, 70);
            height_ = chance(0.1) ? 1 : between(1, 50);
            return;
        }
        width_ = between(1, chance(0.3) ? 24 : 200);
        height_ = between(1, chance(0.3) ? 24 : 200);
        if (chance(0.05)) {
            width_ = between(200, 900);
            height_ = between(100, 600);
        }
    }

    /// True for frames of few, large cells.
    bool chooseLargeCells() {
        if (chance(0.06)) {
            width_ = between(257, 700);
            height_ = between(100, 500);
            return true;
        }
        if (chance(0.04)) {  // rows of cells that have to be done in several goes
            width_ = between(500, 5000);
            height_ = between(1, 40);
        }
        return false;
    }

    void chooseSettings() {
        settings_.channels = chance(0.4) ? 0 : between(chance(0.02) ? -1 : 0, 5);
        settings_.mosaicIntensity = chance(0.4) ? 0.25 : uniform(0.0, chance(0.5) ? 1.0 : 0.1);
        if (chance(0.05)) {
            settings_.mosaicIntensity = between(0, 1);
        }
        if (chance(0.02)) {
            settings_.mosaicIntensity = uniform(-1.0, 2.0);
        }
        const auto cells = [&](std::int32_t length) {
            return between(1, chance(0.1) ? length + 5 : std::max(1, length / between(3, 60)));
        };
        settings_.gridWidth = chance(0.02) ? 0 : cells(width_);
        settings_.gridHeight = chance(0.02) ? 0 : cells(height_);
        if (chance(0.5)) {  // about square cells
            settings_.gridHeight = std::max(1, settings_.gridWidth * height_ / width_);
        }
        settings_.maxIterations = chance(0.6) ? 32 : between(-1, 6);
        if (chance(0.02)) {
            using Limits = std::numeric_limits<std::int32_t>;
            settings_.maxIterations = chance(0.5) ? Limits::min() : Limits::max();
        }
        settings_.curveType = chance(0.3) ? 0 : between(0, chance(0.05) ? 6 : 5);
        if (!chance(0.5)) {
            settings_.curvePhase = between(-400, 800) * 65536;
            settings_.curvePhase += between(0, 65535);
        }
        settings_.curvePhaseSplit = chance(0.5) ? 0 : between(-400, 400) * 65536;
        settings_.curveSmoothness = chance(0.7) ? 0.0 : uniform(0.0, 0.3);
        if (chance(0.1)) {
            // A threshold that the curve reaches, though not passes, somewhere.
            const CurveTable<Depth> table(settings_);
            const auto value = static_cast<double>(table.base()[between(0, model::Numbers<T>::samples - 1)]);
            settings_.mosaicIntensity = std::is_floating_point_v<T> ? value : (value + 0.5) / kFull;
        }
    }

    void enlargeCells() {
        settings_.gridWidth = between(1, std::max(1, width_ / 280));
        settings_.gridHeight = between(1, std::max(1, height_ / 180));
        settings_.maxIterations = chance(0.5) ? 32 : between(-1, 9);
        if (chance(0.3)) {
            settings_.channels = kRGB;
        }
        if (chance(0.5)) {  // much contrast is enough to tell, whatever else there is
            settings_.curveType = random_.oneOf<CurveType>({kLinearRampUp, kLinearRampUp, kExpUp, kLinearRampDown});
            settings_.curvePhase = settings_.curvePhaseSplit = 0;
            settings_.curveSmoothness = 0.0;
            settings_.mosaicIntensity = uniform(0.0, 0.1);
        }
    }

    /// Settings that travel through a host: choices that do not exist, and whatever its fixed-point numbers hold.
    void chooseHostSettings() {
        if (chance(0.12)) {
            settings_.channels = random_.oneOf({-1, 6});
        }
        if (chance(0.12)) {
            settings_.curveType = random_.oneOf({-1, 6});
        }
        if (chance(0.35)) {
            settings_.mosaicIntensity = between(0, 1);
        }
        if (chance(0.5)) {
            settings_.gridWidth = chance(0.7) ? between(-1, 6) : between(7, 32);
            settings_.gridHeight = chance(0.7) ? between(-1, 6) : between(7, 32);
        }
        settings_.maxIterations = std::clamp(settings_.maxIterations, -1, 32);
        if (chance(0.3)) {
            settings_.curvePhase = between(-1500 * 65536, 1500 * 65536);
            settings_.curvePhaseSplit = between(-1500 * 65536, 1500 * 65536);
        }
        if (chance(0.1)) {
            settings_.curveSmoothness = uniform(0.0, 0.6);
        }
    }

    RandomFrame<Depth> withPictures(bool mayBeInPlace) {
        GuardedPicture<T> source = randomPicture(width_, height_);
        if (mayBeInPlace && chance(0.25)) {
            GuardedPicture<T> output = source.clone();
            return {seed_, settings_, true, 0, 0, std::move(source), std::move(output), std::nullopt};
        }
        return {seed_, settings_, false, 0, 0, std::move(source), randomPicture(width_, height_), std::nullopt};
    }

    void addLayer(RandomFrame<Depth>& frame) {
        if (forHosts_) {
            frame.originX = random_.oneOf({0, 0, 3, -2});
            frame.originY = random_.oneOf({0, 0, 5, -1});
        }
        if (chance(0.5)) {
            return;
        }
        std::int32_t width = width_;
        std::int32_t height = height_;
        switch (between(0, 9)) {
            case 0:
            case 1:
            case 2:
                width += between(0, 20);
                height += between(0, 20);
                if (!forHosts_ || chance(0.5)) {
                    frame.originX = between(0, width - width_ + (chance(0.2) ? 1 : 0));
                    frame.originY = between(-1, height - height_);
                }
                break;
            case 3:
            case 4:
            case 5:
                if (forHosts_ && chance(0.6)) {
                    width = between(1, width_);
                    height = between(1, height_);
                } else {
                    width = between(1, forHosts_ ? 100 : 300);
                    height = between(1, forHosts_ ? 100 : 300);
                }
                break;
            case 6:
                if (!forHosts_) {
                    chooseHugeLayer(frame, width, height);
                }
                break;
            default:
                break;
        }
        frame.layer.emplace(randomPicture(width, height));
    }

    /// About 32768 pixels wide or high, where 16.16 positions wrap around; now and then.
    void chooseHugeLayer(RandomFrame<Depth>& frame, std::int32_t& width, std::int32_t& height) {
        if (chance(0.1)) {
            width = between(32760, 33000);
            height = between(1, 2);
        } else if (chance(0.1)) {
            width = between(1, 2);
            height = between(32760, 33000);
        } else if (chance(0.5) && height_ <= 8) {
            width = between(32760, 33000);
            frame.originX = chance(0.5) ? width - width_ : between(0, width - width_);
        } else if (chance(0.5) && width_ <= 24) {
            height = between(32760, 33000);
            frame.originY = chance(0.5) ? height - height_ : between(0, height - height_);
        }
    }

    GuardedPicture<T> randomPicture(std::int32_t width, std::int32_t height) {
        std::ptrdiff_t stride = static_cast<std::ptrdiff_t>(width) * kChannelsPerPixel;
        if (chance(0.5)) {
            stride += between(0, 40);
        }
        if (chance(0.2)) {
            stride = -stride;
        }
        GuardedPicture<T> picture(width, height, stride,
                                  chance(0.5) ? GuardedMemory::Guard::Before : GuardedMemory::Guard::After);
        if (forHosts_ && chance(0.5)) {
            paintTiles(picture.writableView());
        } else {
            paintPatches(picture.writableView());
        }
        evenChannels(picture.writableView());
        addOddChannels(picture.writableView());
        return picture;
    }

    T randomChannel() {
        if constexpr (std::is_floating_point_v<T>) {
            return static_cast<T>(uniform(0.0, 1.0));
        } else {
            return static_cast<T>(between(0, model::Numbers<T>::top));
        }
    }

    /// Values that the depth can hold but a picture should not.
    T oddChannel() {
        if constexpr (std::is_floating_point_v<T>) {
            using Limits = std::numeric_limits<T>;
            return random_.oneOf({Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), -0.5F, 1.5F, -0.0F,
                                  Limits::denorm_min(), Limits::max()});
        } else {
            return static_cast<T>(between(0, std::numeric_limits<T>::max()));
        }
    }

    static constexpr double kFull = model::Numbers<T>::top;
    static constexpr double kLowest = std::max(-kFull, double{std::numeric_limits<T>::lowest()});
    static constexpr double kHighest = std::min(2.0 * kFull, double{std::numeric_limits<T>::max()});

    /// Flat squares under some noise, so that quadtrees stop at every level.
    void paintTiles(PixelView<T> picture) {
        const std::int32_t tile = between(1, 14);
        const double noise = kFull * random_.oneOf({0.0, 0.02, 0.2, 1.0});
        const double gain = chance(0.15) ? 2.0 : 1.0;
        const std::int32_t across = picture.width / tile + 1;
        std::vector<double> colours(static_cast<std::size_t>(across * (picture.height / tile + 1) * kChannelsPerPixel));
        for (double& colour : colours) {
            colour = uniform(0.0, kFull);
        }
        for (std::int32_t y = 0; y < picture.height; ++y) {
            T* row = picture.pixels + y * picture.stride;
            for (std::int32_t i = 0; i < picture.width * kChannelsPerPixel; ++i) {
                const std::int32_t square = y / tile * across + i / kChannelsPerPixel / tile;
                const double colour =
                    colours[static_cast<std::size_t>(square * kChannelsPerPixel + i % kChannelsPerPixel)];
                row[i] = static_cast<T>(std::clamp(gain * (colour + uniform(-noise, noise) / 2.0), kLowest, kHighest));
            }
        }
    }

    /// A base colour or a gradient, with rectangles of other colours and of noise of any strength on it.
    void paintPatches(PixelView<T> picture) {
        paintPatch(picture, 0, 0, picture.width, picture.height);
        for (std::int32_t patches = between(0, 4); patches > 0; --patches) {
            const std::int32_t x = between(0, picture.width - 1);
            const std::int32_t y = between(0, picture.height - 1);
            const std::int32_t bottom = between(y + 1, picture.height);
            const std::int32_t right = between(x + 1, picture.width);
            paintPatch(picture, x, y, right, bottom);
        }
    }

    /// Each system's pow rounds in its own way.
    static double cube(double value) { return value * value * value; }

    void paintPatch(PixelView<T> picture, std::int32_t x0, std::int32_t y0, std::int32_t x1, std::int32_t y1) {
        double base[kChannelsPerPixel];
        double across[kChannelsPerPixel];
        const double slope = chance(0.4) ? kFull * 2.0 / (x1 - x0 + y1 - y0) : 0.0;
        // Some are darker than black or lighter than white, as far as the depth can hold that.
        const double beyond = chance(0.05) ? uniform(-kFull, kFull) : 0.0;
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            base[c] = static_cast<double>(randomChannel()) + beyond;
            across[c] = uniform(-slope, slope);
        }
        const double lowest = beyond == 0.0 ? 0.0 : kLowest;
        const double highest = beyond == 0.0 ? kFull : kHighest;
        const double strength = chance(0.3) ? 0.0 : chance(0.3) ? kFull : kFull * cube(random_.unit());
        for (std::int32_t y = y0; y < y1; ++y) {
            T* pixel = picture.pixels + y * picture.stride + static_cast<std::ptrdiff_t>(x0) * kChannelsPerPixel;
            for (std::int32_t x = x0; x < x1; ++x, pixel += kChannelsPerPixel) {
                for (int c = 0; c < kChannelsPerPixel; ++c) {
                    const double value =
                        base[c] + across[c] * (x - x0 + y - y0) + (strength > 0.0 ? uniform(-strength, strength) : 0.0);
                    pixel[c] = static_cast<T>(std::clamp(value, lowest, highest));
                }
            }
        }
    }

    T& somePixel(PixelView<T> picture, int channel) {
        const std::int32_t y = between(0, picture.height - 1);
        const std::int32_t x = between(0, picture.width - 1);
        return picture.pixels[y * picture.stride + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel + channel];
    }

    /// Channels that are the same everywhere, as alpha is in most pictures, or almost.
    void evenChannels(PixelView<T> picture) {
        const bool any = chance(0.4);
        for (int c = 0; any && c < kChannelsPerPixel; ++c) {
            if (!chance(c == kChannelA ? 0.8 : 0.2)) {
                continue;
            }
            const T value = chance(0.4)   ? static_cast<T>(kFull)
                            : chance(0.3) ? T{0}
                            : chance(0.4) ? oddChannel()
                                          : randomChannel();
            for (std::int32_t y = 0; y < picture.height; ++y) {
                for (std::int32_t x = 0; x < picture.width; ++x) {
                    picture.pixels[y * picture.stride + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel + c] = value;
                }
            }
            for (std::int32_t odd = chance(0.3) ? between(1, 20) : 0; odd > 0; --odd) {
                const T channel = oddChannel();
                somePixel(picture, c) = channel;
            }
        }
    }

    void addOddChannels(PixelView<T> picture) {
        if (!chance(0.2)) {
            return;
        }
        const bool everywhere = chance(0.1);
        for (std::int32_t i = everywhere ? 4 * picture.width * picture.height : between(1, 20); i > 0; --i) {
            const T channel = oddChannel();
            const std::int32_t y = between(0, picture.height - 1);
            const std::int32_t x = between(0, picture.width * kChannelsPerPixel - 1);
            picture.pixels[y * picture.stride + x] = channel;
        }
    }
};

}  // namespace

template <typename Depth>
std::string RandomFrame<Depth>::description() const {
    std::ostringstream text;
    const auto whole = source.view();
    text << "seed " << seed << ", " << 8 * sizeof(T) << " bits, " << whole.width << " x " << whole.height
         << ", channels " << settings.channels << ", intensity " << settings.mosaicIntensity << ", grid "
         << settings.gridWidth << " x " << settings.gridHeight << ", iterations " << settings.maxIterations
         << ", curve " << settings.curveType << ", phase " << settings.curvePhase << ", split "
         << settings.curvePhaseSplit << ", smoothness " << settings.curveSmoothness << ", strides " << whole.stride
         << " to " << output.view().stride << (inPlace ? ", in place" : "") << ", origin " << originX << ", "
         << originY;
    if (layer) {
        const auto decides = layer->view();
        text << ", intensity layer " << decides.width << " x " << decides.height << ", stride " << decides.stride;
    }
    return text.str();
}

template <typename Depth>
RandomFrame<Depth> randomFrame(std::uint64_t seed, FrameFor use) {
    return FrameMaker<Depth>(seed, use).anyFrame();
}

template <typename Depth>
RandomFrame<Depth> randomCell(std::uint64_t seed, std::int32_t width, std::int32_t height) {
    return FrameMaker<Depth>(seed, FrameFor::Renderers).cell(width, height);
}

template struct RandomFrame<Depth8>;
template struct RandomFrame<Depth16>;
template struct RandomFrame<DepthFloat>;
template RandomFrame<Depth8> randomFrame(std::uint64_t, FrameFor);
template RandomFrame<Depth16> randomFrame(std::uint64_t, FrameFor);
template RandomFrame<DepthFloat> randomFrame(std::uint64_t, FrameFor);
template RandomFrame<Depth8> randomCell(std::uint64_t, std::int32_t, std::int32_t);
template RandomFrame<Depth16> randomCell(std::uint64_t, std::int32_t, std::int32_t);
template RandomFrame<DepthFloat> randomCell(std::uint64_t, std::int32_t, std::int32_t);

}  // namespace quorvel::test
