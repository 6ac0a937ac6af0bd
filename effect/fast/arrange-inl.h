// SPDX-License-Identifier: MIT
// The pixels of tiles in fixed places, whatever the tiles' widths.
//
// Half a tile's width, one to four pixels, is arranged as four pixels: the two of each part side by side, a part of a
// single pixel twice. Then neighbours make the smallest parts, and pairs of neighbours the parts above.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/geometry.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// A register, but four pixels at the least: half a tile, one, or two.
template <typename T>
inline constexpr std::size_t kWideBytes = kVectorBytes > kQuartetBytes<T> ? kVectorBytes : kQuartetBytes<T>;
template <typename T>
using Wide = Vector<T, kWideBytes<T>>;
template <typename T>
using WideMask = Vector<Mask<T>, kWideBytes<T>>;
template <typename T>
inline constexpr std::int32_t kWidePixels = static_cast<std::int32_t>(kWideBytes<T> / (kChannelsPerPixel * sizeof(T)));
template <typename T>
inline constexpr std::int32_t kHalvesPerWide = kWidePixels<T> / 4;

/// Where the arranged pixels of half a tile come from, and which of them each pixel is.
struct HalfOrder {
    std::int32_t arranged[4];
    std::int32_t pixel[4];
};
constexpr HalfOrder halfOrder(std::int32_t width) {
    switch (width) {
        case 4:
            return {{0, 1, 2, 3}, {0, 1, 2, 3}};
        case 3:
            return {{0, 0, 1, 2}, {0, 2, 3, 3}};
        case 2:
            return {{0, 0, 1, 1}, {0, 2, 2, 2}};
        default:
            return {{0, 0, 0, 0}, {0, 0, 0, 0}};
    }
}

/// Ones in the arranged pixels of tiles that are no repetition.
template <typename T>
struct UniqueMasks {
    Pixel<Mask<T>> ofWidth[kMaximumTileSize + 1][kMaximumTileSize];
};
template <typename T>
constexpr UniqueMasks<T> findUniqueMasks() {
    UniqueMasks<T> masks{};
    for (std::int32_t width = 0; width <= kMaximumTileSize; ++width) {
        for (std::int32_t i = 0; i < kMaximumTileSize; ++i) {
            const std::int32_t half = i < 4 ? width / 2 : width - width / 2;
            const bool counted[4] = {half >= 1, half == 4, half >= 2, half >= 3};
            for (auto& mask : masks.ofWidth[width][i].channel) {
                mask = maskOf<T>(counted[i % 4]);
            }
        }
    }
    return masks;
}
template <typename T>
inline constexpr UniqueMasks<T> kUniqueMasks = findUniqueMasks<T>();

/// The orders of a Wide's halves as places of 32-bit units, for permutations.
template <typename T>
struct UnitOrders {
    static constexpr std::size_t kUnits = kWideBytes<T> / 4;
    static constexpr std::size_t kSecondWidths = kHalvesPerWide<T> == 4 ? kMaximumTileSize + 1 : 1;
    /// By the width of the first tile and that of the second, if there is one; of a half alone, by its own width.
    std::int32_t arranged[kMaximumTileSize + 1][kSecondWidths][kUnits];
    std::int32_t pixel[kMaximumTileSize + 1][kSecondWidths][kUnits];
};
template <typename T>
constexpr UnitOrders<T> findUnitOrders() {
    constexpr std::int32_t kUnitsPerPixel = sizeof(T);
    UnitOrders<T> orders{};
    for (std::int32_t first = 0; first <= kMaximumTileSize; ++first) {
        for (std::int32_t second = 0; second < static_cast<std::int32_t>(UnitOrders<T>::kSecondWidths); ++second) {
            const std::int32_t halves[4] = {first / 2, first - first / 2, second / 2, second - second / 2};
            std::int32_t begin = 0;
            for (std::int32_t h = 0; h < kHalvesPerWide<T>; ++h) {
                const std::int32_t width = kHalvesPerWide<T> == 1 ? (first <= 4 ? first : 4) : halves[h];
                const HalfOrder order = halfOrder(width);
                for (std::int32_t i = 0; i < 4; ++i) {
                    for (std::int32_t u = 0; u < kUnitsPerPixel; ++u) {
                        orders.arranged[first][second][(4 * h + i) * kUnitsPerPixel + u] =
                            (begin + order.arranged[i]) * kUnitsPerPixel + u;
                        if (i < width) {
                            orders.pixel[first][second][(begin + i) * kUnitsPerPixel + u] =
                                (4 * h + order.pixel[i]) * kUnitsPerPixel + u;
                        }
                    }
                }
                begin += width;
            }
        }
    }
    return orders;
}
template <typename T>
inline constexpr UnitOrders<T> kUnitOrders = findUnitOrders<T>();

/// Whether an Arrangement, putting pixels back, writes no others.
template <typename T>
inline constexpr bool kPutsBackExactly = kHasPermute<Wide<T>>&& kHasMaskedStore<Wide<T>>;

/// As many halves of neighbouring tiles as a Wide holds: takes their pixels out of rows, and puts them back.
template <typename T>
class Arrangement {
public:
    static constexpr std::int32_t kTiles = kHalvesPerWide<T> == 4 ? 2 : 1;  ///< that it touches

    /// Of the tile between two bounds and, if there is a second, the one up to the third; or of one half of the tile.
    /// Rows begin at `origin` and have pixels to read from `left` to `right`, at least kWidePixels.
    Arrangement(const std::int32_t* bounds, bool second, bool rightHalf, std::int32_t origin, std::int32_t left,
                std::int32_t right)
        : widths_{bounds[1] - bounds[0], kTiles == 2 && second ? bounds[2] - bounds[1] : 0}, rightHalf_(rightHalf) {
        if constexpr (kHalvesPerWide<T> == 1) {
            halfBegin_ = rightHalf ? widths_[0] / 2 : 0;
        }
        const std::int32_t x = bounds[0] + halfBegin_;
        if constexpr (kHasPermute<Wide<T>>) {
            // No further to the right than there are pixels.
            const std::int32_t from = x < right - kWidePixels<T> ? x : right - kWidePixels<T>;
            from_ = from - origin;
            using Orders = UnitOrders<T>;
            const std::int32_t first = kHalvesPerWide<T> == 1 ? halfWidth() : widths_[0];
            const std::int32_t next = Orders::kSecondWidths == 1 ? 0 : widths_[1];
            arranged_ = load<Places>(kUnitOrders<T>.arranged[first][next]) +
                        static_cast<std::int32_t>((x - from) * static_cast<std::int32_t>(sizeof(T)));
            pixel_ = load<Places>(kUnitOrders<T>.pixel[first][next]);
        } else {
            from_ = x - origin;
            hasPixelBefore_ = x > left;
        }
    }

    /// Of scratch rows, which may be read over their ends.
    static Arrangement inScratch(const std::int32_t* bounds, bool second, std::int32_t origin) {
        return Arrangement(bounds, second, false, origin, bounds[0], bounds[0] + kWidePixels<T>);
    }

    /// Arranged, out of a row.
    [[gnu::always_inline]] inline Wide<T> arranged(const T* row) const {
        if constexpr (kHasPermute<Wide<T>>) {
            return permuteUnits(load<Wide<T>>(row + static_cast<std::ptrdiff_t>(from_) * kChannelsPerPixel), arranged_);
        } else {
            const T* const from = row + static_cast<std::ptrdiff_t>(from_) * kChannelsPerPixel;
            const std::int32_t width = halfWidth();
            if (width == 4) {
                return load<Wide<T>>(from);
            }
            if (width == 3) {
                // Without a look at what is behind them, unless it is known to be in the same tile.
                return hasPixelBefore_ ? permutePixels<T, 1, 1, 2, 3>(load<Wide<T>>(from - kChannelsPerPixel))
                                       : permutePixels<T, 0, 0, 1, 2>(threePixels(from));
            }
            Pixel<T> pixels[4];
            const std::ptrdiff_t second = width == 2 ? kChannelsPerPixel : 0;
            __builtin_memcpy(&pixels[0], from, sizeof pixels[0]);
            __builtin_memcpy(&pixels[2], from + second, sizeof pixels[2]);
            pixels[1] = pixels[0];
            pixels[3] = pixels[2];
            return load<Wide<T>>(pixels);
        }
    }

    /// Puts arranged pixels back into their order, the first tile's at `tile`. Unless kPutsBackExactly, what is
    /// behind them is overwritten too, up to a Wide in all.
    template <typename V>
    [[gnu::always_inline]] inline void putBack(T* tile, V value) const {
        T* const to = tile + static_cast<std::ptrdiff_t>(halfBegin_) * kChannelsPerPixel;
        if constexpr (kPutsBackExactly<T>) {
            storeUnits(to, permuteUnits(value, pixel_), pixels() * static_cast<std::int32_t>(sizeof(T)));
        } else if constexpr (kHasPermute<V>) {
            store(to, permuteUnits(value, pixel_));
        } else if (halfWidth() == 4) {
            store(to, value);
        } else if (halfWidth() == 3) {
            store(to, permutePixels<T, 0, 2, 3, 3>(value));
        } else {
            store(to, permutePixels<T, 0, 2, 2, 2>(value));
        }
    }

    /// In all places of each tile what stands there for it, given one pixel per tile; a register of them is read.
    template <typename V, typename C>
    [[gnu::always_inline]] inline V ofTiles(const C* pixels) const {
        if constexpr (kTiles == 1) {
            Pixel<C> pixel;
            __builtin_memcpy(&pixel, pixels, sizeof pixel);
            return repeat<V>(pixel);
        } else {
            constexpr TilePlaces kPlaces = tilePlaces();
            return permuteUnits(load<V>(pixels), load<Places>(kPlaces.unit));
        }
    }

    /// In the places of each tile what stands for its width in a table of eight pixels for each.
    template <typename V, typename Table>
    [[gnu::always_inline]] inline V ofWidths(const Table& table) const {
        using C = Mask<T>;
        const auto* first = reinterpret_cast<const C*>(&table[widths_[0]]);
        if constexpr (kTiles == 2) {
            using Half = Vector<C, sizeof(V) / 2>;
            return joined<V>(load<Half>(first), load<Half>(&table[widths_[1]]));
        } else {
            return load<V>(first + (kHalvesPerWide<T> == 1 && rightHalf_ ? 4 * kChannelsPerPixel : 0));
        }
    }

private:
    using Places = Vector<std::int32_t, kWideBytes<T> <= kVectorBytes ? kWideBytes<T> : kVectorBytes>;

    struct TilePlaces {
        std::int32_t unit[kWideBytes<T> / 4];
    };
    static constexpr TilePlaces tilePlaces() {
        TilePlaces places{};
        for (std::size_t i = 0; i < kWideBytes<T> / 4; ++i) {
            places.unit[i] = i < kWideBytes<T> / 8 ? 0 : 1;
        }
        return places;
    }

    std::int32_t pixels() const { return kHalvesPerWide<T> == 1 ? halfWidth() : widths_[0] + widths_[1]; }
    std::int32_t halfWidth() const { return rightHalf_ ? widths_[0] - widths_[0] / 2 : widths_[0] / 2; }

    static Wide<T> threePixels(const T* from) {
        Pixel<T> pixels[4];
        __builtin_memcpy(pixels, from, 3 * sizeof pixels[0]);
        pixels[3] = pixels[2];
        return load<Wide<T>>(pixels);
    }

    std::int32_t widths_[2];
    std::int32_t halfBegin_ = 0;
    std::int32_t from_;  ///< the first pixel to load, from the beginning of rows
    bool rightHalf_;
    bool hasPixelBefore_ = false;
    Places arranged_;
    Places pixel_;
};

}  // namespace
}  // namespace quorvel::fast
