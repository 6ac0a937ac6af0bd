// SPDX-License-Identifier: MIT
// A media file that is read packet by packet.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "cli/video/av.h"

namespace quorvel::cli {

class Demuxer {
public:
    /// Opens the file and finds out what its streams are. Throws Failure naming the file.
    explicit Demuxer(const std::filesystem::path& file);

    const std::string& name() const { return name_; }
    AVFormatContext& context() const { return *context_; }
    AVStream& stream(int index) const { return *context_->streams[index]; }
    int streamCount() const { return static_cast<int>(context_->nb_streams); }
    /// The stream to render: the one that a player would choose. Throws Failure when there is none.
    int videoStream() const;
    /// A decoder of a stream, with as many threads as there are processors for 0. Throws Failure.
    av::CodecPtr openDecoder(int stream, int threads) const;
    /// Whether a decoder that says of damage nothing but a message has done so.
    bool decoderComplained() const { return *complaints_ > 0; }
    /// The streams of which `read` delivers nothing.
    void ignore(int stream) const { context_->streams[stream]->discard = AVDISCARD_ALL; }

    /// The next packet; false at the end. Throws Failure when the file is damaged or cut off.
    bool read(AVPacket& packet);
    /// What is to be said when the file cannot be read on: how much of it is missing, or else what the error means.
    Failure damage(int error) const;

private:
    bool endsInFrame() const;

    std::filesystem::path file_;
    std::string name_;
    const AVInputFormat* format_;
    av::InputPtr context_;
    std::int64_t end_ = 0;  ///< of the last packet, in the file
    std::unique_ptr<av::Complaints> complaints_ = std::make_unique<av::Complaints>(0);
};

/// Whether the content is one that FFmpeg's containers recognise.
bool isMediaFile(const std::filesystem::path& file);

/// The name under which the libraries open a file, whatever characters it has.
std::string urlOf(const std::filesystem::path& file);

}  // namespace quorvel::cli
