// SPDX-License-Identifier: MIT
// A track of sound that is decoded and encoded anew.
#pragma once

#include <functional>
#include <string>

#include "cli/video/av.h"

namespace quorvel::cli {

/// Encodes as AAC. Channels stay as they are; a sampling rate that AAC does not have becomes 48 kHz.
class SoundEncoder {
public:
    using Sink = std::function<void(AVPacket&)>;

    /// `name` is of the track, for messages; `globalHeader` is what the container wants. Throws Failure.
    SoundEncoder(const AVStream& from, const std::string& name, bool globalHeader);

    /// Hands a packet to the decoder, and what comes out of the encoder to `sink`, in the encoder's time base. Sound
    /// before time 0 is left out. Throws Failure.
    void put(const AVPacket& packet, const Sink& sink);
    /// Ends the track.
    void finish(const Sink& sink);

    const AVCodecContext& encoder() const { return *encoder_; }

private:
    void openDecoder(const AVStream& from);
    void openEncoder(bool globalHeader);
    void makeGraph(const AVFrame& first);
    // Null ends each of them.
    void decode(const AVPacket* packet, const Sink& sink);
    void filter(av::FramePtr frame, const Sink& sink);
    void encode(const AVFrame* frame, const Sink& sink);

    std::string name_;
    AVRational packetBase_;
    av::CodecPtr decoder_;
    av::CodecPtr encoder_;
    av::GraphPtr graph_;
    AVFilterContext* source_ = nullptr;
    AVFilterContext* sink_ = nullptr;
    av::PacketPtr packet_ = av::newPacket();
};

}  // namespace quorvel::cli
