// SPDX-License-Identifier: MIT
#include "cli/video/transparency.h"

#include <algorithm>
#include <cstdint>

#include "cli/video/demuxer.h"
#include "cli/video/planes.h"

namespace quorvel::cli {
namespace {

bool isTransparent(const AVFrame& frame) {
    const Planes planes = separated(frame);
    if (!planes.alpha || planes.alpha->format != AV_PIX_FMT_GRAY8) {
        return planes.alpha != nullptr;
    }
    for (int y = 0; y < planes.alpha->height; ++y) {
        const std::uint8_t* row = planes.alpha->data[0] + static_cast<std::ptrdiff_t>(y) * planes.alpha->linesize[0];
        if (std::any_of(row, row + planes.alpha->width, [](std::uint8_t value) { return value != UINT8_MAX; })) {
            return true;
        }
    }
    return false;
}

/// False at the end, and where the file is damaged: that is told of when its frame is read.
bool readOn(Demuxer& demuxer, AVPacket& packet) {
    try {
        return demuxer.read(packet);
    } catch (const Failure&) {
        return false;
    }
}

}  // namespace

bool alwaysDeliversAlpha(AVCodecID codec, AVPixelFormat format) {
    return codec == AV_CODEC_ID_GIF || (av::describe(format).flags & AV_PIX_FMT_FLAG_PAL) != 0;
}

bool isTransparent(const std::filesystem::path& file) {
    Demuxer demuxer(file);
    const int index = demuxer.videoStream();
    const av::CodecPtr decoder = demuxer.openDecoder(index, 1);
    const av::PacketPtr packet = av::newPacket();
    const av::FramePtr frame = av::newFrame();
    for (bool more = true; more;) {
        more = readOn(demuxer, *packet);
        if (more && packet->stream_index != index) {
            continue;
        }
        (void)avcodec_send_packet(decoder.get(), more ? packet.get() : nullptr);
        while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
            if (isTransparent(*frame)) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace quorvel::cli
