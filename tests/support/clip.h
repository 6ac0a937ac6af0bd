// SPDX-License-Identifier: MIT
// Small videos made for tests through FFmpeg's libraries, and what is in the videos that come out. For tests that link
// clip_test_support.
#pragma once

#include <cstdint>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavutil/pixfmt.h>
}

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace quorvel::test {

/// What a clip is made of. Frames are coded to the bit.
struct ClipRecipe {
    AVCodecID codec = AV_CODEC_ID_FFV1;
    int width = 32, height = 24;
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    /// Sample `value(frame, component, x, y)` of a planar format.
    std::function<int(int, int, int, int)> value = [](int frame, int component, int x, int y) {
        return 16 + (frame * 9 + component * 31 + x * 5 + y * 3) % 200;
    };
    std::vector<std::int64_t> times{0, 40, 80, 120, 160};  ///< of the frames, in milliseconds
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVChromaLocation siting = AVCHROMA_LOC_UNSPECIFIED;
    std::function<std::uint32_t(int)> palette;       ///< colour i of a palette as ARGB
    int aspectNumerator = 1, aspectDenominator = 1;  ///< of a pixel
    int rotation = 0;                                ///< counter-clockwise degrees to show it upright; for .mov
    bool sound = false;                              ///< PCM, stereo, 16 bits, 48 kHz, 20 ms a packet, 400 ms long
    bool hdr = false;                                ///< mastering display and light levels
    std::string title;
};

/// Writes a clip whose container follows the name's ending. Throws std::runtime_error.
void makeClip(const std::string& file, const ClipRecipe& recipe);

struct ClipPacket {
    std::int64_t time = 0;      ///< in microseconds
    std::int64_t duration = 0;  ///< in microseconds
    std::string bytes;
};

struct ClipStream {
    std::string codec;
    std::string pixelFormat;
    int width = 0, height = 0;
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    int aspectNumerator = 0, aspectDenominator = 1;
    bool turned = false;              ///< has a display matrix
    double brightest = 0;             ///< of the mastering display, in cd/m2
    std::vector<ClipPacket> packets;  ///< in the order of their times
    std::vector<std::int64_t> times() const;
    std::string bytes() const;  ///< of all packets
};

struct ClipContent {
    std::map<std::string, std::string> metadata;
    std::vector<ClipStream> streams;  ///< video before sound
};

ClipContent readClip(const std::string& file);

}  // namespace quorvel::test
