// SPDX-License-Identifier: MIT
#include "cli/video/output.h"

extern "C" {
#include <libavutil/mem.h>
}

#include <algorithm>
#include <string_view>
#include <utility>

#include "cli/video/metadata.h"

namespace quorvel::cli {
namespace {

constexpr char kStandardOutput[] = "standard output";

std::string shownName(const std::filesystem::path& file) {
    return file == "-" ? kStandardOutput : file.string();
}

}  // namespace

Output::Output(const std::filesystem::path& file, const VideoDescription& description,
               const VideoWriteSettings& settings)
    : name_(shownName(file)),
      settings_(settings),
      source_(static_cast<const Input*>(description.source)),
      container_(containerOf(file, settings)),
      codec_(codecOf(container_, settings, description.alpha, description.depth)) {
    format_ = pixelFormatFor(codec_, description, source_, name_, notes_);
    colour_ = colourFor(codec_, format_, description.height, source_);
    if ((av::describe(format_).flags & AV_PIX_FMT_FLAG_RGB) == 0) {
        const AVPixFmtDescriptor& chosen = av::describe(format_);
        const AVPixelFormat opaque = yuvFormat(chosen.log2_chroma_w, chosen.log2_chroma_h, chosen.comp[0].depth);
        conversion_ =
            std::make_unique<Conversion>(Conversion::End{rgbFormat(description.depth), {}},
                                         Conversion::End{opaque, colour_}, description.width, description.height);
    }
    openContainer();
    openEncoder(description);
    addVideoStream();
    if (source_ != nullptr && !container_.pictures) {
        copyMetadata(*source_, settings_.cutTracks, settings_.firstFrame, *context_);
        tracks_ = std::make_unique<Tracks>(*source_, *context_, settings_, container_, name_, notes_);
    }
    // Only now, so that whatever is refused leaves no trace.
    openFile(file);
}

void Output::openContainer() {
    AVFormatContext* context = nullptr;
    const int made = avformat_alloc_output_context2(&context, nullptr, container_.muxer, nullptr);
    if (made < 0) {
        throw Failure("{}: this build of FFmpeg cannot write {}", name_, container_.title);
    }
    context_.reset(context);
    if (codec_.form == Codec::Form::Raw) {
        context_->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;  // Y4M with more than 8 bits
    }
    const std::string_view muxer = container_.muxer;
    if (muxer == "matroska" || muxer == "webm") {
        // Sound that begins before the first frame, as most coded sound does, must not move the frames.
        context_->avoid_negative_ts = 0;
    }
}

void Output::openEncoder(const VideoDescription& description) {
    const AVCodec* codec = avcodec_find_encoder_by_name(codec_.encoder);
    if (codec == nullptr) {
        throw Failure("{}: this build of FFmpeg has no encoder {} for {}", name_, codec_.encoder, codec_.name);
    }
    encoder_.reset(avcodec_alloc_context3(codec));
    if (!encoder_) {
        throw std::bad_alloc();
    }
    AVCodecContext& encoder = *encoder_;
    rate_ =
        source_ != nullptr ? source_->frameRate() : AVRational{settings_.rate.numerator, settings_.rate.denominator};
    encoder.width = description.width;
    encoder.height = description.height;
    encoder.pix_fmt = format_;
    encoder.framerate = rate_;
    keepsTimes_ =
        source_ != nullptr && (context_->oformat->flags & AVFMT_NOTIMESTAMPS) == 0 && codec_.form != Codec::Form::Raw;
    encoder.time_base = keepsTimes_ ? source_->stream().time_base : av_inv_q(rate_);
    if (source_ != nullptr) {
        encoder.sample_aspect_ratio = source_->sampleAspect();
        keepFieldOrder(encoder);
    }
    colour_.applyTo(encoder);
    encoder.thread_count = settings_.oneThread ? 1 : 0;
    if ((context_->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        encoder.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    av::Options options;
    setOptions(codec_, settings_, source_, description, options);
    av::forgetMessages();
    const int opened = avcodec_open2(&encoder, codec, options.get());
    if (opened < 0) {
        throw av::failure(name_,
                          fmt::format("{} cannot encode {} x {} as {}", codec_.name, encoder.width, encoder.height,
                                      av::describe(format_).name),
                          opened);
    }
}

void Output::keepFieldOrder(AVCodecContext& encoder) const {
    const AVFrame& first = source_->firstFrame();
    if (first.interlaced_frame == 0) {
        encoder.field_order = AV_FIELD_PROGRESSIVE;
        return;
    }
    encoder.field_order = first.top_field_first != 0 ? AV_FIELD_TT : AV_FIELD_BB;
    encoder.flags |= AV_CODEC_FLAG_INTERLACED_DCT;
}

void Output::addVideoStream() {
    stream_ = avformat_new_stream(context_.get(), nullptr);
    if (stream_ == nullptr || avcodec_parameters_from_context(stream_->codecpar, encoder_.get()) < 0) {
        throw std::bad_alloc();
    }
    stream_->time_base = encoder_->time_base;
    stream_->avg_frame_rate = stream_->r_frame_rate = rate_;
    stream_->sample_aspect_ratio = encoder_->sample_aspect_ratio;
    const std::string_view muxer = container_.muxer;
    if (codec_.id == AV_CODEC_ID_HEVC && (muxer == "mp4" || muxer == "mov")) {
        stream_->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');  // the one that Apple's players take
    }
    if (source_ != nullptr) {
        copyStreamMetadata(*source_, settings_.firstFrame, container_, *stream_);
    }
}

void Output::openFile(const std::filesystem::path& file) {
    std::string url = "pipe:1";
    if (file != "-") {
        staged_.emplace(file, settings_.clobber ? Existing::Replace : Existing::Keep);
        url = urlOf(staged_->path());
    }
    // Which a container that moves its index to the front opens once more.
    context_->url = av_strdup(url.c_str());
    av::forgetMessages();
    const int opened = avio_open(&context_->pb, url.c_str(), AVIO_FLAG_WRITE);
    if (opened < 0) {
        throw av::failure(name_, "cannot be written", opened);
    }
    av::Options options;
    const std::string_view muxer = container_.muxer;
    if (muxer == "mp4" || muxer == "mov") {
        options.set("movflags", "+faststart");
    }
    const int begun = avformat_write_header(context_.get(), options.get());
    if (begun < 0) {
        throw av::failure(name_, fmt::format("{} cannot hold these tracks", container_.title), begun);
    }
}

CodedFramePtr Output::coded(const host::World& world) const {
    auto coded = std::make_shared<CodedFrame>();
    if (!conversion_) {
        coded->frame = rgbFrame(world, format_);
        return coded;
    }
    try {
        coded->frame = (*conversion_)(*rgbFrame(world, rgbFormat(world.depth())));
    } catch (const Failure& failure) {
        throw Failure("{}: {}", name_, failure.what());
    }
    if (hasAlpha(format_)) {
        coded->frame = withAlpha(*coded->frame, format_, world);
    }
    return coded;
}

void Output::write(const CodedFrame& coded, const CodedFrame* source) {
    av::FramePtr frame = av::sharedFrame(*coded.frame);
    std::int64_t time = written_;
    std::int64_t duration = 1;
    if (source != nullptr && source_ != nullptr) {
        if (written_ == 0) {
            beginAt(*source);
        }
        if (keepsTimes_) {
            time = source->time - zero_;
            duration = source->duration;
        }
        frame->interlaced_frame = source->frame->interlaced_frame;
        frame->top_field_first = source->frame->top_field_first;
    }
    if (written_ > 0 && time <= lastTime_) {
        time = lastTime_ + 1;  // no codec takes two frames at one moment
    }
    lastTime_ = time;
    end_ = time + (duration > 0 ? duration : av_rescale_q(1, av_inv_q(rate_), encoder_->time_base));
    durations_[time] = duration;
    ++written_;
    colour_.applyTo(*frame);
    frame->pts = time;
    frame->pkt_duration = duration;
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    frame->sample_aspect_ratio = encoder_->sample_aspect_ratio;
    encode(*frame);
}

/// The source's moment that is 0 in the output: where it begins, or the first frame when only some are kept.
void Output::beginAt(const CodedFrame& first) {
    const AVRational base = source_->stream().time_base;
    Moment zero{first.time, base};
    if (!settings_.cutTracks) {
        zero = {source_->startTime(), {1, AV_TIME_BASE}};
    }
    zero_ = av_rescale_q(zero.time, zero.base, base);
    if (tracks_) {
        tracks_->begin(zero);
    }
}

void Output::encode(const AVFrame& frame) {
    send(&frame);
    while (writePacket()) {
    }
}

void Output::send(const AVFrame* frame) {
    av::forgetMessages();
    const int sent = avcodec_send_frame(encoder_.get(), frame);
    if (sent < 0) {
        throw av::failure(name_, fmt::format("{} cannot encode this frame", codec_.name), sent);
    }
}

bool Output::writePacket() {
    const int received = avcodec_receive_packet(encoder_.get(), packet_.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) {
        return false;
    }
    if (received < 0) {
        throw av::failure(name_, fmt::format("{} cannot encode this frame", codec_.name), received);
    }
    const auto duration = durations_.find(packet_->pts);
    if (duration != durations_.end()) {
        packet_->duration = duration->second;
        durations_.erase(duration);
    }
    if (tracks_) {
        tracks_->copyUntil(Moment{packet_->dts, encoder_->time_base});
    }
    packet_->stream_index = stream_->index;
    av_packet_rescale_ts(packet_.get(), encoder_->time_base, stream_->time_base);
    const int written = av_interleaved_write_frame(context_.get(), packet_.get());
    if (written < 0) {
        throw av::failure(name_, "cannot be written", written);
    }
    return true;
}

bool Output::finish(const std::function<bool()>& stopped) {
    send(nullptr);
    while (!stopped() && writePacket()) {
    }
    if (stopped()) {
        return false;
    }
    if (tracks_) {
        tracks_->copyRest(settings_.cutTracks ? std::optional(Moment{end_, encoder_->time_base}) : std::nullopt);
    }
    const int ended = av_write_trailer(context_.get());
    const int closed = avio_closep(&context_->pb);
    if (ended < 0 || closed < 0) {
        throw av::failure(name_, "cannot be written", ended < 0 ? ended : closed);
    }
    if (stopped()) {
        return false;
    }
    if (staged_) {
        staged_->commit();
    }
    return true;
}

void checkVideoSettings(const std::filesystem::path& file, const VideoWriteSettings& settings) {
    const Container& container = containerOf(file, settings);
    const Codec& codec = codecOf(container, settings, false, host::Depth::Bits8);
    if (settings.quality && codec.worstFactor == codec.bestFactor) {
        throw UsageError("--quality: {} has none", codec.name);
    }
}

std::unique_ptr<VideoOutput> createVideo(const std::filesystem::path& file, const VideoDescription& description,
                                         const VideoWriteSettings& settings) {
    return std::make_unique<Output>(file, description, settings);
}

}  // namespace quorvel::cli
