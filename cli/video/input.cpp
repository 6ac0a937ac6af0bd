// SPDX-License-Identifier: MIT
#include "cli/video/input.h"

extern "C" {
#include <libavutil/display.h>
}

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

#include "cli/video/transparency.h"

namespace quorvel::cli {
namespace {

constexpr AVRational kAssumedRate{25, 1};
constexpr int kUpright = 1;

/// What the display matrix asks for, as an Exif orientation; nothing when it is no turn by quarters.
std::optional<int> orientationOf(const std::int32_t* matrix) {
    // x' = a x + c y, y' = b x + d y.
    const std::int32_t a = matrix[0], b = matrix[1], c = matrix[3], d = matrix[4];
    if (b == 0 && c == 0 && a != 0 && d != 0) {
        return a > 0 ? (d > 0 ? 1 : 4) : (d > 0 ? 2 : 3);
    }
    if (a == 0 && d == 0 && b != 0 && c != 0) {
        return b > 0 ? (c > 0 ? 5 : 6) : (c > 0 ? 8 : 7);
    }
    return std::nullopt;
}

bool isJpegRange(int format) {
    return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P ||
           format == AV_PIX_FMT_YUVJ440P || format == AV_PIX_FMT_YUVJ411P;
}

}  // namespace

Input::Input(const std::filesystem::path& file, const VideoReadSettings& settings)
    : file_(file), demuxer_(file), index_(demuxer_.videoStream()) {
    for (int i = 0; i < demuxer_.streamCount(); ++i) {
        if (i != index_) {
            demuxer_.ignore(i);
        }
    }
    AVStream& video = demuxer_.stream(index_);
    rate_ = av_guess_frame_rate(&demuxer_.context(), &video, nullptr);
    if (rate_.num <= 0 || rate_.den <= 0) {
        rate_ = kAssumedRate;
    }
    decoder_ = demuxer_.openDecoder(index_, settings.oneThread ? 1 : 0);
    try {
        decodedFirst_ = decode();
    } catch (const Failure& failure) {
        throw Failure("frame 0: {}", failure.what());
    }
    if (!decodedFirst_) {
        throw Failure("{}: has no frame that can be decoded", demuxer_.name());
    }
    firstTime_ = decodedFirst_->time;
    first_ = av::sharedFrame(*decodedFirst_->frame);
    const auto format = static_cast<AVPixelFormat>(first_->format);
    alpha_ = quorvel::cli::hasAlpha(format) &&
             (!alwaysDeliversAlpha(stream().codecpar->codec_id, format) || isTransparent(file));
    Colour tagged = Colour::of(*first_);
    if (isJpegRange(format)) {
        tagged.range = AVCOL_RANGE_JPEG;
    }
    colour_ = completed(tagged, av::describe(format), first_->height, demuxer_.name(), notes_);
    if (first_->interlaced_frame != 0) {
        notes_.push_back(demuxer_.name() + ": is interlaced; both fields are rendered together, as one frame");
    }
    placeFrames(settings);
    colour_.applyTo(*first_);
    setDepth(settings.depth.value_or(depthOf(format)));
}

void Input::setDepth(host::Depth depth) {
    depth_ = depth;
    const Planes planes = separated(*first_);
    if (!isRgb(*planes.colours)) {
        conversion_ =
            std::make_unique<Conversion>(Conversion::End{static_cast<AVPixelFormat>(planes.colours->format), colour_},
                                         Conversion::End{rgbFormat(depth_), {}}, first_->width, first_->height);
    }
}

void Input::placeFrames(const VideoReadSettings& settings) {
    int orientation = kUpright;
    const std::uint8_t* matrix = av_stream_get_side_data(&stream(), AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (matrix != nullptr && !settings.storedOrientation) {
        const auto turned = orientationOf(reinterpret_cast<const std::int32_t*>(matrix));
        orientation = turned.value_or(kUpright);
        if (!turned) {
            notes_.push_back(demuxer_.name() + ": its rotation is no multiple of 90 degrees and is left out");
        }
    }
    if (first_->width > host::kMaximumDimension || first_->height > host::kMaximumDimension) {
        throw Failure("{}: is {} x {} pixels; the host takes at most {} in either direction", demuxer_.name(),
                      first_->width, first_->height, host::kMaximumDimension);
    }
    placement_.emplace(Placement::Window{first_->width, first_->height, 0, 0}, first_->width, first_->height,
                       orientation, settings.downsample);
}

std::int64_t Input::startTime() const {
    const AVFormatContext& context = demuxer_.context();
    const bool arbitrary = (context.iformat->flags & AVFMT_TS_DISCONT) != 0;
    return arbitrary && context.start_time != AV_NOPTS_VALUE ? context.start_time : 0;
}

AVRational Input::sampleAspect() const {
    AVRational aspect = first_->sample_aspect_ratio;
    if (aspect.num <= 0) {
        aspect = stream().sample_aspect_ratio.num > 0 ? stream().sample_aspect_ratio
                                                      : stream().codecpar->sample_aspect_ratio;
    }
    if (aspect.num <= 0 || aspect.den <= 0) {
        return {0, 1};
    }
    return placement_->swapsSides() ? AVRational{aspect.den, aspect.num} : aspect;
}

const std::uint8_t* Input::sideData(AVPacketSideDataType ofStream, AVFrameSideDataType ofFrame) const {
    if (const std::uint8_t* data = av_stream_get_side_data(&stream(), ofStream, nullptr)) {
        return data;
    }
    const AVFrameSideData* data = av_frame_get_side_data(first_.get(), ofFrame);
    return data != nullptr ? data->data : nullptr;
}

int Input::expectedFrames() const {
    const AVStream& video = stream();
    double frames = static_cast<double>(video.nb_frames);
    if (frames <= 0) {
        const std::int64_t whole = demuxer_.context().duration;
        const double seconds = video.duration > 0 ? static_cast<double>(video.duration) * av_q2d(video.time_base)
                               : whole > 0        ? static_cast<double>(whole) / AV_TIME_BASE
                                                  : 0;
        frames = std::round(seconds * av_q2d(rate_));
    }
    return static_cast<int>(std::clamp(frames, 0.0, 1e9));
}

CodedFramePtr Input::next() {
    return decodedFirst_ ? std::move(decodedFirst_) : decode();
}

double Input::secondsOf(const CodedFrame& frame) const {
    const AVRational unit = stream().time_base;
    return static_cast<double>(frame.time - firstTime_) * unit.num / unit.den;
}

void Input::refuseDamage(const AVFrame& frame) const {
    if (frame.decode_error_flags != 0 || demuxer_.decoderComplained()) {
        throw demuxer_.damage(0);
    }
}

bool Input::readPacket() {
    bool more = true;
    do {
        more = demuxer_.read(*packet_);
    } while (more && packet_->stream_index != index_);
    if (more && (packet_->flags & AV_PKT_FLAG_CORRUPT) != 0) {
        throw demuxer_.damage(0);
    }
    return more;
}

/// One packet, or the message that there are no more.
void Input::feedDecoder() {
    try {
        const bool more = readPacket();
        const int sent = avcodec_send_packet(decoder_.get(), more ? packet_.get() : nullptr);
        // A recording may begin between two frames that can be decoded alone.
        const bool atBeginning = number_ == 0 && sent == AVERROR_INVALIDDATA;
        if (sent < 0 && !atBeginning) {
            throw demuxer_.damage(sent);
        }
    } catch (const Failure&) {
        damage_ = std::current_exception();
        // The decoder has frames from before.
        (void)avcodec_send_packet(decoder_.get(), nullptr);
    }
}

std::shared_ptr<CodedFrame> Input::decode() {
    auto coded = std::make_shared<CodedFrame>();
    coded->frame = av::newFrame();
    for (;;) {
        const int received = avcodec_receive_frame(decoder_.get(), coded->frame.get());
        if (received == AVERROR_EOF) {
            if (damage_) {
                std::rethrow_exception(damage_);
            }
            return nullptr;
        }
        if (received == AVERROR(EAGAIN)) {
            feedDecoder();
            continue;
        }
        if (received < 0) {
            throw demuxer_.damage(received);
        }
        break;
    }
    refuseDamage(*coded->frame);
    const std::int64_t usual = std::max<std::int64_t>(av_rescale_q(1, av_inv_q(rate_), stream().time_base), 1);
    const std::int64_t time = coded->frame->best_effort_timestamp;
    coded->duration = coded->frame->pkt_duration;
    coded->time = time != AV_NOPTS_VALUE ? time : number_ == 0 ? 0 : lastTime_ + usual;
    lastTime_ = coded->time;
    coded->number = number_++;
    return coded;
}

host::World Input::world(const CodedFrame& coded) const {
    try {
        av::FramePtr frame = av::sharedFrame(*coded.frame);
        if (frame->width != first_->width || frame->height != first_->height || frame->format != first_->format) {
            throw Failure("is {} x {} in the pixel format {}, unlike frame 0: {} x {} in {}", frame->width,
                          frame->height, av::describe(*frame).name, first_->width, first_->height,
                          av::describe(*first_).name);
        }
        colour_.applyTo(*frame);
        Planes planes = separated(*frame);
        if (!alpha_) {
            planes.alpha = nullptr;
        }
        if (conversion_) {
            planes.colours = (*conversion_)(*planes.colours);
        }
        return worldOf(planes, *placement_, depth_);
    } catch (const Failure& failure) {
        throw Failure("{}: {}", demuxer_.name(), failure.what());
    }
}

bool isVideoFile(const std::filesystem::path& file) {
    return isMediaFile(file);
}

std::unique_ptr<VideoInput> openVideo(const std::filesystem::path& file, const VideoReadSettings& settings) {
    return std::make_unique<Input>(file, settings);
}

}  // namespace quorvel::cli
