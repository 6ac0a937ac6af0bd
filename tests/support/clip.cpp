// SPDX-License-Identifier: MIT
#include "tests/support/clip.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace quorvel::test {
namespace {

constexpr AVRational kMilliseconds{1, 1000};
constexpr AVRational kMicroseconds{1, 1000000};
constexpr AVRational kSamples{1, 48000};
constexpr int kPacketSamples = 960;
constexpr int kSoundPackets = 20;
constexpr int kSampleBytes = 4;

struct Release {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

int require(int code, const char* what) {
    if (code < 0) {
        throw std::runtime_error(std::string(what) + " failed with " + std::to_string(code));
    }
    return code;
}

class ClipWriter {
public:
    ClipWriter(const std::string& file, const ClipRecipe& recipe) : recipe_(recipe) {
        require(avformat_alloc_output_context2(&context_, nullptr, nullptr, file.c_str()), "the container");
        openEncoder();
        addVideo();
        if (recipe.sound) {
            addSound();
        }
        if (!recipe.title.empty()) {
            av_dict_set(&context_->metadata, "title", recipe.title.c_str(), 0);
        }
        require(avio_open(&context_->pb, file.c_str(), AVIO_FLAG_WRITE), "opening");
        require(avformat_write_header(context_, nullptr), "the header");
    }
    ~ClipWriter() {
        avio_closep(&context_->pb);
        avformat_free_context(context_);
    }
    ClipWriter(const ClipWriter&) = delete;
    ClipWriter& operator=(const ClipWriter&) = delete;

    void write() {
        for (std::size_t i = 0; i < recipe_.times.size(); ++i) {
            const Owned<AVFrame> frame = drawn(static_cast<int>(i));
            frame->pts = recipe_.times[i];
            encode(frame.get());
        }
        encode(nullptr);
        for (int i = 0; recipe_.sound && i < kSoundPackets; ++i) {
            writeSound(i);
        }
        require(av_write_trailer(context_), "the trailer");
    }

private:
    void openEncoder() {
        const AVCodec* codec = avcodec_find_encoder(recipe_.codec);
        encoder_.reset(avcodec_alloc_context3(codec));
        encoder_->width = recipe_.width;
        encoder_->height = recipe_.height;
        encoder_->pix_fmt = recipe_.format;
        encoder_->time_base = kMilliseconds;
        encoder_->colorspace = recipe_.matrix;
        encoder_->color_range = recipe_.range;
        encoder_->color_primaries = recipe_.primaries;
        encoder_->color_trc = recipe_.transfer;
        encoder_->chroma_sample_location = recipe_.siting;
        encoder_->sample_aspect_ratio = {recipe_.aspectNumerator, recipe_.aspectDenominator};
        encoder_->thread_count = 1;
        encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        encoder_->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
        require(avcodec_open2(encoder_.get(), codec, nullptr), "the encoder");
    }

    void addVideo() {
        AVStream* video = avformat_new_stream(context_, nullptr);
        require(avcodec_parameters_from_context(video->codecpar, encoder_.get()), "the stream");
        video->time_base = kMilliseconds;
        video->avg_frame_rate = {25, 1};
        video->sample_aspect_ratio = encoder_->sample_aspect_ratio;
        if (recipe_.rotation != 0) {
            auto* matrix = reinterpret_cast<std::int32_t*>(
                av_stream_new_side_data(video, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(std::int32_t)));
            av_display_rotation_set(matrix, -recipe_.rotation);
        }
        if (recipe_.hdr) {
            std::size_t size = 0;
            AVMasteringDisplayMetadata* display = av_mastering_display_metadata_alloc();
            display->has_luminance = display->has_primaries = 1;
            display->max_luminance = {1000, 1};
            display->min_luminance = {1, 10000};
            for (auto& primary : display->display_primaries) {
                primary[0] = primary[1] = {1, 4};
            }
            display->white_point[0] = display->white_point[1] = {1, 3};
            av_stream_add_side_data(video, AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                                    reinterpret_cast<std::uint8_t*>(display), sizeof *display);
            AVContentLightMetadata* light = av_content_light_metadata_alloc(&size);
            light->MaxCLL = 900;
            light->MaxFALL = 400;
            av_stream_add_side_data(video, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, reinterpret_cast<std::uint8_t*>(light),
                                    size);
        }
    }

    void addSound() {
        AVCodecParameters* sound = avformat_new_stream(context_, nullptr)->codecpar;
        sound->codec_type = AVMEDIA_TYPE_AUDIO;
        sound->codec_id = AV_CODEC_ID_PCM_S16LE;
        sound->format = AV_SAMPLE_FMT_S16;
        sound->sample_rate = kSamples.den;
        sound->block_align = kSampleBytes;
        sound->bits_per_coded_sample = 16;
        av_channel_layout_default(&sound->ch_layout, 2);
        context_->streams[1]->time_base = kSamples;
    }

    Owned<AVFrame> drawn(int number) const {
        const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(recipe_.format);
        Owned<AVFrame> frame(av_frame_alloc());
        frame->format = recipe_.format;
        frame->width = recipe_.width;
        frame->height = recipe_.height;
        require(av_frame_get_buffer(frame.get(), 0), "the frame");
        for (int i = 0; recipe_.palette && i < 256; ++i) {
            reinterpret_cast<std::uint32_t*>(frame->data[1])[i] = recipe_.palette(i);
        }
        for (int component = 0; component < format.nb_components; ++component) {
            const bool chroma = component == 1 || component == 2;
            const int plane = format.comp[component].plane;
            for (int y = 0; y < AV_CEIL_RSHIFT(recipe_.height, chroma ? format.log2_chroma_h : 0); ++y) {
                std::uint8_t* row = frame->data[plane] + y * frame->linesize[plane];
                for (int x = 0; x < AV_CEIL_RSHIFT(recipe_.width, chroma ? format.log2_chroma_w : 0); ++x) {
                    const int value = recipe_.value(number, component, x, y);
                    if (format.comp[component].depth > 8) {
                        reinterpret_cast<std::uint16_t*>(row)[x] = static_cast<std::uint16_t>(value);
                    } else {
                        row[x] = static_cast<std::uint8_t>(value);
                    }
                }
            }
        }
        return frame;
    }

    void encode(const AVFrame* frame) {
        require(avcodec_send_frame(encoder_.get(), frame), "encoding");
        const Owned<AVPacket> packet(av_packet_alloc());
        while (avcodec_receive_packet(encoder_.get(), packet.get()) >= 0) {
            packet->stream_index = 0;
            av_packet_rescale_ts(packet.get(), kMilliseconds, context_->streams[0]->time_base);
            require(av_interleaved_write_frame(context_, packet.get()), "writing");
        }
    }

    void writeSound(int number) {
        const Owned<AVPacket> packet(av_packet_alloc());
        require(av_new_packet(packet.get(), kPacketSamples * kSampleBytes), "a packet");
        for (int i = 0; i < packet->size; ++i) {
            packet->data[i] = static_cast<std::uint8_t>(number * 7 + i * i / 5);
        }
        packet->stream_index = 1;
        packet->pts = packet->dts = static_cast<std::int64_t>(number) * kPacketSamples;
        packet->duration = kPacketSamples;
        av_packet_rescale_ts(packet.get(), kSamples, context_->streams[1]->time_base);
        require(av_interleaved_write_frame(context_, packet.get()), "writing");
    }

    const ClipRecipe& recipe_;
    AVFormatContext* context_ = nullptr;
    Owned<AVCodecContext> encoder_;
};

ClipStream describedStream(const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    ClipStream described;
    described.codec = avcodec_get_name(parameters.codec_id);
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
        const char* format = av_get_pix_fmt_name(static_cast<AVPixelFormat>(parameters.format));
        described.pixelFormat = format != nullptr ? format : "";
    }
    described.width = parameters.width;
    described.height = parameters.height;
    described.matrix = parameters.color_space;
    described.range = parameters.color_range;
    described.primaries = parameters.color_primaries;
    described.transfer = parameters.color_trc;
    described.aspectNumerator = stream.sample_aspect_ratio.num;
    described.aspectDenominator = stream.sample_aspect_ratio.den;
    described.turned = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr) != nullptr;
    const auto* display = reinterpret_cast<const AVMasteringDisplayMetadata*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA, nullptr));
    described.brightest = display != nullptr ? av_q2d(display->max_luminance) : 0;
    return described;
}

}  // namespace

std::vector<std::int64_t> ClipStream::times() const {
    std::vector<std::int64_t> list;
    for (const ClipPacket& packet : packets) {
        list.push_back(packet.time);
    }
    return list;
}

std::string ClipStream::bytes() const {
    std::string all;
    for (const ClipPacket& packet : packets) {
        all += packet.bytes;
    }
    return all;
}

void makeClip(const std::string& file, const ClipRecipe& recipe) {
    ClipWriter(file, recipe).write();
}

ClipContent readClip(const std::string& file) {
    AVFormatContext* context = nullptr;
    require(avformat_open_input(&context, file.c_str(), nullptr, nullptr), file.c_str());
    const std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> owner(
        context, [](AVFormatContext* opened) { avformat_close_input(&opened); });
    require(avformat_find_stream_info(context, nullptr), "looking for streams");
    ClipContent content;
    for (const AVDictionaryEntry* entry = nullptr;
         (entry = av_dict_get(context->metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr;) {
        content.metadata[entry->key] = entry->value;
    }
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        content.streams.push_back(describedStream(*context->streams[i]));
    }
    const Owned<AVPacket> packet(av_packet_alloc());
    for (; av_read_frame(context, packet.get()) >= 0; av_packet_unref(packet.get())) {
        const auto index = static_cast<std::size_t>(packet->stream_index);
        const AVRational base = context->streams[index]->time_base;
        content.streams[index].packets.push_back(
            {av_rescale_q(packet->pts, base, kMicroseconds), av_rescale_q(packet->duration, base, kMicroseconds),
             std::string(reinterpret_cast<const char*>(packet->data), static_cast<std::size_t>(packet->size))});
    }
    for (ClipStream& stream : content.streams) {
        std::stable_sort(stream.packets.begin(), stream.packets.end(),
                         [](const ClipPacket& one, const ClipPacket& other) { return one.time < other.time; });
    }
    std::stable_partition(content.streams.begin(), content.streams.end(),
                          [](const ClipStream& stream) { return stream.width > 0; });
    return content;
}

}  // namespace quorvel::test
