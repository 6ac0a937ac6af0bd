// SPDX-License-Identifier: MIT
#include "cli/video/conversion.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstring>
#include <utility>

namespace quorvel::cli {
namespace {

/// Whether R'G'B' follow from Y'CbCr by a matrix alone, whatever the primaries and the transfer are.
bool isPlainMatrix(AVColorSpace matrix) {
    switch (matrix) {
        case AVCOL_SPC_BT2020_CL:
        case AVCOL_SPC_SMPTE2085:
        case AVCOL_SPC_CHROMA_DERIVED_NCL:
        case AVCOL_SPC_CHROMA_DERIVED_CL:
        case AVCOL_SPC_ICTCP:
            return false;
        default:
            return true;
    }
}

bool isRgbFormat(AVPixelFormat format) {
    return (av::describe(format).flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

void require(int code, const char* what) {
    if (code < 0) {
        throw Failure("{}: {}", what, av::reasonText(code));
    }
}

AVFilterContext* addFilter(AVFilterGraph& graph, const char* filter, const std::string& arguments) {
    const AVFilter* kind = avfilter_get_by_name(filter);
    if (kind == nullptr) {
        throw Failure("this build of FFmpeg has no filter {}", filter);
    }
    AVFilterContext* context = nullptr;
    require(avfilter_graph_create_filter(&context, kind, filter, arguments.c_str(), nullptr, &graph), filter);
    return context;
}

/// How many pixels a chroma sample covers.
int chromaStep(AVPixelFormat format, bool across) {
    const AVPixFmtDescriptor& description = av::describe(format);
    return 1 << (across ? description.log2_chroma_w : description.log2_chroma_h);
}

int roundedUp(int value, int step) {
    return (value + step - 1) / step * step;
}

/// The frame with its last column and row repeated up to a larger size; chroma has that size already.
av::FramePtr extended(const AVFrame& frame, int width, int height) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const AVPixFmtDescriptor& description = av::describe(format);
    av::FramePtr larger = av::newFrame(format, width, height);
    for (int plane = 0; plane < description.nb_components; ++plane) {
        const bool chroma = (description.flags & AV_PIX_FMT_FLAG_RGB) == 0 && (plane == 1 || plane == 2);
        const int across = chroma ? description.log2_chroma_w : 0;
        const int down = chroma ? description.log2_chroma_h : 0;
        const auto bytes = static_cast<std::size_t>(description.comp[plane].step);
        const auto own = static_cast<std::size_t>(AV_CEIL_RSHIFT(frame.width, across));
        const auto wanted = static_cast<std::size_t>(AV_CEIL_RSHIFT(width, across));
        for (int y = 0; y < AV_CEIL_RSHIFT(height, down); ++y) {
            const int from = std::min(y, AV_CEIL_RSHIFT(frame.height, down) - 1);
            const std::uint8_t* source = frame.data[plane] + static_cast<std::ptrdiff_t>(from) * frame.linesize[plane];
            std::uint8_t* to = larger->data[plane] + static_cast<std::ptrdiff_t>(y) * larger->linesize[plane];
            std::memcpy(to, source, own * bytes);
            for (std::size_t x = own; x < wanted; ++x) {
                std::memcpy(to + x * bytes, source + (own - 1) * bytes, bytes);
            }
        }
    }
    return larger;
}

}  // namespace

/// One filter graph, which one thread at a time uses.
class Conversion::Graph {
public:
    Graph(const End& from, const End& to, int width, int height);
    av::FramePtr run(av::FramePtr frame);

private:
    av::GraphPtr graph_{avfilter_graph_alloc()};
    AVFilterContext* source_ = nullptr;
    AVFilterContext* sink_ = nullptr;
};

Conversion::Graph::Graph(const End& from, const End& to, int width, int height) {
    if (!graph_) {
        throw std::bad_alloc();
    }
    graph_->nb_threads = 1;  // several frames are converted at once instead
    source_ = addFilter(*graph_, "buffer",
                        fmt::format("width={}:height={}:pix_fmt={}:time_base=1/25:sar=1/1", width, height,
                                    static_cast<int>(from.format)));
    const AVColorSpace matrix = isRgbFormat(to.format) ? AVCOL_SPC_RGB : to.colour.matrix;
    const bool full = isRgbFormat(to.format) || to.colour.range == AVCOL_RANGE_JPEG;
    std::string arguments = fmt::format("filter=bicubic:dither=none:range={}", full ? "full" : "limited");
    arguments += fmt::format(":matrix={}", static_cast<int>(matrix));
    if (to.colour.siting != AVCHROMA_LOC_UNSPECIFIED) {
        arguments += fmt::format(":chromal={}", static_cast<int>(to.colour.siting) - 1);
    }
    AVFilterContext* const convert = addFilter(*graph_, "zscale", arguments);
    sink_ = addFilter(*graph_, "buffersink", "");
    const AVPixelFormat format = to.format;
    require(av_opt_set_bin(sink_, "pix_fmts", reinterpret_cast<const std::uint8_t*>(&format), sizeof format,
                           AV_OPT_SEARCH_CHILDREN),
            "buffersink");
    require(avfilter_link(source_, 0, convert, 0), "zscale");
    require(avfilter_link(convert, 0, sink_, 0), "zscale");
    // Another converter would be put in silently, with its own rounding.
    avfilter_graph_set_auto_convert(graph_.get(), static_cast<unsigned>(AVFILTER_AUTO_CONVERT_NONE));
    require(avfilter_graph_config(graph_.get(), nullptr),
            fmt::format("no conversion from {} to {}", av::describe(from.format).name, av::describe(to.format).name)
                .c_str());
}

av::FramePtr Conversion::Graph::run(av::FramePtr frame) {
    require(av_buffersrc_add_frame(source_, frame.get()), "the colours cannot be converted");
    av::FramePtr converted = av::newFrame();
    require(av_buffersink_get_frame(sink_, converted.get()), "the colours cannot be converted");
    return converted;
}

Conversion::Conversion(End from, End to, int width, int height)
    : from_(from),
      to_(to),
      width_(width),
      height_(height),
      evenWidth_(roundedUp(width, std::max(chromaStep(from.format, true), chromaStep(to.format, true)))),
      evenHeight_(roundedUp(height, std::max(chromaStep(from.format, false), chromaStep(to.format, false)))) {}

Conversion::~Conversion() = default;

std::unique_ptr<Conversion::Graph> Conversion::take() const {
    {
        const std::lock_guard lock(mutex_);
        if (!idle_.empty()) {
            std::unique_ptr<Graph> graph = std::move(idle_.back());
            idle_.pop_back();
            return graph;
        }
    }
    return std::make_unique<Graph>(from_, to_, evenWidth_, evenHeight_);
}

av::FramePtr Conversion::operator()(const AVFrame& frame) const {
    if (frame.width != width_ || frame.height != height_ || frame.format != from_.format) {
        throw Failure("is {} x {} in the pixel format {}, unlike the frames before it: {} x {} in {}", frame.width,
                      frame.height, av::describe(frame).name, width_, height_, av::describe(from_.format).name);
    }
    const bool whole = width_ == evenWidth_ && height_ == evenHeight_;
    av::FramePtr input = whole ? av::sharedFrame(frame) : extended(frame, evenWidth_, evenHeight_);
    Colour colour = from_.colour;
    if (isRgbFormat(from_.format)) {
        colour.matrix = AVCOL_SPC_RGB;
        colour.range = AVCOL_RANGE_JPEG;
    }
    if (isPlainMatrix(isRgbFormat(from_.format) ? to_.colour.matrix : from_.colour.matrix)) {
        colour.primaries = AVCOL_PRI_UNSPECIFIED;
        colour.transfer = AVCOL_TRC_UNSPECIFIED;
    }
    colour.applyTo(*input);
    input->sample_aspect_ratio = {1, 1};
    input->interlaced_frame = 0;  // fields are converted as the frame that they make together
    input->crop_top = input->crop_bottom = input->crop_left = input->crop_right = 0;
    std::unique_ptr<Graph> graph = take();
    av::FramePtr converted = graph->run(std::move(input));
    {
        const std::lock_guard lock(mutex_);
        idle_.push_back(std::move(graph));
    }
    converted->width = width_;
    converted->height = height_;
    return converted;
}

}  // namespace quorvel::cli
