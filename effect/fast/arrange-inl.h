// SPDX-License-Identifier: MIT
// Arranging the pixels of tiles in fixed places, whatever the tiles' widths.
//
// Half a tile's width, one to four pixels, is arranged as four pixels. Two pixels of the same part become neighbours; a
// part of a single pixel holds it twice. Then each two neighbours are a part, and each two pairs half a tile:
//
//   p0 p1 p2 p3 -> p0 p1 p2 p3
//   p0 p1 p2    -> p0 p0 p1 p2
//   p0 p1       -> p0 p0 p1 p1
//   p0          -> p0 p0 p0 p0
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/fast/geometry.h"
#include "effect/fast/permute-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// The pixels of half a tile, of a tile, or of two: a register, or four pixels if a register holds fewer.
template <typename T>
inline constexpr std::size_t kTileVectorBytes = kVectorBytes > kQuartetBytes<T> ? kVectorBytes : kQuartetBytes<T>;
template <typename T>
using TileVector = Vector<T, kTileVectorBytes<T>>;
template <typename T>
using TileMask = Vector<Mask<T>, kTileVectorBytes<T>>;
template <typename T>
inline constexpr std::int32_t kTileVectorPixels = static_cast<std::int32_t>(kTileVectorBytes<T> /
                                                                            (kChannelsPerPixel * sizeof(T)));
template <typename T>
inline constexpr std::int32_t kHalvesPerVector = kTileVectorPixels<T> / 4;

/// For half a tile: the pixel that stands at each arranged place, and an arranged place of each pixel.
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

/// Masks for the eight places of a tile, for each width that it may have.
template <typename T>
struct PlaceMasks {
    Pixel<Mask<T>> ofWidth[kMaximumTileSize + 1][kMaximumTileSize];
};
/// Sets the places that `isSet` returns true for, given a width and a place.
template <typename T, typename Predicate>
constexpr PlaceMasks<T> maskPlaces(const Predicate& isSet) {
    PlaceMasks<T> masks{};
    for (std::int32_t width = 0; width <= kMaximumTileSize; ++width) {
        for (std::int32_t place = 0; place < kMaximumTileSize; ++place) {
            for (auto& mask : masks.ofWidth[width][place].channel) {
                mask = maskOf<T>(isSet(width, place));
            }
        }
    }
    return masks;
}
/// The arranged places that together hold each pixel of a tile once.
template <typename T>
inline constexpr PlaceMasks<T> kUniqueMasks = maskPlaces<T>([](std::int32_t width, std::int32_t place) {
    const std::int32_t half = place < 4 ? width / 2 : width - width / 2;
    const bool unique[4] = {half >= 1, half == 4, half >= 2, half >= 3};
    return unique[place % 4];
});
/// The places of a tile's pixels in their own order.
template <typename T>
inline constexpr PlaceMasks<T> kFirstMasks = maskPlaces<T>([](std::int32_t width, std::int32_t place) {
    return place < width;
});

/// The orders of the halves in a TileVector, as places of 32-bit units for permuteUnits().
template <typename T>
struct UnitOrders {
    static constexpr std::size_t kUnits = kTileVectorBytes<T> / 4;
    static constexpr std::size_t kSecondWidths = kHalvesPerVector<T> == 4 ? kMaximumTileSize + 1 : 1;
    /// By the widths of the first and of the second tile. If a TileVector is half a tile: by the width of the half.
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
            for (std::int32_t h = 0; h < kHalvesPerVector<T>; ++h) {
                const std::int32_t width = kHalvesPerVector<T> == 1 ? (first <= 4 ? first : 4) : halves[h];
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

/// Whether Arrangement::putBack() writes no pixels but those of its tiles.
template <typename T>
inline constexpr bool kPutsBackExactly = kHasPermute<TileVector<T>>&& kHasMaskedStore<TileVector<T>>;

/// The half of a tile that a TileVector holds, if it holds no more.
enum class TileHalf : std::uint8_t { Left, Right };

/// Takes the pixels of a TileVector's tiles, or of half a tile, out of rows, and puts them back.
template <typename T>
class Arrangement {
public:
    static constexpr std::int32_t kTiles = kHalvesPerVector<T> == 4 ? 2 : 1;  ///< that it touches
    static constexpr std::int32_t kParts = kHalvesPerVector<T> == 1 ? 2 : 1;  ///< arrangements that make up kTiles

    /// Arranges the tiles from bounds[0] on, of which there are `tiles`, at least one; or one half of the first, if a
    /// TileVector holds no more. Rows begin at `origin` and have pixels to read from `left` to `right`, at least
    /// kTileVectorPixels.
    static Arrangement inRows(const std::int32_t* bounds, std::int32_t tiles, TileHalf half, std::int32_t origin,
                              std::int32_t left, std::int32_t right) {
        return Arrangement(bounds, tiles, half, origin, left, right);
    }

    /// The same in scratch rows, which may be read beyond their ends.
    static Arrangement inScratch(const std::int32_t* bounds, std::int32_t tiles, std::int32_t origin) {
        return Arrangement(bounds, tiles, TileHalf::Left, origin, bounds[0], bounds[0] + kTileVectorPixels<T>);
    }

    /// The pixels of the tiles, arranged, out of a row. For two tiles of 3 and 4 pixels:
    // p0 p1 p2, q0 q1 q2 q3 -> p0 p0 p0 p0 p1 p1 p2 p2, q0 q0 q1 q1 q2 q2 q3 q3
    [[gnu::always_inline]] inline TileVector<T> arranged(const T* row) const {
        if constexpr (kHasPermute<TileVector<T>>) {
            return permuteUnits(load<TileVector<T>>(row + static_cast<std::ptrdiff_t>(from_) * kChannelsPerPixel),
                                arranged_);
        } else {
            const T* const from = row + static_cast<std::ptrdiff_t>(from_) * kChannelsPerPixel;
            const std::int32_t width = halfWidth();
            if (width == 4) {
                return load<TileVector<T>>(from);
            }
            if (width == 3) {
                // Reads the pixel before the three, or else just the three: the one after may be outside of the frame.
                return hasPixelBefore_ ? permutePixels<T, 1, 1, 2, 3>(load<TileVector<T>>(from - kChannelsPerPixel))
                                       : permutePixels<T, 0, 0, 1, 2>(threePixels(from));
            }
            Pixel<T> pixels[4];
            const std::ptrdiff_t second = width == 2 ? kChannelsPerPixel : 0;
            __builtin_memcpy(&pixels[0], from, sizeof pixels[0]);
            __builtin_memcpy(&pixels[2], from + second, sizeof pixels[2]);
            pixels[1] = pixels[0];
            pixels[3] = pixels[2];
            return load<TileVector<T>>(pixels);
        }
    }

    /// Stores arranged pixels in their own order, those of the first tile at `tile`. Unless kPutsBackExactly, it stores
    /// a whole TileVector, so pixels after the last one are overwritten too.
    // p0 p0 p1 p2 -> p0 p1 p2
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

    /// Repeats one pixel of each tile in all places of the tile. Loads a whole register from `pixels`.
    // p q -> p p p p p p p p, q q q q q q q q
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

    /// Joins the tables of the tiles' widths: `table` has eight pixels for each width.
    // widths 3, 7 -> table[3], table[7]
    template <typename V, typename Table>
    [[gnu::always_inline]] inline V ofWidths(const Table& table) const {
        using C = Mask<T>;
        const auto* first = reinterpret_cast<const C*>(&table[widths_[0]]);
        if constexpr (kTiles == 2) {
            using Half = Vector<C, sizeof(V) / 2>;
            return joined<V>(load<Half>(first), load<Half>(&table[widths_[1]]));
        } else {
            return load<V>(first + (kHalvesPerVector<T> == 1 && half_ == TileHalf::Right ? 4 * kChannelsPerPixel : 0));
        }
    }

private:
    Arrangement(const std::int32_t* bounds, std::int32_t tiles, TileHalf half, std::int32_t origin, std::int32_t left,
                std::int32_t right)
        : widths_{bounds[1] - bounds[0], kTiles == 2 && tiles > 1 ? bounds[2] - bounds[1] : 0}, half_(half) {
        if constexpr (kHalvesPerVector<T> == 1) {
            halfBegin_ = half_ == TileHalf::Right ? widths_[0] / 2 : 0;
        }
        const std::int32_t x = bounds[0] + halfBegin_;
        if constexpr (kHasPermute<TileVector<T>>) {
            // The load must not reach beyond the right end.
            const std::int32_t from = x < right - kTileVectorPixels<T> ? x : right - kTileVectorPixels<T>;
            from_ = from - origin;
            using Orders = UnitOrders<T>;
            const std::int32_t first = kHalvesPerVector<T> == 1 ? halfWidth() : widths_[0];
            const std::int32_t next = Orders::kSecondWidths == 1 ? 0 : widths_[1];
            arranged_ = load<Places>(kUnitOrders<T>.arranged[first][next]) +
                        static_cast<std::int32_t>((x - from) * static_cast<std::int32_t>(sizeof(T)));
            pixel_ = load<Places>(kUnitOrders<T>.pixel[first][next]);
        } else {
            from_ = x - origin;
            hasPixelBefore_ = x > left;
        }
    }

    using Places = Vector<std::int32_t, kTileVectorBytes<T> <= kVectorBytes ? kTileVectorBytes<T> : kVectorBytes>;

    struct TilePlaces {
        std::int32_t unit[kTileVectorBytes<T> / 4];
    };
    static constexpr TilePlaces tilePlaces() {
        TilePlaces places{};
        for (std::size_t i = 0; i < kTileVectorBytes<T> / 4; ++i) {
            places.unit[i] = i < kTileVectorBytes<T> / 8 ? 0 : 1;
        }
        return places;
    }

    std::int32_t pixels() const { return kHalvesPerVector<T> == 1 ? halfWidth() : widths_[0] + widths_[1]; }
    std::int32_t halfWidth() const { return half_ == TileHalf::Right ? widths_[0] - widths_[0] / 2 : widths_[0] / 2; }

    static TileVector<T> threePixels(const T* from) {
        Pixel<T> pixels[4];
        __builtin_memcpy(pixels, from, 3 * sizeof pixels[0]);
        pixels[3] = pixels[2];
        return load<TileVector<T>>(pixels);
    }

    std::int32_t widths_[2];
    std::int32_t halfBegin_ = 0;
    std::int32_t from_;  ///< the first pixel to load, counted from the beginning of the rows
    TileHalf half_;
    bool hasPixelBefore_ = false;
    Places arranged_;
    Places pixel_;
};

}  // namespace
}  // namespace quorvel::fast
