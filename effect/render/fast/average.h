// SPDX-License-Identifier: MIT
// Averages of filled blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "effect/render/depth.h"
#include "effect/render/fast/geometry.h"
#include "effect/render/fast/vector.h"

namespace quorvel {
namespace {

/// Sums of the four channels of a block of integers.
template <typename T>
class IntegerSums {
public:
    static_assert(sizeof(T) <= 2);

    IntegerSums(const PixelView<const T>& source, const Region& region) {
        const std::int32_t lanes = region.width * kChannelsPerPixel;
        const T* from =
            source.pixels + region.y * source.stride + static_cast<std::ptrdiff_t>(region.x) * kChannelsPerPixel;
        if (lanes >= kLanes<T>) {
            addRows<Lanes<T>>(from, source.stride, lanes, region.height);
        } else if (region.width >= 4) {
            addRows<Vector<T, (kQuartetBytes<T> < kVectorBytes ? kQuartetBytes<T> : kVectorBytes)>>(
                from, source.stride, lanes, region.height);
        } else {
            for (std::int32_t j = 0; j < region.height; ++j, from += source.stride) {
                for (std::int32_t i = 0; i < lanes; ++i) {
                    total[i % kChannelsPerPixel] += from[i];
                }
            }
        }
    }

    std::int64_t total[kChannelsPerPixel] = {};

private:
    template <typename V>
    [[gnu::always_inline]] inline void addRows(const T* from, std::ptrdiff_t stride, std::int32_t lanes,
                                               std::int32_t rows) {
        if constexpr (sizeof(T) == 1) {
            addRowsAs<V, std::uint16_t>(from, stride, lanes, rows);
        } else {
            addRowsAs<V, std::uint32_t>(from, stride, lanes, rows);
        }
    }

    template <typename V, typename W>
    [[gnu::always_inline]] inline void addRowsAs(const T* from, std::ptrdiff_t stride, std::int32_t lanes,
                                                 std::int32_t rows) {
        constexpr int kBits = 8 * sizeof(T);
        constexpr auto kLow = static_cast<W>((1U << kBits) - 1);
        // 2^bits + 1 summands of 2^bits - 1 still fit.
        constexpr std::int32_t kMostSummands = 1 << kBits;
        constexpr auto kStep = static_cast<std::int32_t>(sizeof(V) / sizeof(T));
        using Sums = Vector<W, sizeof(V)>;

        const std::int32_t rest = lanes % kStep;
        const Sums lastOnes = restMask<Sums>(rest);
        Sums even{};
        Sums odd{};
        std::int32_t summands = 0;
        for (std::int32_t j = 0; j < rows; ++j, from += stride) {
            std::int32_t i = 0;
            for (; i + kStep <= lanes; i += kStep) {
                if (summands == kMostSummands) {
                    flush<W>(even, odd);
                    summands = 0;
                }
                ++summands;
                const Sums value = load<Sums>(from + i);
                even += value & kLow;
                odd += value >> kBits;
            }
            if (rest != 0) {
                if (summands == kMostSummands) {
                    flush<W>(even, odd);
                    summands = 0;
                }
                ++summands;
                const Sums value = load<Sums>(from + lanes - kStep) & lastOnes;
                even += value & kLow;
                odd += value >> kBits;
            }
        }
        flush<W>(even, odd);
    }

    /// Ones in the last `rest` channels.
    template <typename Sums>
    static Sums restMask(std::int32_t rest) {
        alignas(64) T channels[sizeof(Sums) / sizeof(T)];
        constexpr auto kCount = static_cast<std::int32_t>(sizeof(Sums) / sizeof(T));
        for (std::int32_t i = 0; i < kCount; ++i) {
            channels[i] = static_cast<T>(i >= kCount - rest ? -1 : 0);
        }
        return load<Sums>(channels);
    }

    template <typename W, typename Sums>
    [[gnu::always_inline]] inline void flush(Sums& even, Sums& odd) {
        // A pixel is two sums of each kind: channels 0 and 2, and 1 and 3.
        for (std::size_t i = 0; i < sizeof(Sums) / sizeof(W); i += 2) {
            total[0] += even[i];
            total[1] += odd[i];
            total[2] += even[i + 1];
            total[3] += odd[i + 1];
        }
        even = Sums{};
        odd = Sums{};
    }
};

/// Truncated quotients. With half a unit added the exact quotient stays at least 0.5 / count off every integer that
/// it is below, far more than the rounding errors as long as sums stay below 2^50; theirs end at 2^47.
template <typename T>
[[gnu::always_inline]] inline Pixel<T> averageOf(const std::int64_t* sums, std::int32_t count) {
    const double reciprocal = 1.0 / static_cast<double>(count);
    Pixel<T> average;
    for (int c = 0; c < kChannelsPerPixel; ++c) {
        average.channel[c] =
            static_cast<T>(static_cast<std::int64_t>((static_cast<double>(sums[c]) + 0.5) * reciprocal));
    }
    return average;
}

template <typename T>
[[gnu::always_inline]] inline Pixel<T> averageOf(const PixelView<const T>& source, const Region& region) {
    const IntegerSums<T> sums(source, region);
    return averageOf<T>(sums.total, region.width * region.height);
}

using FloatPixel = Vector<float, 16>;

/// Sums in the order that is part of the result, one chain per channel. Blocks are summed side by side, because each
/// addition waits for the one before it. They may differ by a row and a column.
template <std::size_t Count>
void sumSideBySide(const PixelView<const float>& source, const Region* regions, FloatPixel* sums) {
    const float* from[Count];
    std::int32_t commonWidth = regions[0].width;
    std::int32_t rows = 0;
    for (std::size_t b = 0; b < Count; ++b) {
        from[b] = source.pixels + regions[b].y * source.stride +
                  static_cast<std::ptrdiff_t>(regions[b].x) * kChannelsPerPixel;
        commonWidth = regions[b].width < commonWidth ? regions[b].width : commonWidth;
        rows = regions[b].height > rows ? regions[b].height : rows;
        sums[b] = FloatPixel{};
    }
    FloatPixel running[Count] = {};
    for (std::int32_t j = 0; j < rows; ++j) {
        bool full = true;
        for (std::size_t b = 0; b < Count; ++b) {
            full = full && j < regions[b].height;
        }
        if (full) {
            for (std::int32_t i = 0; i < commonWidth; ++i) {
                for (std::size_t b = 0; b < Count; ++b) {
                    running[b] += load<FloatPixel>(from[b] + i * kChannelsPerPixel);
                }
            }
        }
        for (std::size_t b = 0; b < Count; ++b) {
            if (j < regions[b].height) {
                for (std::int32_t i = full ? commonWidth : 0; i < regions[b].width; ++i) {
                    running[b] += load<FloatPixel>(from[b] + i * kChannelsPerPixel);
                }
            }
            from[b] += source.stride;
        }
    }
    for (std::size_t b = 0; b < Count; ++b) {
        sums[b] = running[b];
    }
}

/// Sums of the four channels of up to 16 pixels, two to an integer that is as wide as a pixel.
template <typename T>
class SmallSums {
public:
    [[gnu::always_inline]] inline void add(const T* pixel) {
        Word word;
        __builtin_memcpy(&word, pixel, sizeof word);
        even_ += word & kEven;
        odd_ += (word >> kBits) & kEven;
    }
    /// The average of exactly four pixels.
    [[gnu::always_inline]] inline Pixel<T> quarter() const {
        const Word average = ((even_ >> 2) & kEven) | (((odd_ >> 2) & kEven) << kBits);
        return reinterpret<Pixel<T>>(average);
    }
    [[gnu::always_inline]] inline Pixel<T> average(std::int32_t count) const {
        // As in averageOf: half a unit is at least 1/32 of a quotient's step here, the rounding errors of quotients
        // below 2^16 are less than 1/64.
        const float reciprocal = 1.0F / static_cast<float>(count);
        const auto quotient = [&](Word sum) {
            return static_cast<T>(
                static_cast<std::int32_t>((static_cast<float>(static_cast<std::int32_t>(sum)) + 0.5F) * reciprocal));
        };
        constexpr int kSumBits = 2 * kBits;
        constexpr Word kSum = (Word{1} << kSumBits) - 1;
        return {
            {quotient(even_ & kSum), quotient(odd_ & kSum), quotient(even_ >> kSumBits), quotient(odd_ >> kSumBits)}};
    }

private:
    using Word = std::conditional_t<sizeof(T) == 1, std::uint32_t, std::uint64_t>;
    static constexpr int kBits = 8 * sizeof(T);
    /// A pixel's channels 0 and 2.
    static constexpr Word kEven = (((Word{1} << kBits) - 1) << (2 * kBits)) | ((Word{1} << kBits) - 1);

    Word even_ = 0;
    Word odd_ = 0;
};

/// The colour of a part of at most four by four pixels, in all four channels. `joint`: as the form for R, G and B
/// together rounds.
template <typename Depth>
[[gnu::always_inline]] inline Pixel<typename Depth::Channel> smallAverage(
    const PixelView<const typename Depth::Channel>& source, const Region& region, [[maybe_unused]] bool joint) {
    using T = typename Depth::Channel;
    const T* row = source.pixels + region.y * source.stride + static_cast<std::ptrdiff_t>(region.x) * kChannelsPerPixel;
    const std::int32_t lanes = region.width * kChannelsPerPixel;
    const std::int32_t count = region.width * region.height;
    if constexpr (sizeof(T) <= 2) {
        SmallSums<T> sums;
        if (region.width <= 2 && region.height <= 2) {
            // Always four pixels, some of them repeated.
            const std::ptrdiff_t right = lanes - kChannelsPerPixel;
            const std::ptrdiff_t below = (region.height - 1) * source.stride;
            sums.add(row);
            sums.add(row + right);
            sums.add(row + below);
            sums.add(row + below + right);
            return sums.quarter();
        }
        for (std::int32_t j = 0; j < region.height; ++j, row += source.stride) {
            for (std::int32_t i = 0; i < lanes; i += kChannelsPerPixel) {
                sums.add(row + i);
            }
        }
        return sums.average(count);
    } else {
        FloatPixel sums{};
        for (std::int32_t j = 0; j < region.height; ++j, row += source.stride) {
            for (std::int32_t i = 0; i < lanes; i += kChannelsPerPixel) {
                sums += load<FloatPixel>(row + i);
            }
        }
        Pixel<T> average;
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            average.channel[c] = joint ? Depth::jointAverage(sums[c], count) : Depth::singleAverage(sums[c], count);
        }
        return average;
    }
}

}  // namespace
}  // namespace quorvel
