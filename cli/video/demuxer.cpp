// SPDX-License-Identifier: MIT
#include "cli/video/demuxer.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <new>
#include <string_view>
#include <system_error>
#include <vector>

#include "cli/video/completeness.h"

namespace quorvel::cli {
namespace {

/// How much of a file its recognition looks at.
constexpr std::size_t kProbeBytes = std::size_t{1} << 18;

/// Containers that only name other files, which a video is not supposed to do, and pictures.
bool isAllowed(const AVInputFormat& format) {
    constexpr std::array<std::string_view, 7> refused{"concat", "hls", "dash", "sdp", "rtsp", "imf", "image2"};
    const std::string_view name = format.name;
    return (format.flags & AVFMT_NOFILE) == 0 && std::find(refused.begin(), refused.end(), name) == refused.end() &&
           name.find("_pipe") == std::string_view::npos;
}

/// Null when nothing recognises the content.
const AVInputFormat* recognised(const std::filesystem::path& file) {
    std::vector<char> bytes(kProbeBytes + AVPROBE_PADDING_SIZE, 0);
    std::ifstream stream(file, std::ios::binary);
    stream.read(bytes.data(), kProbeBytes);
    const std::string name = file.filename().string();
    AVProbeData probe{};
    probe.filename = name.c_str();
    probe.buf = reinterpret_cast<unsigned char*>(bytes.data());
    probe.buf_size = static_cast<int>(stream.gcount());
    int score = 0;
    const AVInputFormat* format = probe.buf_size > 0 ? av_probe_input_format3(&probe, 1, &score) : nullptr;
    return format != nullptr && score > AVPROBE_SCORE_RETRY && isAllowed(*format) ? format : nullptr;
}

std::string fourLetters(std::uint32_t tag) {
    std::array<char, AV_FOURCC_MAX_STRING_SIZE> text{};
    return av_fourcc_make_string(text.data(), tag);
}

}  // namespace

std::string urlOf(const std::filesystem::path& file) {
    return "file:" + file.string();
}

bool isMediaFile(const std::filesystem::path& file) {
    return recognised(file) != nullptr;
}

Demuxer::Demuxer(const std::filesystem::path& file) : file_(file), name_(file.string()), format_(recognised(file)) {
    if (std::error_code error; std::filesystem::file_size(file, error) == 0) {
        throw Failure("{}: is empty", name_);
    }
    if (format_ == nullptr) {
        throw Failure("{}: is no video that this build of FFmpeg reads", name_);
    }
    av::Options options;
    // Nothing but this file, whatever it refers to.
    options.set("protocol_whitelist", "file");
    av::forgetMessages();
    AVFormatContext* context = nullptr;
    const int opened = avformat_open_input(&context, urlOf(file).c_str(), format_, options.get());
    if (opened < 0) {
        throw damage(opened);
    }
    context_.reset(context);
    const int found = avformat_find_stream_info(context, nullptr);
    if (found < 0) {
        throw damage(found);
    }
    av::forgetMessages();
}

int Demuxer::videoStream() const {
    const int best = av_find_best_stream(context_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (best < 0 || (stream(best).disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
        throw Failure("{}: has no video stream", name_);
    }
    return best;
}

av::CodecPtr Demuxer::openDecoder(int index, int threads) const {
    AVStream& from = stream(index);
    const AVCodec* codec = avcodec_find_decoder(from.codecpar->codec_id);
    if (codec == nullptr) {
        throw Failure("{}: this build of FFmpeg has no decoder for {}", name_,
                      from.codecpar->codec_id != AV_CODEC_ID_NONE ? avcodec_get_name(from.codecpar->codec_id)
                                                                  : fourLetters(from.codecpar->codec_tag));
    }
    av::CodecPtr decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), from.codecpar) < 0) {
        throw std::bad_alloc();
    }
    decoder->pkt_timebase = from.time_base;
    decoder->framerate = av_guess_frame_rate(context_.get(), &from, nullptr);
    decoder->thread_count = threads;
    if (decoder->codec_id == AV_CODEC_ID_FFV1) {
        // It hands out frames whose checksums are wrong. Frame by frame, so that the message belongs to this one.
        decoder->opaque = complaints_.get();
        decoder->thread_type = FF_THREAD_SLICE;
    }
    av::forgetMessages();
    const int opened = avcodec_open2(decoder.get(), codec, nullptr);
    if (opened < 0) {
        throw av::failure(name_, fmt::format("{} cannot be decoded", codec->name), opened);
    }
    return decoder;
}

bool Demuxer::read(AVPacket& packet) {
    av_packet_unref(&packet);
    const int result = av_read_frame(context_.get(), &packet);
    if (result >= 0) {
        end_ = packet.pos + packet.size;
        return true;
    }
    const int error = result != AVERROR_EOF ? result : context_->pb != nullptr ? context_->pb->error : 0;
    // For most containers the end of the file is just an end.
    if (error < 0 || missingBytes(file_, format_->name) > 0 || endsInFrame()) {
        throw damage(error);
    }
    return false;
}

bool Demuxer::endsInFrame() const {
    // Y4M's reader leaves out what is no whole frame. Before the pixels there is one line.
    constexpr std::int64_t longestLine = 80;
    return std::string_view(format_->name) == "yuv4mpegpipe" && avio_size(context_->pb) > end_ + longestLine;
}

Failure Demuxer::damage(int error) const {
    if (const std::uint64_t missing = missingBytes(file_, format_->name)) {
        return Failure("{}: damaged or cut short: {} bytes are missing", name_, missing);
    }
    return error < 0 ? av::failure(name_, "damaged or cut short", error) : Failure("{}: damaged or cut short", name_);
}

}  // namespace quorvel::cli
