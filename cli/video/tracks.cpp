// SPDX-License-Identifier: MIT
#include "cli/video/tracks.h"

#include <new>
#include <string_view>

#include "cli/video/metadata.h"

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

/// How much later than it sounds a packet must be written, in seconds. Matroska says of Opus how long its run-up is,
/// and readers subtract that from the times; FFmpeg before 6 does not add it.
AVRational runUp(const Container& container, const AVCodecParameters& parameters) {
    const std::string_view muxer = container.muxer;
    const bool needed = (muxer == "matroska" || muxer == "webm") && parameters.codec_id == AV_CODEC_ID_OPUS &&
                        AV_VERSION_MAJOR(avformat_version()) < 60;
    constexpr int opusRate = 48000;
    return {needed ? parameters.initial_padding : 0, opusRate};
}

}  // namespace

Tracks::Tracks(const Input& source, AVFormatContext& output, const VideoWriteSettings& settings,
               const Container& container, const std::string& outputName, std::vector<std::string>& notes)
    : demuxer_(source.file()),
      output_(output),
      container_(container),
      outputName_(outputName),
      cut_(settings.cutTracks) {
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
        if (!audio && !subtitles) {
            // The time code's track is made anew from what it says.
            if (parameters.codec_tag != MKTAG('t', 'm', 'c', 'd')) {
                notes.push_back(fmt::format("{}: {} is left out", demuxer_.name(), nameOf(i)));
            }
            continue;
        }
        keep(i, audio && settings.audio == AudioChoice::Aac && parameters.codec_id != AV_CODEC_ID_AAC);
        if (!holds(container, *output_.streams[outputStream_.back()]->codecpar)) {
            const bool encodable = audio && settings.audio == AudioChoice::Copy &&
                                   avformat_query_codec(output.oformat, AV_CODEC_ID_AAC, FF_COMPLIANCE_NORMAL) == 1;
            const char* const waysOut = !audio      ? "--subtitles none leaves it out"
                                        : encodable ? "--audio aac encodes it, --audio none leaves it out"
                                                    : "--audio none leaves it out";
            throw Failure("{}: {} cannot hold {} of {}; {}", outputName_, container.title, nameOf(i), demuxer_.name(),
                          waysOut);
        }
    }
}

std::string Tracks::nameOf(int stream) const {
    const AVCodecParameters& parameters = *demuxer_.stream(stream).codecpar;
    return fmt::format("{} track {} ({})", kindOf(parameters.codec_type), stream,
                       avcodec_get_name(parameters.codec_id));
}

void Tracks::keep(int index, bool encoded) {
    AVStream& from = demuxer_.stream(index);
    AVStream* to = avformat_new_stream(&output_, nullptr);
    if (to == nullptr) {
        throw std::bad_alloc();
    }
    int copied = 0;
    if (encoded) {
        const bool globalHeader = (output_.oformat->flags & AVFMT_GLOBALHEADER) != 0;
        const std::string name = fmt::format("{}: {}", demuxer_.name(), nameOf(index));
        const AVCodecContext& encoder = encoders_.try_emplace(index, from, name, globalHeader).first->second.encoder();
        copied = avcodec_parameters_from_context(to->codecpar, &encoder);
        to->time_base = encoder.time_base;
    } else {
        copied = avcodec_parameters_copy(to->codecpar, from.codecpar);
        to->codecpar->codec_tag = 0;  // which the container chooses
        to->time_base = from.time_base;
    }
    if (copied < 0) {
        throw std::bad_alloc();
    }
    to->disposition = from.disposition;
    av_dict_copy(&to->metadata, from.metadata, 0);
    nameLanguageFor(container_, to->metadata);
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
    // Sound that is encoded anew is cut to the sample, and its decoder may need what comes before.
    if (!cut_ || packet.pts >= 0 || encoders_.contains(from.index)) {
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
        ended_ = ended_ || kept_ == 0 || !demuxer_.read(*packet_);
        if (ended_) {
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

void Tracks::write(AVPacket& packet, AVRational base, const AVStream& to) {
    const AVRational later = runUp(container_, *to.codecpar);
    const std::int64_t shift = av_rescale_q(later.num, {1, later.den}, base);
    packet.pts += packet.pts != AV_NOPTS_VALUE ? shift : 0;
    packet.dts += packet.dts != AV_NOPTS_VALUE ? shift : 0;
    av_packet_rescale_ts(&packet, base, to.time_base);
    packet.stream_index = to.index;
    packet.pos = -1;
    av::forgetMessages();
    const int written = av_interleaved_write_frame(&output_, &packet);
    if (written < 0) {
        throw av::failure(outputName_, "cannot be written", written);
    }
}

void Tracks::writePacket() {
    const int index = packet_->stream_index;
    const AVStream& to = *output_.streams[outputStream_[static_cast<std::size_t>(index)]];
    waiting_ = false;
    const auto encoder = encoders_.find(index);
    if (encoder == encoders_.end()) {
        write(*packet_, demuxer_.stream(index).time_base, to);
        return;
    }
    encoder->second.put(*packet_, [&](AVPacket& packet) { write(packet, encoder->second.encoder().time_base, to); });
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
        waiting_ = false;
        endTrack(packet_->stream_index);
    }
    for (int i = 0; i < demuxer_.streamCount(); ++i) {
        endTrack(i);
    }
}

void Tracks::endTrack(int index) {
    int& to = outputStream_[static_cast<std::size_t>(index)];
    if (to < 0) {
        return;
    }
    const auto found = encoders_.find(index);
    if (found != encoders_.end()) {
        SoundEncoder& encoder = found->second;
        encoder.finish([&](AVPacket& packet) { write(packet, encoder.encoder().time_base, *output_.streams[to]); });
    }
    to = -1;
    --kept_;
}

}  // namespace quorvel::cli
