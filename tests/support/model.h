// SPDX-License-Identifier: MIT
// The whole effect once more, slowly: the judge of the renderer. It is written to be read, with pictures as plain
// vectors, absolute positions and an unrotated curve, and it shares no code with the effect.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace quorvel::model {

/// The effect's parameters, choices counted from 0, angles in 16.16 fixed-point degrees.
struct Settings {
    int channels = 0;
    double intensity = 0.25;
    int gridWidth = 16;
    int gridHeight = 9;
    int maximumDepth = 32;
    int curve = 0;
    int phase = 0;
    double smoothness = 0.0;
    int split = 0;
};

template <typename Channel>
struct Picture {
    int width;
    int height;
    std::vector<Channel> values;  ///< A R G B, row by row

    Picture(int w, int h)
        : width(w), height(h), values(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 4) {}
    Channel& at(int x, int y, int channel) { return values[index(x, y, channel)]; }
    const Channel& at(int x, int y, int channel) const { return values[index(x, y, channel)]; }

private:
    std::size_t index(int x, int y, int channel) const {
        return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * 4 +
               static_cast<std::size_t>(channel);
    }
};

/// Samples of the curve, the highest channel value, and how many samples 1/65536 of a degree is.
template <int Samples, int Top>
struct Range {
    static constexpr int samples = Samples;
    static constexpr int top = Top;
};
template <typename Channel>
struct Numbers;
template <>
struct Numbers<std::uint8_t> : Range<256, 255> {
    static constexpr float samplesPerAngle = 1.0850695e-5F;
};
template <>
struct Numbers<std::uint16_t> : Range<4096, 32768> {
    static constexpr float samplesPerAngle = 0.00017361112F;
};
template <>
struct Numbers<float> : Range<4000, 1> {
    static constexpr float samplesPerAngle = 0.00016954211F;
};

inline float toSevenDecimals(float value) {
    const float scaled = value * 1e7F;
    return std::trunc(scaled + std::copysign(std::nextafter(0.5F, 0.0F), scaled)) * 1e-7F;
}

/// A curve's height where the frame's ramp stands at `ramp` (1 on the last sample) and its turn at `turn` (1 one past
/// the last sample).
inline float shape(int curve, float ramp, float turn, float top) {
    const float fourth = (ramp * ramp) * (ramp * ramp);
    const double half = static_cast<double>(0.5F * top);
    switch (curve) {
        case 0:
            return ramp * top;
        case 1:
            return (1 - ramp) * top;
        case 2:
            return (ramp < 0.5F ? ramp + ramp : 2 - (ramp + ramp)) * top;
        case 3:
            return static_cast<float>(std::sin(static_cast<double>(turn) * 6.28318530718) * half + half);
        case 4:
            return fourth * top;
        case 5:
            return (1 - fourth) * top;
        default:
            return ramp;
    }
}

/// Where sample i of n lies on the ramp and in the turn.
struct Place {
    float ramp;
    float turn;
};
inline Place placeOf(int i, int n) {
    return {static_cast<float>(i * (1.0 / (n - 1))), static_cast<float>(i * (1.0 / n))};
}

/// Sample i of n. Smoothing blends the means of two box widths, `reach` to either side and one less.
inline float curveValue(int curve, int i, int n, float top, float smoothness) {
    const auto unsmoothed = [&](int sample) {
        const Place place = placeOf(sample, n);
        return toSevenDecimals(shape(curve, place.ramp, place.turn, top));
    };
    const float centre = unsmoothed(i);
    const float reach = std::ceil(smoothness);
    if (!(reach >= 0 && reach < 2147483648.0F)) {
        return centre;
    }
    const auto weightedMean = [&](int radius, float weight) {
        float sum = centre;
        int count = 1;
        for (int k = -radius; k <= radius; ++k) {
            if (k != 0) {
                sum += unsmoothed(i + k < 0 ? i + k + n : (i + k) % n);
                ++count;
            }
        }
        return weight * sum / static_cast<float>(count);
    };
    const float part = smoothness - std::trunc(smoothness);
    return weightedMean(static_cast<int>(reach), part) + weightedMean(static_cast<int>(reach) - 1, 1 - part);
}

/// Backward shifts come out one sample short.
inline int wrapped(std::int64_t shift, int n) {
    return static_cast<int>(shift >= 0 ? shift % n : n - 1 - (-shift) % n);
}

inline int angleToSamples(std::int64_t angle, int n) {
    const float turns = static_cast<float>(angle) * 4.2385526e-8F;
    return wrapped(static_cast<std::int64_t>(static_cast<float>(n) * turns), n);
}

template <typename Channel>
class Curve {
public:
    using Of = Numbers<Channel>;

    explicit Curve(const Settings& settings)
        : shift_(wrapped(static_cast<std::int64_t>(static_cast<float>(settings.phase) * Of::samplesPerAngle),
                         Of::samples)) {
        const auto perGraphSample = static_cast<double>(static_cast<float>(Of::samples / 95.0));
        for (int i = 0; i < Of::samples; ++i) {
            samples_.push_back(static_cast<Channel>(curveValue(
                settings.curve, i, Of::samples, Of::top, static_cast<float>(settings.smoothness * perGraphSample))));
        }
    }

    /// The curve at the sample that a contrast selects, for a channel whose curve is split off by `split` samples. The
    /// curve is periodic.
    Channel at(std::int64_t contrastSample, int split) const {
        const std::int64_t sample = (contrastSample + split - shift_ + 2 * Of::samples) % Of::samples;
        return samples_[static_cast<std::size_t>(sample)];
    }

private:
    int shift_;
    std::vector<Channel> samples_;
};

template <typename Channel>
class Mosaic {
public:
    using Of = Numbers<Channel>;

    /// `layer` decides about splitting, the source does when it is null; the origin is the output's place in it.
    Mosaic(Picture<Channel>& output, const Picture<Channel>& source, const Settings& settings,
           const Picture<Channel>* layer, int originX, int originY)
        : output_(output), source_(source), layer_(layer), settings_(settings), curve_(settings) {
        if (layer != nullptr) {
            const bool inside = originX >= 0 && originY >= 0 && originX + std::int64_t{output.width} <= layer->width &&
                                originY + std::int64_t{output.height} <= layer->height;
            across_ = inside ? Positions{originX, 65536} : Positions{0, in32Bits(layer->width, 65536) / output.width};
            down_ = inside ? Positions{originY, 65536} : Positions{0, in32Bits(layer->height, 65536) / output.height};
        }
    }

    void draw() {
        const int plus = angleToSamples(settings_.split, Of::samples);
        const int minus = angleToSamples(-std::int64_t{settings_.split}, Of::samples);
        switch (settings_.channels) {
            case 0:
                return drawPasses({{{1, 2, 3}, 0}});
            case 1:
                return drawPasses({{{1}, plus}, {{2}, 0}, {{3}, minus}});
            case 2:
                return drawPasses({{{3}, minus}});
            case 3:
                return drawPasses({{{2}, 0}});
            case 4:
                return drawPasses({{{1}, plus}});
            case 5:
                return drawPasses({{{0}, 0}});
            default:
                return;
        }
    }

private:
    /// Channels that are measured together, and their curve's split.
    struct Pass {
        std::vector<int> channels;
        int split;
    };
    struct Positions {
        std::int64_t origin;
        std::int64_t step;
        /// The layer's column (or row) for the output's.
        int of(int pixel, int size) const {
            return std::clamp(static_cast<int>(in32Bits(pixel * step + origin * 65536, 1) >> 16), 0, size - 1);
        }
    };

    static std::int64_t in32Bits(std::int64_t a, std::int64_t b) { return static_cast<std::int32_t>(a * b); }

    void drawPasses(const std::vector<Pass>& passes) {
        for (int channel = 0; channel < 4; ++channel) {
            const bool drawn = std::any_of(passes.begin(), passes.end(), [&](const Pass& pass) {
                return std::count(pass.channels.begin(), pass.channels.end(), channel) != 0;
            });
            if (!drawn) {
                write(0, 0, output_.width, output_.height, channel,
                      [&](int x, int y) { return source_.at(x, y, channel); });
            }
        }
        for (const Pass& pass : passes) {
            for (int row = 0; row < settings_.gridHeight; ++row) {
                for (int column = 0; column < settings_.gridWidth; ++column) {
                    const int left = column * output_.width / settings_.gridWidth;
                    const int right = (column + 1) * output_.width / settings_.gridWidth;
                    const int top = row * output_.height / settings_.gridHeight;
                    const int bottom = (row + 1) * output_.height / settings_.gridHeight;
                    if (left < right && top < bottom) {
                        drawBlock(pass, left, top, right - left, bottom - top, 0);
                    }
                }
            }
        }
    }

    void drawBlock(const Pass& pass, int x, int y, int width, int height, int depth) {
        const bool busy = curve_.at(contrastSample(pass, x, y, width, height), pass.split) > threshold();
        if (depth < settings_.maximumDepth && width >= 3 && height >= 3 && busy) {
            const int left = width / 2;
            const int top = height / 2;
            drawBlock(pass, x, y, left, top, depth + 1);
            drawBlock(pass, x + left, y, width - left, top, depth + 1);
            drawBlock(pass, x, y + top, left, height - top, depth + 1);
            drawBlock(pass, x + left, y + top, width - left, height - top, depth + 1);
            return;
        }
        for (const int channel : pass.channels) {
            if (depth == settings_.maximumDepth || busy) {
                write(x, y, width, height, channel, [&](int i, int j) { return source_.at(i, j, channel); });
            } else {
                const Channel flat = average(x, y, width, height, channel, pass.channels.size() == 1);
                write(x, y, width, height, channel, [&](int, int) { return flat; });
            }
        }
    }

    Channel threshold() const {
        if constexpr (std::is_floating_point_v<Channel>) {
            return static_cast<float>(settings_.intensity);
        } else {
            return static_cast<Channel>(static_cast<std::int64_t>(settings_.intensity * Of::top));
        }
    }

    std::int64_t contrastSample(const Pass& pass, int x, int y, int width, int height) const {
        Channel lowest = Of::top;
        Channel highest = 0;
        for (int j = y; j < y + height; ++j) {
            for (int i = x; i < x + width; ++i) {
                for (const int channel : pass.channels) {
                    const Channel value = layer_ == nullptr ? source_.at(i, j, channel)
                                                            : layer_->at(across_.of(i, layer_->width),
                                                                         down_.of(j, layer_->height), channel);
                    lowest = value < lowest ? value : lowest;
                    highest = value > highest ? value : highest;
                }
            }
        }
        if constexpr (std::is_floating_point_v<Channel>) {
            const float contrast = std::min(highest, 1.0F) - std::max(lowest, 0.0F);
            return std::max(0, static_cast<int>(contrast * static_cast<float>(Of::samples - 1)));
        } else {
            return std::int64_t{static_cast<Channel>(highest - lowest)} * (Of::samples - 1) / Of::top;
        }
    }

    Channel average(int x, int y, int width, int height, int channel, bool alone) const {
        std::conditional_t<std::is_floating_point_v<Channel>, float, std::int64_t> sum = 0;
        for (int j = y; j < y + height; ++j) {
            for (int i = x; i < x + width; ++i) {
                sum += source_.at(i, j, channel);
            }
        }
        const int count = width * height;
        if constexpr (std::is_floating_point_v<Channel>) {
            return alone ? sum / static_cast<float>(count) : sum * (1 / static_cast<float>(count));
        } else {
            return static_cast<Channel>(sum / count);
        }
    }

    template <typename Value>
    void write(int x, int y, int width, int height, int channel, Value value) {
        for (int j = y; j < y + height; ++j) {
            for (int i = x; i < x + width; ++i) {
                output_.at(i, j, channel) = value(i, j);
            }
        }
    }

    Picture<Channel>& output_;
    const Picture<Channel>& source_;
    const Picture<Channel>* layer_;
    Settings settings_;
    Curve<Channel> curve_;
    Positions across_{0, 0};
    Positions down_{0, 0};
};

}  // namespace quorvel::model
