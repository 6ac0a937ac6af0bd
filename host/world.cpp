// SPDX-License-Identifier: MIT
#include "host/world.h"

#include <algorithm>
#include <limits>
#include <string>

#include "host/base/error.h"

namespace quorvel::host {

World::World(Depth depth, int width, int height, RowLayout layout) : depth_(depth), layout_(layout) {
    if (width < 1 || height < 1 || width > kMaximumDimension || height > kMaximumDimension) {
        throw HostError("picture of " + std::to_string(width) + "x" + std::to_string(height) +
                        " pixels: expected 1 to " + std::to_string(kMaximumDimension) + " in each direction");
    }
    const int channelBytes = pixelBytes(depth) / 4;
    const int pixels = width * pixelBytes(depth);
    if (layout.paddingBytes < 0 || layout.paddingBytes % channelBytes != 0 ||
        layout.paddingBytes > std::numeric_limits<int>::max() - pixels) {
        throw HostError("row padding of " + std::to_string(layout.paddingBytes) + " bytes: expected a multiple of " +
                        std::to_string(channelBytes));
    }
    const int rowBytes = pixels + layout.paddingBytes;
    memory_ = ZeroedMemory(static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(height));
    def_.width = width;
    def_.height = height;
    def_.rowbytes = layout.bottomUp ? -rowBytes : rowBytes;
    def_.extent_hint = {0, 0, width, height};
    def_.pix_aspect_ratio = {1, 1};
    def_.world_flags = depth == Depth::Bits16 ? PF_WorldFlag_DEEP : 0;
    std::byte* first = memory_.data();
    if (layout.bottomUp) {
        first += static_cast<std::ptrdiff_t>(rowBytes) * (height - 1);
    }
    def_.data = reinterpret_cast<PF_Pixel8*>(first);
}

World World::clone() const {
    World copy(depth_, width(), height(), layout_);
    std::copy(memory_.begin(), memory_.end(), copy.memory_.begin());
    copy.def_ = def_;
    const std::ptrdiff_t start = reinterpret_cast<const std::byte*>(def_.data) - memory_.data();
    copy.def_.data = reinterpret_cast<PF_Pixel8*>(copy.memory_.data() + start);
    return copy;
}

void World::setOrigin(int x, int y) {
    def_.origin_x = x;
    def_.origin_y = y;
}

PF_LRect World::rectangle() const {
    return {def_.origin_x, def_.origin_y, def_.origin_x + def_.width, def_.origin_y + def_.height};
}

std::byte* World::row(int y) {
    return reinterpret_cast<std::byte*>(def_.data) + static_cast<std::ptrdiff_t>(y) * def_.rowbytes;
}

const std::byte* World::row(int y) const {
    return reinterpret_cast<const std::byte*>(def_.data) + static_cast<std::ptrdiff_t>(y) * def_.rowbytes;
}

}  // namespace quorvel::host
