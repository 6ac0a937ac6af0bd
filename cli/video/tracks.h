// SPDX-License-Identifier: MIT
// Sound and subtitles of a video on their way into another, packet by packet.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "cli/video/av.h"
#include "cli/video/codecs.h"
#include "cli/video/demuxer.h"
#include "cli/video/input.h"
#include "cli/video/sound.h"
#include "cli/video/video_settings.h"

namespace quorvel::cli {

/// A moment, in the unit that it is counted in.
struct Moment {
    std::int64_t time = 0;
    AVRational base{1, AV_TIME_BASE};
};

class Tracks {
public:
    /// Adds a stream to the output for each of the source's that is kept. Throws Failure naming what the output cannot
    /// hold. Notes name what is left out.
    Tracks(const Input& source, AVFormatContext& output, const VideoWriteSettings& settings, const Container& container,
           const std::string& outputName, std::vector<std::string>& notes);

    /// The source's moment that is 0 in the output. What ends before it is left out when the tracks are cut.
    void begin(Moment zero) { zero_ = zero; }
    /// Writes what begins before `end`, a moment of the output. Throws Failure.
    void copyUntil(Moment end);
    /// Writes all that is left, or only what begins before `end`. Throws Failure.
    void copyRest(std::optional<Moment> end);

private:
    void keep(int stream, bool encoded);
    std::string nameOf(int stream) const;
    /// Hands a packet in the time of `base` to the container.
    void write(AVPacket& packet, AVRational base, const AVStream& to);
    /// False when the packet is left out.
    bool toOutputTime(AVPacket& packet, const AVStream& from) const;
    bool readPacket();
    bool beginsBefore(const Moment& end) const;
    void writePacket();
    void endTrack(int stream);

    Demuxer demuxer_;
    AVFormatContext& output_;
    const Container& container_;
    std::string outputName_;
    bool cut_;
    std::vector<int> outputStream_;         ///< of each of the source's streams; -1 for none, or none any more
    std::map<int, SoundEncoder> encoders_;  ///< of the source's streams that are encoded anew
    Moment zero_;
    av::PacketPtr packet_ = av::newPacket();
    bool waiting_ = false;  ///< the packet has been read and not been written yet
    bool ended_ = false;    ///< there is nothing left to read
    int kept_ = 0;          ///< how many tracks there are to copy
};

}  // namespace quorvel::cli
