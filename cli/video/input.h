// SPDX-License-Identifier: MIT
// A video that is decoded from its beginning on.
#pragma once

#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/pictures/placement.h"
#include "cli/video/coded_frame.h"
#include "cli/video/conversion.h"
#include "cli/video/demuxer.h"
#include "cli/video/planes.h"
#include "cli/video/video.h"

namespace quorvel::cli {

class Input final : public VideoInput {
public:
    Input(const std::filesystem::path& file, const VideoReadSettings& settings);

    int width() const override { return placement_->worldWidth(); }
    int height() const override { return placement_->worldHeight(); }
    host::Depth depth() const override { return depth_; }
    bool hasAlpha() const override { return alpha_; }
    void setDepth(host::Depth depth) override;
    int expectedFrames() const override;
    const std::vector<std::string>& notes() const override { return notes_; }
    CodedFramePtr next() override;
    double secondsOf(const CodedFrame& frame) const override;
    host::World world(const CodedFrame& frame) const override;

    // What an output keeps of it.
    const std::filesystem::path& file() const { return file_; }
    const Demuxer& demuxer() const { return demuxer_; }
    int streamIndex() const { return index_; }
    const AVStream& stream() const { return demuxer_.stream(index_); }
    /// The first frame, which is sure to be there.
    const AVFrame& firstFrame() const { return *first_; }
    /// As tagged, with assumptions where tags are missing.
    const Colour& colour() const { return colour_; }
    AVRational frameRate() const { return rate_; }
    /// The moment that is 0 in a copy, in units of 1 / AV_TIME_BASE: transport streams count from anywhere.
    std::int64_t startTime() const;
    /// Of the frames as shown.
    AVRational sampleAspect() const;
    /// What stream or first frame say besides, such as the mastering display; null when neither does.
    const std::uint8_t* sideData(AVPacketSideDataType ofStream, AVFrameSideDataType ofFrame) const;

private:
    void placeFrames(const VideoReadSettings& settings);
    /// Null at the end.
    std::shared_ptr<CodedFrame> decode();
    void refuseDamage(const AVFrame& frame) const;
    void feedDecoder();
    /// The next packet is in `packet_`; false at the end. Throws Failure when the video is damaged or cut off.
    bool readPacket();

    std::filesystem::path file_;
    Demuxer demuxer_;
    int index_;
    av::CodecPtr decoder_;
    av::PacketPtr packet_ = av::newPacket();
    AVRational rate_;
    host::Depth depth_ = host::Depth::Bits8;
    bool alpha_ = false;
    Colour colour_;
    std::optional<Placement> placement_;
    std::unique_ptr<Conversion> conversion_;  ///< null for R'G'B'
    std::vector<std::string> notes_;
    av::FramePtr first_;
    std::shared_ptr<CodedFrame> decodedFirst_;  ///< until it is delivered
    std::int64_t number_ = 0;                   ///< of the next frame to be decoded
    std::int64_t firstTime_ = 0, lastTime_ = 0;
    std::exception_ptr damage_;  ///< thrown after the frames before it
};

}  // namespace quorvel::cli
