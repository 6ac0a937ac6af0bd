// SPDX-License-Identifier: MIT
#include "cli/video/sound.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace quorvel::cli {
namespace {

constexpr int kUsualRate = 48000;
constexpr int kBitsPerSecondOfChannel = 80000;

int rateFor(const AVCodec& codec, int wanted) {
    for (const int* rate = codec.supported_samplerates; rate != nullptr && *rate != 0; ++rate) {
        if (*rate == wanted) {
            return wanted;
        }
    }
    return kUsualRate;
}

/// A file may give the number of channels without saying which they are.
void complete(AVChannelLayout& layout) {
    if (layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&layout, layout.nb_channels);
    }
}

std::string describe(const AVChannelLayout& layout) {
    std::array<char, 128> text{};
    av_channel_layout_describe(&layout, text.data(), text.size());
    return text.data();
}

}  // namespace

SoundEncoder::SoundEncoder(const AVStream& from, const std::string& name, bool globalHeader)
    : name_(name), packetBase_(from.time_base) {
    openDecoder(from);
    openEncoder(globalHeader);
}

void SoundEncoder::openDecoder(const AVStream& from) {
    const AVCodec* codec = avcodec_find_decoder(from.codecpar->codec_id);
    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_ || avcodec_parameters_to_context(decoder_.get(), from.codecpar) < 0) {
        throw std::bad_alloc();
    }
    decoder_->pkt_timebase = packetBase_;
    av::forgetMessages();
    const int opened = codec != nullptr ? avcodec_open2(decoder_.get(), codec, nullptr) : AVERROR_DECODER_NOT_FOUND;
    if (opened < 0) {
        throw av::failure(name_, "cannot be decoded", opened);
    }
}

void SoundEncoder::openEncoder(bool globalHeader) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr) {
        throw Failure("{}: this build of FFmpeg has no encoder for AAC", name_);
    }
    encoder_.reset(avcodec_alloc_context3(codec));
    if (!encoder_ || av_channel_layout_copy(&encoder_->ch_layout, &decoder_->ch_layout) < 0) {
        throw std::bad_alloc();
    }
    complete(encoder_->ch_layout);
    encoder_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    encoder_->sample_rate = rateFor(*codec, decoder_->sample_rate);
    encoder_->time_base = {1, encoder_->sample_rate};
    encoder_->bit_rate = static_cast<std::int64_t>(kBitsPerSecondOfChannel) * encoder_->ch_layout.nb_channels;
    if (globalHeader) {
        encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    av::forgetMessages();
    const int opened = avcodec_open2(encoder_.get(), codec, nullptr);
    if (opened < 0) {
        throw av::failure(name_, "cannot be encoded as AAC", opened);
    }
}

void SoundEncoder::makeGraph(const AVFrame& first) {
    graph_.reset(avfilter_graph_alloc());
    AVChannelLayout layout{};
    if (!graph_ || av_channel_layout_copy(&layout, &first.ch_layout) < 0) {
        throw std::bad_alloc();
    }
    complete(layout);
    const std::string from =
        fmt::format("time_base=1/{0}:sample_rate={0}:sample_fmt={1}:channel_layout={2}", first.sample_rate,
                    av_get_sample_fmt_name(static_cast<AVSampleFormat>(first.format)), describe(layout));
    av_channel_layout_uninit(&layout);
    const std::string to =
        fmt::format("sample_fmts={}:sample_rates={}:channel_layouts={}", av_get_sample_fmt_name(encoder_->sample_fmt),
                    encoder_->sample_rate, describe(encoder_->ch_layout));
    const auto add = [&](const char* filter, const std::string& arguments) {
        AVFilterContext* context = nullptr;
        const int added = avfilter_graph_create_filter(&context, avfilter_get_by_name(filter), filter,
                                                       arguments.c_str(), nullptr, graph_.get());
        if (added < 0) {
            throw av::failure(name_, "cannot be converted", added);
        }
        return context;
    };
    source_ = add("abuffer", from);
    AVFilterContext* const trim = add("atrim", "start_pts=0");
    AVFilterContext* const convert = add("aformat", to);
    sink_ = add("abuffersink", "");
    const bool linked = avfilter_link(source_, 0, trim, 0) >= 0 && avfilter_link(trim, 0, convert, 0) >= 0 &&
                        avfilter_link(convert, 0, sink_, 0) >= 0;
    const int made = linked ? avfilter_graph_config(graph_.get(), nullptr) : AVERROR(EINVAL);
    if (made < 0) {
        throw av::failure(name_, "cannot be converted", made);
    }
    av_buffersink_set_frame_size(sink_, static_cast<unsigned>(encoder_->frame_size));
}

void SoundEncoder::put(const AVPacket& packet, const Sink& sink) {
    decode(&packet, sink);
}

void SoundEncoder::finish(const Sink& sink) {
    decode(nullptr, sink);
    if (graph_) {
        filter(nullptr, sink);
    }
    encode(nullptr, sink);
}

void SoundEncoder::decode(const AVPacket* packet, const Sink& sink) {
    av::forgetMessages();
    const int sent = avcodec_send_packet(decoder_.get(), packet);
    if (sent < 0) {
        throw av::failure(name_, "cannot be decoded", sent);
    }
    for (;;) {
        av::FramePtr frame = av::newFrame();
        const int received = avcodec_receive_frame(decoder_.get(), frame.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) {
            return;
        }
        if (received < 0) {
            throw av::failure(name_, "cannot be decoded", received);
        }
        const std::int64_t time = frame->best_effort_timestamp;
        if (!graph_) {
            makeGraph(*frame);
        }
        frame->pts = time == AV_NOPTS_VALUE ? time : av_rescale_q(time, packetBase_, {1, frame->sample_rate});
        filter(std::move(frame), sink);
    }
}

void SoundEncoder::filter(av::FramePtr frame, const Sink& sink) {
    const int added = av_buffersrc_add_frame(source_, frame.get());
    // A filter that has had enough says that it is at its end.
    if (added < 0 && added != AVERROR_EOF) {
        throw av::failure(name_, "cannot be converted", added);
    }
    for (;;) {
        const av::FramePtr converted = av::newFrame();
        const int received = av_buffersink_get_frame(sink_, converted.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) {
            return;
        }
        if (received < 0) {
            throw av::failure(name_, "cannot be converted", received);
        }
        if (converted->pts != AV_NOPTS_VALUE) {
            converted->pts = av_rescale_q(converted->pts, av_buffersink_get_time_base(sink_), encoder_->time_base);
        }
        encode(converted.get(), sink);
    }
}

void SoundEncoder::encode(const AVFrame* frame, const Sink& sink) {
    const int sent = avcodec_send_frame(encoder_.get(), frame);
    if (sent < 0 && sent != AVERROR_EOF) {
        throw av::failure(name_, "cannot be encoded as AAC", sent);
    }
    while (avcodec_receive_packet(encoder_.get(), packet_.get()) >= 0) {
        sink(*packet_);
        av_packet_unref(packet_.get());
    }
}

}  // namespace quorvel::cli
