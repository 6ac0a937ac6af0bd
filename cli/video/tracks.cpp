// SPDX-License-Identifier: MIT
#include "cli/video/tracks.h"

#include <new>

namespace quorvel::cli {
namespace {

const char* kindOf(AVMediaType type) {
    switch (type) {
        case AVMEDIA_TYPE_VIDEO:
            return "video";
        case AVMEDIA_TYPE_AUDIO:
            return "audio";
        case AVMEDIA_TYPE_SUBTITLE:
            return "subtitle";
        case AVMEDIA_TYPE_ATTACHMENT:
            return "attachment";
        default:
            return "data";
    }
}

}  // namespace

Tracks::Tracks(const Input& source, AVFormatContext& output, const VideoWriteSettings& settings, const char* container,
               const std::string& outputName, std::vector<std::string>& notes)
    : demuxer_(source.file()), output_(output), outputName_(outputName), cut_(settings.cutTracks) {
    for (int i = 0; i < demuxer_.streamCount(); ++i) {
        outputStream_.push_back(-1);
        const AVCodecParameters& parameters = *demuxer_.stream(i).codecpar;
        const bool audio = parameters.codec_type == AVMEDIA_TYPE_AUDIO;
        const bool subtitles = parameters.codec_type == AVMEDIA_TYPE_SUBTITLE;
        const bool chapters = demuxer_.stream(i).discard == AVDISCARD_ALL;  // a track of titles, which has been read
        demuxer_.ignore(i);
        if (i == source.streamIndex() || chapters || (audio && settings.audio == AudioChoice::None) ||
            (subtitles && settings.subtitles == SubtitleChoice::None)) {
            continue;
        }
        const std::string track =
            fmt::format("{} track {} ({})", kindOf(parameters.codec_type), i, avcodec_get_name(parameters.codec_id));
        if (!audio && !subtitles) {
            // The time code's track is made anew from what it says.
            if (parameters.codec_tag != MKTAG('t', 'm', 'c', 'd')) {
                notes.push_back(fmt::format("{}: {} is left out", demuxer_.name(), track));
            }
            continue;
        }
        if (avformat_query_codec(output.oformat, parameters.codec_id, FF_COMPLIANCE_NORMAL) != 1) {
            throw Failure("{}: {} cannot hold {} of {}; --{} none leaves it out", outputName_, container, track,
                          demuxer_.name(), audio ? "audio" : "subtitles");
        }
        keep(i, output);
    }
}

void Tracks::keep(int index, AVFormatContext& output) {
    AVStream& from = demuxer_.stream(index);
    AVStream* to = avformat_new_stream(&output, nullptr);
    if (to == nullptr || avcodec_parameters_copy(to->codecpar, from.codecpar) < 0) {
        throw std::bad_alloc();
    }
    to->codecpar->codec_tag = 0;  // which the container chooses
    to->time_base = from.time_base;
    to->disposition = from.disposition;
    av_dict_copy(&to->metadata, from.metadata, 0);
    from.discard = AVDISCARD_DEFAULT;
    outputStream_[static_cast<std::size_t>(index)] = to->index;
    ++kept_;
}

bool Tracks::toOutputTime(AVPacket& packet, const AVStream& from) const {
    const std::int64_t zero = av_rescale_q(zero_.time, zero_.base, from.time_base);
    if (packet.pts == AV_NOPTS_VALUE) {
        packet.pts = packet.dts;
    }
    if (packet.pts == AV_NOPTS_VALUE) {
        return !cut_;
    }
    if (packet.dts != AV_NOPTS_VALUE) {
        packet.dts -= zero;
    }
    packet.pts -= zero;
    if (!cut_ || packet.pts >= 0) {
        return true;
    }
    // A subtitle that is still shown begins with the first frame; sound begins with its first whole packet.
    if (from.codecpar->codec_type != AVMEDIA_TYPE_SUBTITLE || packet.pts + packet.duration <= 0) {
        return false;
    }
    packet.duration += packet.pts;
    packet.pts = packet.dts = 0;
    return true;
}

/// Makes the next packet the one that waits; false at the end.
bool Tracks::readPacket() {
    while (!waiting_) {
        if (kept_ == 0 || !demuxer_.read(*packet_)) {
            return false;
        }
        const int to = outputStream_[static_cast<std::size_t>(packet_->stream_index)];
        waiting_ = to >= 0 && toOutputTime(*packet_, demuxer_.stream(packet_->stream_index));
    }
    return true;
}

bool Tracks::beginsBefore(const Moment& end) const {
    const AVRational base = demuxer_.stream(packet_->stream_index).time_base;
    return packet_->pts == AV_NOPTS_VALUE || av_compare_ts(packet_->pts, base, end.time, end.base) < 0;
}

void Tracks::writePacket() {
    const AVStream& from = demuxer_.stream(packet_->stream_index);
    const AVStream& to = *output_.streams[outputStream_[static_cast<std::size_t>(packet_->stream_index)]];
    av_packet_rescale_ts(packet_.get(), from.time_base, to.time_base);
    packet_->stream_index = to.index;
    packet_->pos = -1;
    waiting_ = false;
    av::forgetMessages();
    const int written = av_interleaved_write_frame(&output_, packet_.get());
    if (written < 0) {
        throw av::failure(outputName_, "cannot be written", written);
    }
}

void Tracks::copyUntil(Moment end) {
    while (readPacket() && beginsBefore(end)) {
        writePacket();
    }
}

void Tracks::copyRest(std::optional<Moment> end) {
    while (readPacket()) {
        if (!end || beginsBefore(*end)) {
            writePacket();
            continue;
        }
        // Tracks are interleaved only roughly: others may have packets before the end after this one.
        int& to = outputStream_[static_cast<std::size_t>(packet_->stream_index)];
        to = -1;
        --kept_;
        waiting_ = false;
    }
}

}  // namespace quorvel::cli
