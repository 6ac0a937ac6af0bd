// SPDX-License-Identifier: MIT
// What the picture files' readers and writers share.
#pragma once

#include <OpenImageIO/imageio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/pictures/packets.h"
#include "cli/pictures/picture.h"

namespace quorvel::cli {

/// Channels of an OpenEXR file that are not rendered, in the file's own sample types, for each pixel of the world.
struct FurtherChannels {
    std::vector<std::string> names;
    std::vector<OIIO::TypeDesc> types;
    std::size_t pixelBytes = 0;
    std::vector<std::byte> pixels;  ///< row by row, all channels of a pixel together

    bool empty() const { return names.empty(); }
};

struct PictureTraits {
    /// Of the picture as shown, in full resolution: with OpenEXR, position and size are those of the display window;
    /// where the pixels were turned, the orientation is normal.
    OIIO::ImageSpec spec;
    std::string format;  ///< OpenImageIO's name of it
    int downsample = 1;
    host::Depth depth = host::Depth::Bits8;                   ///< the file's own
    std::array<std::string, 4> channels{"R", "G", "B", "A"};  ///< the names of those rendered
    FurtherChannels further;
    Packets packets;  ///< as in the file
};

OIIO::TypeDesc sampleType(host::Depth depth);

/// The spec's integer or, for a name that is missing, `otherwise`.
inline int intAttribute(const OIIO::ImageSpec& spec, std::string_view name, int otherwise) {
    return spec.get_int_attribute(OIIO::string_view(name.data(), name.size()), otherwise);
}

/// The one switch over depths: calls `work` with a value of the channel (or sample) type of that depth.
template <typename Work>
void withTypeOf(host::Depth depth, const Work& work) {
    switch (depth) {
        case host::Depth::Bits8:
            return work(std::uint8_t{});
        case host::Depth::Bits16:
            return work(std::uint16_t{});
        case host::Depth::Float32:
            return work(float{});
    }
}

}  // namespace quorvel::cli
