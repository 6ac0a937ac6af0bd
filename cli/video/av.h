// SPDX-License-Identifier: MIT
// FFmpeg's objects with owners, and its errors as this program's.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <atomic>
#include <memory>
#include <string>

#include "cli/exit_status.h"

namespace quorvel::cli::av {

struct Release {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};

using FramePtr = std::unique_ptr<AVFrame, Release>;
using PacketPtr = std::unique_ptr<AVPacket, Release>;
using CodecPtr = std::unique_ptr<AVCodecContext, Release>;
using ParametersPtr = std::unique_ptr<AVCodecParameters, Release>;
using GraphPtr = std::unique_ptr<AVFilterGraph, Release>;

struct CloseInput {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using InputPtr = std::unique_ptr<AVFormatContext, CloseInput>;

/// Closes the file that is written, too.
struct CloseOutput {
    void operator()(AVFormatContext* context) const {
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
};
using OutputPtr = std::unique_ptr<AVFormatContext, CloseOutput>;

/// Options on their way to a codec or a container.
class Options {
public:
    Options() = default;
    ~Options() { av_dict_free(&entries_); }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;
    void set(const char* name, const std::string& value) { av_dict_set(&entries_, name, value.c_str(), 0); }
    AVDictionary** get() { return &entries_; }

private:
    AVDictionary* entries_ = nullptr;
};

/// Throw std::bad_alloc when memory is short.
FramePtr newFrame();
PacketPtr newPacket();
/// Another reference to the same pixels.
FramePtr sharedFrame(const AVFrame& frame);
/// A frame with pixels of its own, which are not set.
FramePtr newFrame(AVPixelFormat format, int width, int height);

/// "No space left on device".
std::string reasonText(int error);

/// "FILE: WHAT: REASON", where the reason is the library's last message on this matter, or what the error means.
Failure failure(const std::string& file, const std::string& what, int error);

/// How many errors a decoder whose `opaque` points here has told of.
using Complaints = std::atomic<int>;

/// From now on the libraries print nothing; their last error is kept for `failure`.
void keepMessages();
/// Forgets the last error, before a call whose own is wanted.
void forgetMessages();

/// The pixel format's description; never null for a format that a codec uses.
const AVPixFmtDescriptor& describe(AVPixelFormat format);
inline const AVPixFmtDescriptor& describe(const AVFrame& frame) {
    return describe(static_cast<AVPixelFormat>(frame.format));
}

}  // namespace quorvel::cli::av
