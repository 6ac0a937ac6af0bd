// SPDX-License-Identifier: MIT
// What the encoders of the formats have in common.
#pragma once

#include <OpenImageIO/imageio.h>

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "cli/pictures/channel_values.h"
#include "cli/pictures/formats.h"
#include "cli/pictures/traits.h"

namespace quorvel::cli {

/// A world to be encoded, and how.
struct EncodeRequest {
    const host::World& world;
    const Format& format;
    const std::string& name;          ///< what the user calls the result, for messages
    OIIO::ImageSpec spec;             ///< the output's: size, channels, sample type and metadata
    host::Depth depth;                ///< of the output's samples
    std::vector<std::string>& notes;  ///< for the user; the encoders add to them
    Compression compression{};
    int quality = 95;
    const FurtherChannels* further = nullptr;  ///< written after the spec's own channels; null for none
    Packets packets{};                         ///< only what the format holds
};

/// One row of the world as a file's samples: `channels` is 3 for R, G, B, or 4 with A.
template <typename Sample>
void packRow(const host::World& world, int y, int channels, Sample* to) {
    withTypeOf(world.depth(), [&](auto tag) {
        // The world has A, R, G and B. The number of channels is decided outside of the loops, which are then fast.
        const auto* from = world.channels<decltype(tag)>(y);
        const auto* const end = from + static_cast<std::ptrdiff_t>(world.width()) * 4;
        const auto pack = [&](auto alpha) {
            for (; from != end; from += 4) {
                *to++ = toFile<Sample>(from[1]);
                *to++ = toFile<Sample>(from[2]);
                *to++ = toFile<Sample>(from[3]);
                if constexpr (alpha) {
                    *to++ = toFile<Sample>(from[0]);
                }
            }
        };
        channels == 4 ? pack(std::true_type{}) : pack(std::false_type{});
    });
}

/// With OpenImageIO's writer of the format, in memory. Values that the format cannot hold, which are those below 0 of
/// HDR, become 0 with a note. Throws Failure naming the file.
std::vector<unsigned char> encodeWithLibrary(const EncodeRequest& request);

/// What OpenImageIO's writer makes of a picture of one pixel with the request's metadata: a whole small file, of which
/// the other encoders take everything but the pixels. An ICC profile that the writer refuses is left out with a note.
std::vector<unsigned char> encodeMetadata(const EncodeRequest& request);

// Each compresses pieces of the picture side by side. The result does not depend on the number of threads.
std::vector<unsigned char> encodePng(const EncodeRequest& request);
std::vector<unsigned char> encodeTiff(const EncodeRequest& request);
/// Compressed as zip or zips, without further channels.
std::vector<unsigned char> encodeOpenExr(const EncodeRequest& request);
std::vector<unsigned char> encodeJpeg(const EncodeRequest& request);

/// PPM, or PGM when the name says so. Throws Failure when a picture with colour is to be a PGM file.
std::vector<unsigned char> encodePnm(const EncodeRequest& request);

}  // namespace quorvel::cli
