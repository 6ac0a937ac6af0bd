// SPDX-License-Identifier: MIT
// A video that is encoded and written.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/staged_file.h"
#include "cli/video/codecs.h"
#include "cli/video/coded_frame.h"
#include "cli/video/conversion.h"
#include "cli/video/input.h"
#include "cli/video/tracks.h"
#include "cli/video/video.h"

namespace quorvel::cli {

class Output final : public VideoOutput {
public:
    Output(const std::filesystem::path& file, const VideoDescription& description, const VideoWriteSettings& settings);

    const std::vector<std::string>& notes() const override { return notes_; }
    CodedFramePtr coded(const host::World& world) const override;
    void write(const CodedFrame& frame, const CodedFrame* source) override;
    bool finish(const std::function<bool()>& stopped) override;

private:
    void openContainer();
    void openEncoder(const VideoDescription& description);
    void keepFieldOrder(AVCodecContext& encoder) const;
    void addVideoStream();
    void openFile(const std::filesystem::path& file);
    void beginAt(const CodedFrame& first);
    void encode(const AVFrame& frame);
    /// Null ends the stream.
    void send(const AVFrame* frame);
    /// Writes the encoder's next packet; false when it has none for now, or at its end.
    bool writePacket();

    std::string name_;
    VideoWriteSettings settings_;
    const Input* source_;
    const Container& container_;
    const Codec& codec_;
    std::vector<std::string> notes_;
    AVPixelFormat format_ = AV_PIX_FMT_NONE;
    Colour colour_;
    std::unique_ptr<Conversion> conversion_;  ///< null for R'G'B'
    AVRational rate_{25, 1};
    bool keepsTimes_ = false;  ///< the frames have the source's times; otherwise they follow the rate

    // In this order, so that what is open is closed before the file is removed.
    std::optional<StagedFile> staged_;
    av::OutputPtr context_;
    av::CodecPtr encoder_;
    AVStream* stream_ = nullptr;  ///< belongs to the context
    std::unique_ptr<Tracks> tracks_;
    av::PacketPtr packet_ = av::newPacket();

    std::int64_t written_ = 0;
    std::int64_t zero_ = 0;                           ///< in the source's time
    std::int64_t lastTime_ = 0, end_ = 0;             ///< in the output's
    std::map<std::int64_t, std::int64_t> durations_;  ///< of the frames in the encoder
};

}  // namespace quorvel::cli
