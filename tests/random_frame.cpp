// SPDX-License-Identifier: MIT
#include "tests/random_frame.h"

#if defined(__unix__)
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <sstream>
#include <type_traits>
#include <utility>

#include "effect/curve_table.h"
#include "effect/depth.h"
#include "effect/plain/render.h"

namespace quorvel::test {

#if defined(__unix__)

GuardedMemory::GuardedMemory(std::size_t bytes, Guard guard) : size_(bytes) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t inside = (bytes + page - 1) / page * page;
    pageBytes_ = inside + page;
    void* pages = mmap(nullptr, pageBytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        throw std::bad_alloc();
    }
    pages_ = static_cast<std::byte*>(pages);
    data_ = guard == Guard::Before ? pages_ + page : pages_ + inside - bytes;
    mprotect(guard == Guard::Before ? pages_ : pages_ + inside, page, PROT_NONE);
}

GuardedMemory::~GuardedMemory() {
    if (pages_ != nullptr) {
        munmap(pages_, pageBytes_);
    }
}

#else

GuardedMemory::GuardedMemory(std::size_t bytes, Guard) : pages_(new std::byte[bytes]), data_(pages_), size_(bytes) {}

GuardedMemory::~GuardedMemory() {
    delete[] pages_;
}

#endif

GuardedMemory::GuardedMemory(GuardedMemory&& other) noexcept
    : pages_(std::exchange(other.pages_, nullptr)),
      pageBytes_(other.pageBytes_),
      data_(other.data_),
      size_(other.size_) {}

namespace {

template <typename T>
std::size_t bytesOf(std::int32_t width, std::int32_t height, std::ptrdiff_t stride) {
    const std::size_t between = static_cast<std::size_t>(std::abs(stride)) * static_cast<std::size_t>(height - 1);
    return (between + static_cast<std::size_t>(width) * kChannelsPerPixel) * sizeof(T);
}

/// The same bits; of NaNs only that they are NaNs, for compilers may swap the summands that they come from.
template <typename T>
bool same(T a, T b) {
    if constexpr (std::is_floating_point_v<T>) {
        return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) || (std::isnan(a) && std::isnan(b));
    } else {
        return a == b;
    }
}

}  // namespace

template <typename T>
GuardedPicture<T>::GuardedPicture(std::int32_t width, std::int32_t height, std::ptrdiff_t stride,
                                  GuardedMemory::Guard guard)
    : width_(width),
      height_(height),
      stride_(stride),
      guard_(guard),
      memory_(bytesOf<T>(width, height, stride), guard) {}

template <typename T>
GuardedPicture<T> GuardedPicture<T>::clone() const {
    GuardedPicture copy(width_, height_, stride_, guard_);
    std::memcpy(copy.memory_.data(), memory_.data(), memory_.size());
    return copy;
}

template <typename T>
PixelView<T> GuardedPicture<T>::view() {
    return {memory() + (stride_ < 0 ? -stride_ * (height_ - 1) : 0), width_, height_, stride_};
}

template <typename T>
PixelView<const T> GuardedPicture<T>::view() const {
    return {memory() + (stride_ < 0 ? -stride_ * (height_ - 1) : 0), width_, height_, stride_};
}

template <typename Depth>
RandomFrame<Depth>::RandomFrame(std::uint64_t seed) : seed_(seed), random_(seed) {
    std::int32_t width = static_cast<std::int32_t>(between(1, chance(0.3) ? 24 : 200));
    std::int32_t height = static_cast<std::int32_t>(between(1, chance(0.3) ? 24 : 200));
    if (chance(0.05)) {
        width = static_cast<std::int32_t>(between(200, 900));
        height = static_cast<std::int32_t>(between(100, 600));
    }
    const bool largeCells = chance(0.06);
    if (largeCells) {
        width = static_cast<std::int32_t>(between(257, 700));
        height = static_cast<std::int32_t>(between(100, 500));
    } else if (chance(0.04)) {  // rows of cells that have to be done in several goes
        width = static_cast<std::int32_t>(between(500, 5000));
        height = static_cast<std::int32_t>(between(1, 40));
    }
    chooseSettings(width, height);
    if (largeCells) {
        values_.gridWidth = static_cast<std::int32_t>(between(1, std::max(1, width / 280)));
        values_.gridHeight = static_cast<std::int32_t>(between(1, std::max(1, height / 180)));
        values_.maxIterations = static_cast<std::int32_t>(chance(0.5) ? 32 : between(-1, 9));
        if (chance(0.3)) {
            values_.channels = kRGB;
        }
        if (chance(0.5)) {  // much contrast is enough to tell, whatever else there is
            const std::int32_t curves[] = {kLinearRampUp, kLinearRampUp, kExpUp, kLinearRampDown};
            values_.curveType = curves[between(0, 3)];
            values_.curvePhase = values_.curvePhaseSplit = 0;
            values_.curveSmoothness = 0.0;
            values_.mosaicIntensity = uniform(0.0, 0.1);
        }
    }
    source_.emplace(randomPicture(width, height));
    inPlace_ = chance(0.25);
    if (!inPlace_) {
        output_.emplace(randomPicture(width, height));
    }
    if (chance(0.5)) {
        return;
    }
    std::int32_t layerWidth = width;
    std::int32_t layerHeight = height;
    switch (between(0, 9)) {
        case 0:
        case 1:
        case 2:
            layerWidth += static_cast<std::int32_t>(between(0, 20));
            layerHeight += static_cast<std::int32_t>(between(0, 20));
            originX_ = static_cast<std::int32_t>(between(0, layerWidth - width + (chance(0.2) ? 1 : 0)));
            originY_ = static_cast<std::int32_t>(between(-1, layerHeight - height));
            break;
        case 3:
        case 4:
        case 5:
            layerWidth = static_cast<std::int32_t>(between(1, 300));
            layerHeight = static_cast<std::int32_t>(between(1, 300));
            break;
        case 6:
            if (chance(0.1)) {
                layerWidth = static_cast<std::int32_t>(between(32760, 33000));
                layerHeight = static_cast<std::int32_t>(between(1, 2));
            } else if (chance(0.1)) {
                layerWidth = static_cast<std::int32_t>(between(1, 2));
                layerHeight = static_cast<std::int32_t>(between(32760, 33000));
            } else if (chance(0.5) && height <= 8) {
                layerWidth = static_cast<std::int32_t>(between(32760, 33000));
                originX_ = chance(0.5) ? layerWidth - width : static_cast<std::int32_t>(between(0, layerWidth - width));
            } else if (chance(0.5) && width <= 24) {
                layerHeight = static_cast<std::int32_t>(between(32760, 33000));
                originY_ =
                    chance(0.5) ? layerHeight - height : static_cast<std::int32_t>(between(0, layerHeight - height));
            }
            break;
        default:
            break;
    }
    intensity_.emplace(randomPicture(layerWidth, layerHeight));
}

template <typename Depth>
RandomFrame<Depth>::RandomFrame(std::uint64_t seed, std::int32_t width, std::int32_t height)
    : seed_(seed), random_(seed) {
    chooseSettings(width, height);
    values_.gridWidth = values_.gridHeight = 1;
    values_.maxIterations = 32;
    source_.emplace(randomPicture(width, height));
    output_.emplace(randomPicture(width, height));
}

template <typename Depth>
std::int64_t RandomFrame<Depth>::between(std::int64_t low, std::int64_t high) {
    const auto count = static_cast<std::uint64_t>(high - low + 1);
    return low + static_cast<std::int64_t>(random_() % count);
}

template <typename Depth>
double RandomFrame<Depth>::uniform(double low, double high) {
    return low + (high - low) * static_cast<double>(random_() >> 11) / 9007199254740992.0;
}

template <typename Depth>
bool RandomFrame<Depth>::chance(double probability) {
    return uniform(0.0, 1.0) < probability;
}

template <typename Depth>
void RandomFrame<Depth>::chooseSettings(std::int32_t width, std::int32_t height) {
    values_.channels = static_cast<std::int32_t>(chance(0.4) ? 0 : between(chance(0.02) ? -1 : 0, 5));
    values_.mosaicIntensity = chance(0.4) ? 0.25 : uniform(0.0, chance(0.5) ? 1.0 : 0.1);
    if (chance(0.05)) {
        values_.mosaicIntensity = static_cast<double>(between(0, 1));
    }
    if (chance(0.02)) {
        values_.mosaicIntensity = uniform(-1.0, 2.0);
    }
    const auto cells = [&](std::int32_t length) {
        const std::int64_t most = chance(0.1) ? length + 5 : std::max<std::int64_t>(1, length / between(3, 60));
        return static_cast<std::int32_t>(between(1, most));
    };
    values_.gridWidth = chance(0.02) ? 0 : cells(width);
    values_.gridHeight = chance(0.02) ? 0 : cells(height);
    if (chance(0.5)) {  // about square cells
        values_.gridHeight = std::max(1, values_.gridWidth * height / width);
    }
    values_.maxIterations = static_cast<std::int32_t>(chance(0.6) ? 32 : between(-1, 6));
    if (chance(0.02)) {
        using Limits = std::numeric_limits<std::int32_t>;
        values_.maxIterations = chance(0.5) ? Limits::min() : Limits::max();
    }
    values_.curveType = static_cast<std::int32_t>(chance(0.3) ? 0 : between(0, chance(0.05) ? 6 : 5));
    values_.curvePhase = static_cast<std::int32_t>(chance(0.5) ? 0 : between(-400, 800) * 65536 + between(0, 65535));
    values_.curvePhaseSplit = static_cast<std::int32_t>(chance(0.5) ? 0 : between(-400, 400) * 65536);
    values_.curveSmoothness = chance(0.7) ? 0.0 : uniform(0.0, 0.3);
    if (chance(0.1)) {
        // A threshold that the curve reaches, though not passes, somewhere.
        const CurveTable<Depth> table(values_);
        const auto value = static_cast<double>(table.base()[between(0, Depth::kSamples - 1)]);
        values_.mosaicIntensity =
            std::is_floating_point_v<T> ? value : (value + 0.5) / static_cast<double>(Depth::kWhite);
    }
}

template <typename Depth>
GuardedPicture<typename Depth::Channel> RandomFrame<Depth>::randomPicture(std::int32_t width, std::int32_t height) {
    std::ptrdiff_t stride = static_cast<std::ptrdiff_t>(width) * kChannelsPerPixel;
    if (chance(0.5)) {
        stride += static_cast<std::ptrdiff_t>(between(0, 40));
    }
    if (chance(0.2)) {
        stride = -stride;
    }
    GuardedPicture<T> picture(width, height, stride,
                              chance(0.5) ? GuardedMemory::Guard::Before : GuardedMemory::Guard::Behind);
    std::fill_n(picture.memory(), picture.channels(), static_cast<T>(77));
    paint(picture.view());
    return picture;
}

template <typename Depth>
typename Depth::Channel RandomFrame<Depth>::randomChannel() {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(uniform(0.0, 1.0));
    } else {
        return static_cast<T>(between(0, static_cast<std::int64_t>(Depth::kWhite)));
    }
}

/// Values that the depth can hold but a picture should not.
template <typename Depth>
typename Depth::Channel RandomFrame<Depth>::oddChannel() {
    if constexpr (std::is_floating_point_v<T>) {
        const T odd[] = {std::numeric_limits<T>::quiet_NaN(),
                         std::numeric_limits<T>::infinity(),
                         -std::numeric_limits<T>::infinity(),
                         -0.5F,
                         1.5F,
                         -0.0F,
                         std::numeric_limits<T>::denorm_min(),
                         std::numeric_limits<T>::max()};
        return odd[between(0, 7)];
    } else {
        return static_cast<T>(between(0, std::numeric_limits<T>::max()));
    }
}

/// A base colour or a gradient, with rectangles of other colours and of noise of any strength on it.
template <typename Depth>
void RandomFrame<Depth>::paint(PixelView<T> picture) {
    const auto full = static_cast<double>(Depth::kWhite);
    const auto patch = [&](std::int32_t x0, std::int32_t y0, std::int32_t x1, std::int32_t y1) {
        double base[kChannelsPerPixel];
        double across[kChannelsPerPixel];
        const double slope = chance(0.4) ? full * 2.0 / (x1 - x0 + y1 - y0) : 0.0;
        // Some are darker than black or lighter than white, as far as the depth can hold that.
        const double beyond = chance(0.05) ? uniform(-full, full) : 0.0;
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            base[c] = static_cast<double>(randomChannel()) + beyond;
            across[c] = uniform(-slope, slope);
        }
        const double lowest =
            beyond == 0.0 ? 0.0 : std::max(-full, static_cast<double>(std::numeric_limits<T>::lowest()));
        const double highest =
            beyond == 0.0 ? full : std::min(2.0 * full, static_cast<double>(std::numeric_limits<T>::max()));
        const double strength = chance(0.3) ? 0.0 : chance(0.3) ? full : full * std::pow(uniform(0.0, 1.0), 3.0);
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
    };
    patch(0, 0, picture.width, picture.height);
    for (auto patches = between(0, 4); patches > 0; --patches) {
        const auto x = static_cast<std::int32_t>(between(0, picture.width - 1));
        const auto y = static_cast<std::int32_t>(between(0, picture.height - 1));
        patch(x, y, static_cast<std::int32_t>(between(x + 1, picture.width)),
              static_cast<std::int32_t>(between(y + 1, picture.height)));
    }
    // Channels that are the same everywhere, as alpha is in most pictures, or almost.
    const bool anyEven = chance(0.4);
    for (int c = 0; anyEven && c < kChannelsPerPixel; ++c) {
        if (!chance(c == kChannelA ? 0.8 : 0.2)) {
            continue;
        }
        const T value = chance(0.4)   ? Depth::kWhite
                        : chance(0.3) ? Depth::kBlack
                        : chance(0.4) ? oddChannel()
                                      : randomChannel();
        for (std::int32_t y = 0; y < picture.height; ++y) {
            for (std::int32_t x = 0; x < picture.width; ++x) {
                picture.pixels[y * picture.stride + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel + c] = value;
            }
        }
        for (auto odd = chance(0.3) ? between(1, 20) : 0; odd > 0; --odd) {
            picture.pixels[between(0, picture.height - 1) * picture.stride +
                           between(0, picture.width - 1) * kChannelsPerPixel + c] = oddChannel();
        }
    }
    if (!chance(0.2)) {
        return;
    }
    const bool everywhere = chance(0.1);
    const std::int64_t pixels = static_cast<std::int64_t>(picture.width) * picture.height;
    for (std::int64_t i = everywhere ? 4 * pixels : between(1, 20); i > 0; --i) {
        picture.pixels[between(0, picture.height - 1) * picture.stride +
                       between(0, picture.width * kChannelsPerPixel - 1)] = oddChannel();
    }
}

template <typename Depth>
std::string RandomFrame<Depth>::description() const {
    std::ostringstream text;
    const auto source = source_->view();
    text << "seed " << seed_ << ", " << 8 * sizeof(T) << " bits, " << source.width << " x " << source.height
         << ", channels " << values_.channels << ", intensity " << values_.mosaicIntensity << ", grid "
         << values_.gridWidth << " x " << values_.gridHeight << ", iterations " << values_.maxIterations << ", curve "
         << values_.curveType << ", phase " << values_.curvePhase << ", split " << values_.curvePhaseSplit
         << ", smoothness " << values_.curveSmoothness << (inPlace_ ? ", in place" : "");
    if (intensity_) {
        const auto layer = std::as_const(*intensity_).view();
        text << ", intensity layer " << layer.width << " x " << layer.height << " at " << originX_ << ", " << originY_;
    }
    return text.str();
}

template <typename Depth>
std::optional<std::string> RandomFrame<Depth>::compare(fast::InstructionSet set) {
    PixelView<const T> layer;
    if (intensity_) {
        layer = std::as_const(*intensity_).view();
    }
    const GuardedPicture<T>& before = inPlace_ ? *source_ : *output_;
    GuardedPicture<T> plainOutput = before.clone();
    GuardedPicture<T> fastOutput = before.clone();
    const PixelView<const T> source = std::as_const(*source_).view();
    const IntensityLayer<T> placed{layer, originX_, originY_};
    plain::render<Depth>(plainOutput.view(), inPlace_ ? std::as_const(plainOutput).view() : source, values_, placed);
    fast::render<Depth>(fastOutput.view(), inPlace_ ? std::as_const(fastOutput).view() : source, values_, placed, set);
    for (std::size_t i = 0; i < plainOutput.channels(); ++i) {
        if (!same(plainOutput.memory()[i], fastOutput.memory()[i])) {
            std::ostringstream text;
            text << description() << ": at channel " << i << " of the output's memory "
                 << static_cast<double>(fastOutput.memory()[i]) << " instead of " << static_cast<double>(plainOutput.memory()[i]);
            return text.str();
        }
    }
    return std::nullopt;
}

template class RandomFrame<Depth8>;
template class RandomFrame<Depth16>;
template class RandomFrame<DepthFloat>;

}  // namespace quorvel::test
