// SPDX-License-Identifier: MIT
#include "cli/video/codecs.h"

extern "C" {
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <new>

#include "cli/text.h"

namespace quorvel::cli {
namespace {

using Form = Codec::Form;
using host::Depth;

constexpr std::array kCodecs{
    Codec{"h264", "libx264", AV_CODEC_ID_H264, Form::Subsampled, false, 10, 51, 1, 23},
    Codec{"h265", "libx265", AV_CODEC_ID_HEVC, Form::Subsampled, false, 12, 51, 1, 28},
    Codec{"prores4444", "prores_ks", AV_CODEC_ID_PRORES, Form::Full, true, 10},
    Codec{"ffv1", "ffv1", AV_CODEC_ID_FFV1, Form::Rgb, true, 16},
    Codec{"png", "png", AV_CODEC_ID_PNG, Form::Rgb, true, 16},
    Codec{"qtrle", "qtrle", AV_CODEC_ID_QTRLE, Form::Rgb, true, 8},
    Codec{"vp9", "libvpx-vp9", AV_CODEC_ID_VP9, Form::Subsampled, false, 12, 63, 1, 31},
};
/// Of a stream without one.
constexpr int kAnyRate = 1000;

constexpr Codec kRaw{"y4m", "wrapped_avframe", AV_CODEC_ID_WRAPPED_AVFRAME, Form::Raw, false, 12};

const std::array<Container, 7>& containers() {
    static const std::array<Container, 7> all{{
        {"mp4", "MP4", {".mp4", ".m4v"}, "h264", "h264"},
        {"mov", "QuickTime", {".mov"}, "h264", "prores4444"},
        {"matroska", "Matroska", {".mkv"}, "ffv1", "ffv1"},
        {"webm", "WebM", {".webm"}, "vp9", "vp9"},
        {"nut", "NUT", {".nut"}, "ffv1", "ffv1", true},
        {"yuv4mpegpipe", "Y4M", {".y4m"}, nullptr, nullptr, true},
        {"image2pipe", "a row of PNGs", {".png"}, "png", "png", true, true},
    }};
    return all;
}

/// What an encoder makes of quality 1 to 100.
int rateFactor(const Codec& codec, const std::optional<int>& quality) {
    if (!quality) {
        return codec.usualFactor;
    }
    const double share = (*quality - 1) / 99.0;
    return static_cast<int>(std::lround(codec.worstFactor + share * (codec.bestFactor - codec.worstFactor)));
}

AVPixelFormat rgbCodecFormat(const Codec& codec, bool alpha, bool deep) {
    switch (codec.id) {
        case AV_CODEC_ID_FFV1:
            return deep ? (alpha ? AV_PIX_FMT_GBRAP16 : AV_PIX_FMT_GBRP16)
                        : (alpha ? AV_PIX_FMT_BGRA : AV_PIX_FMT_BGR0);
        case AV_CODEC_ID_PNG:
            return deep ? (alpha ? AV_PIX_FMT_RGBA64BE : AV_PIX_FMT_RGB48BE)
                        : (alpha ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24);
        default:
            return alpha ? AV_PIX_FMT_ARGB : AV_PIX_FMT_RGB24;
    }
}

bool encodes(const Codec& codec, AVPixelFormat format) {
    const AVCodec* encoder = avcodec_find_encoder_by_name(codec.encoder);
    if (encoder == nullptr || encoder->pix_fmts == nullptr) {
        return true;  // said elsewhere, or it takes any
    }
    for (const AVPixelFormat* taken = encoder->pix_fmts; *taken != AV_PIX_FMT_NONE; ++taken) {
        if (*taken == format) {
            return true;
        }
    }
    return false;
}

/// Bits of a sample in Y'CbCr: as many as the source has where that is known, otherwise the usual 10 for deep frames.
int sampleBits(const Codec& codec, Depth depth, const AVPixFmtDescriptor* source) {
    constexpr int usualDeep = 10;
    if (depth == Depth::Bits8) {
        return 8;
    }
    const int own = source != nullptr ? source->comp[0].depth : usualDeep;
    return own > usualDeep && own <= 16 && codec.mostBits >= 12 ? 12 : usualDeep;
}

AVPixelFormat subsampledFormat(const Codec& codec, Depth depth, const Input* source) {
    const AVPixFmtDescriptor* own = source != nullptr ? &av::describe(source->firstFrame()) : nullptr;
    const int bits = sampleBits(codec, depth, own);
    if (own != nullptr && own->nb_components >= 3 && (own->flags & AV_PIX_FMT_FLAG_RGB) == 0) {
        const bool turned = source->width() != source->firstFrame().width && own->log2_chroma_w != own->log2_chroma_h;
        const AVPixelFormat same = yuvFormat(own->log2_chroma_w, own->log2_chroma_h, bits);
        if (!turned && same != AV_PIX_FMT_NONE && encodes(codec, same)) {
            return same;
        }
    }
    return yuvFormat(1, 1, bits);
}

/// What comes of writing the beginning of a file with such a stream, which alone brings out all that a container
/// refuses.
int tryHeader(const Container& container, const AVCodecParameters& parameters) {
    AVFormatContext* context = nullptr;
    if (avformat_alloc_output_context2(&context, nullptr, container.muxer, nullptr) < 0) {
        throw Failure("this build of FFmpeg cannot write {}", container.title);
    }
    const av::OutputPtr owner(context);
    AVStream* stream = avformat_new_stream(context, nullptr);
    if (stream == nullptr || avcodec_parameters_copy(stream->codecpar, &parameters) < 0) {
        throw std::bad_alloc();
    }
    stream->codecpar->codec_tag = 0;
    stream->time_base = {1, parameters.sample_rate > 0 ? parameters.sample_rate : kAnyRate};
    if (avio_open_dyn_buf(&context->pb) < 0) {
        throw std::bad_alloc();
    }
    const int begun = avformat_write_header(context, nullptr);
    std::uint8_t* bytes = nullptr;
    (void)avio_close_dyn_buf(context->pb, &bytes);
    av_free(bytes);
    context->pb = nullptr;
    return begun;
}

bool holdsVideo(const Container& container, AVCodecID codec) {
    constexpr int anySide = 64;
    const av::ParametersPtr parameters(avcodec_parameters_alloc());
    if (!parameters) {
        throw std::bad_alloc();
    }
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = codec;
    parameters->width = parameters->height = anySide;
    const int begun = tryHeader(container, *parameters);
    // That is said when only the encoder's own header is missing.
    return begun >= 0 || begun == AVERROR_INVALIDDATA;
}

bool holdsFrames(const Container& container, const Codec& codec) {
    const AVOutputFormat* muxer = av_guess_format(container.muxer, nullptr, nullptr);
    if (muxer == nullptr) {
        throw Failure("this build of FFmpeg cannot write {}", container.title);
    }
    if (muxer->video_codec == codec.id) {
        return true;
    }
    // Some containers announce more than they take.
    return avformat_query_codec(muxer, codec.id, FF_COMPLIANCE_NORMAL) == 1 && holdsVideo(container, codec.id);
}

/// "--codec prores4444, ffv1, png or qtrle".
std::string codecsWithAlpha() {
    std::vector<std::string> names;
    for (const Codec& codec : kCodecs) {
        if (codec.alpha) {
            names.emplace_back(codec.name);
        }
    }
    return listText(names);
}

}  // namespace

const Container& containerOf(const std::filesystem::path& file, const VideoWriteSettings& settings) {
    const bool streamed = file == "-";
    const std::string ending = streamed ? "." + settings.container : lowerCase(file.extension().string());
    for (const Container& container : containers()) {
        const bool named =
            std::find(container.endings.begin(), container.endings.end(), ending) != container.endings.end();
        if (named && (container.streamed || !streamed)) {
            return container;
        }
    }
    throw badValue("--output", file.string(), "a name ending in " + videoEndings());
}

const Codec& codecOf(const Container& container, const VideoWriteSettings& settings, bool alpha, Depth depth) {
    if (container.codec == nullptr) {
        if (!settings.codec.empty()) {
            throw UsageError("--codec {}: {} holds frames without a codec", settings.codec, container.title);
        }
        return kRaw;
    }
    const std::string standard = alpha || depth != Depth::Bits8 ? container.richCodec : container.codec;
    const std::string& wanted = settings.codec.empty() ? standard : settings.codec;
    const auto found =
        std::find_if(kCodecs.begin(), kCodecs.end(), [&](const Codec& codec) { return codec.name == wanted; });
    if (found == kCodecs.end()) {
        throw badValue("--codec", wanted, listText(videoCodecs()));
    }
    if (wanted != container.codec && !holdsFrames(container, *found)) {
        throw UsageError("--codec {}: {} cannot hold it", wanted, container.title);
    }
    return *found;
}

bool holds(const Container& container, const AVCodecParameters& parameters) {
    return tryHeader(container, parameters) >= 0;
}

AVPixelFormat pixelFormatFor(const Codec& codec, const VideoDescription& description, const Input* source,
                             const std::string& name, std::vector<std::string>& notes) {
    if (description.alpha && !codec.alpha) {
        throw Failure("{}: {} holds no alpha; expected {}", name, codec.name, "--codec " + codecsWithAlpha());
    }
    const bool deep = description.depth != Depth::Bits8 && codec.mostBits > 8;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    switch (codec.form) {
        case Form::Rgb:
            format = rgbCodecFormat(codec, description.alpha, deep);
            break;
        case Form::Full:
            format = description.alpha ? AV_PIX_FMT_YUVA444P10 : AV_PIX_FMT_YUV444P10;
            break;
        case Form::Subsampled:
        case Form::Raw:
            format = subsampledFormat(codec, description.depth, source);
            break;
    }
    const AVPixFmtDescriptor& chosen = av::describe(format);
    const int across = 1 << chosen.log2_chroma_w;
    const int down = 1 << chosen.log2_chroma_h;
    if (codec.form == Form::Subsampled && (description.width % across != 0 || description.height % down != 0)) {
        throw Failure(
            "{}: {} as {} needs an even width and height, and the frames are {} x {}; --codec prores4444, "
            "ffv1 or png takes any",
            name, codec.name, chosen.name, description.width, description.height);
    }
    const int bits = codec.form == Form::Rgb ? (deep ? 16 : 8) : chosen.comp[0].depth;
    const int rendered = description.depth == Depth::Bits8 ? 8 : description.depth == Depth::Bits16 ? 16 : 32;
    if (codec.form == Form::Rgb && bits < rendered) {
        notes.push_back(
            fmt::format("{}: written with {} bits a channel, the most that {} holds", name, bits, codec.name));
    }
    return format;
}

Colour colourFor(const Codec& codec, AVPixelFormat format, int height, const Input* source) {
    Colour colour = source != nullptr ? source->colour() : Colour{};
    const AVPixFmtDescriptor& chosen = av::describe(format);
    if ((chosen.flags & AV_PIX_FMT_FLAG_RGB) != 0) {
        colour.matrix = AVCOL_SPC_RGB;
        colour.range = AVCOL_RANGE_JPEG;
        colour.siting = AVCHROMA_LOC_UNSPECIFIED;
        return colour;
    }
    const bool sameSampling = source != nullptr &&
                              av::describe(source->firstFrame()).log2_chroma_w == chosen.log2_chroma_w &&
                              av::describe(source->firstFrame()).log2_chroma_h == chosen.log2_chroma_h;
    if (!sameSampling) {
        colour.siting = AVCHROMA_LOC_UNSPECIFIED;
    }
    if (source == nullptr || isRgb(source->firstFrame()) || av::describe(source->firstFrame()).nb_components < 3) {
        colour.matrix = AVCOL_SPC_UNSPECIFIED;
        colour.range = AVCOL_RANGE_UNSPECIFIED;
        std::vector<std::string> unneeded;
        colour = completed(colour, chosen, height, {}, unneeded);
    }
    if (codec.id == AV_CODEC_ID_PRORES) {
        colour.range = AVCOL_RANGE_MPEG;  // it has no way to say anything else
    }
    return colour;
}

namespace {

/// The mastering display and the light levels in x265's words; empty when there are none.
std::string hdrParameters(const Input& source) {
    std::string text;
    const auto* display = reinterpret_cast<const AVMasteringDisplayMetadata*>(
        source.sideData(AV_PKT_DATA_MASTERING_DISPLAY_METADATA, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA));
    if (display != nullptr && display->has_primaries != 0 && display->has_luminance != 0) {
        const auto in = [](AVRational value, int unit) { return std::lround(av_q2d(value) * unit); };
        constexpr int chromaUnit = 50000;
        constexpr int lightUnit = 10000;
        const auto& p = display->display_primaries;
        text += fmt::format(":master-display=G({},{})B({},{})R({},{})WP({},{})L({},{})", in(p[1][0], chromaUnit),
                            in(p[1][1], chromaUnit), in(p[2][0], chromaUnit), in(p[2][1], chromaUnit),
                            in(p[0][0], chromaUnit), in(p[0][1], chromaUnit), in(display->white_point[0], chromaUnit),
                            in(display->white_point[1], chromaUnit), in(display->max_luminance, lightUnit),
                            in(display->min_luminance, lightUnit));
    }
    const auto* light = reinterpret_cast<const AVContentLightMetadata*>(
        source.sideData(AV_PKT_DATA_CONTENT_LIGHT_LEVEL, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL));
    if (light != nullptr) {
        text += fmt::format(":max-cll={},{}", light->MaxCLL, light->MaxFALL);
    }
    return text;
}

}  // namespace

void setOptions(const Codec& codec, const VideoWriteSettings& settings, const Input* source,
                const VideoDescription& description, av::Options& options) {
    if (codec.worstFactor != codec.bestFactor) {
        options.set("crf", std::to_string(rateFactor(codec, settings.quality)));
    }
    switch (codec.id) {
        case AV_CODEC_ID_HEVC: {
            constexpr int narrow = 128;  // where x265 writes past the rows of what it plans with
            options.set("x265-params", std::string("log-level=none") + (description.width < narrow ? ":cutree=0" : "") +
                                           (settings.oneThread ? ":pools=none:frame-threads=1:no-wpp=1" : "") +
                                           (source != nullptr ? hdrParameters(*source) : ""));
            break;
        }
        case AV_CODEC_ID_VP9:
            options.set("b", "0");  // the factor alone decides
            options.set("cpu-used", "4");
            options.set("row-mt", settings.oneThread ? "0" : "1");
            break;
        case AV_CODEC_ID_PRORES:
            options.set("profile", "4444");
            options.set("vendor", "apl0");
            options.set("alpha_bits", description.alpha ? "16" : "0");
            break;
        case AV_CODEC_ID_FFV1:
            options.set("level", "3");
            options.set("slicecrc", "1");
            options.set("g", "1");
            break;
        case AV_CODEC_ID_PNG:
            options.set("pred", "paeth");
            options.set("compression_level", "4");
            break;
        default:
            break;
    }
}

}  // namespace quorvel::cli
