// SPDX-License-Identifier: MIT
// Pixel worlds: pictures in the host's memory, in any depth and row layout.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/base/zeroed_memory.h"
#include "sdk/pf_params.h"

namespace quorvel::host {

enum class Depth { Bits8, Bits16, Float32 };

/// Bytes of one pixel: four channels, in the order A R G B.
constexpr int pixelBytes(Depth depth) {
    return depth == Depth::Bits8 ? 4 : depth == Depth::Bits16 ? 8 : 16;
}

/// How a world's rows are stored in memory.
struct RowLayout {
    int paddingBytes = 0;   ///< after the pixels of each row; a multiple of the channel size
    bool bottomUp = false;  ///< the first row comes last in memory: a negative stride
};

/// The largest width and height of a world.
inline constexpr int kMaximumDimension = 30000;

/// Owns its pixels, which are zero at first. Can be moved; only `clone` copies.
class World {
public:
    /// Throws HostError for a size below 1 or above kMaximumDimension or an invalid layout, and std::bad_alloc when
    /// memory is short.
    World(Depth depth, int width, int height, RowLayout layout = {});
    World(World&&) noexcept = default;
    World& operator=(World&&) noexcept = default;
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    World clone() const;

    Depth depth() const { return depth_; }
    int bitsPerChannel() const { return 2 * pixelBytes(depth_); }
    int width() const { return def_.width; }
    int height() const { return def_.height; }
    /// Signed bytes from one row to the next.
    std::ptrdiff_t rowBytes() const { return def_.rowbytes; }
    /// The position of the top left pixel in the layer's coordinates; (0, 0) at first.
    void setOrigin(int x, int y);
    /// The area that the world covers in its layer's coordinates.
    PF_LRect rectangle() const;

    /// The first byte of row y; 0 <= y < height.
    std::byte* row(int y);
    const std::byte* row(int y) const;
    /// The 4 * width channels of row y; `Channel` is the depth's type: std::uint8_t, std::uint16_t or float.
    template <typename Channel>
    Channel* channels(int y) {
        return reinterpret_cast<Channel*>(row(y));
    }
    template <typename Channel>
    const Channel* channels(int y) const {
        return reinterpret_cast<const Channel*>(row(y));
    }

    /// All of the memory, padding included.
    ZeroedMemory& memory() { return memory_; }
    const ZeroedMemory& memory() const { return memory_; }

    /// The host's record of this world, which points to this object's memory. Valid until this object is destroyed or
    /// moved from.
    PF_LayerDef& def() { return def_; }
    const PF_LayerDef& def() const { return def_; }

private:
    Depth depth_;
    RowLayout layout_;
    ZeroedMemory memory_;
    PF_LayerDef def_{};
};

}  // namespace quorvel::host
