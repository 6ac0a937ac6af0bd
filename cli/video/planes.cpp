// SPDX-License-Identifier: MIT
#include "cli/video/planes.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

#include "cli/pictures/channel_values.h"

namespace quorvel::cli {
namespace {

using host::Depth;

bool has(const AVPixFmtDescriptor& format, std::uint64_t flag) {
    return (format.flags & flag) != 0;
}

bool isGrey(const AVPixFmtDescriptor& format) {
    return !has(format, AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL) && format.nb_components < 3;
}

/// The most bits of a colour's sample.
int bitsOf(const AVPixFmtDescriptor& format) {
    int bits = 0;
    const int colours = format.nb_components - (has(format, AV_PIX_FMT_FLAG_ALPHA) ? 1 : 0);
    for (int i = 0; i < std::max(colours, 1); ++i) {
        bits = std::max(bits, format.comp[i].depth);
    }
    return bits;
}

std::uint32_t topOf(int bits) {
    return (1U << static_cast<unsigned>(bits)) - 1U;
}

/// A whole number of 0 to `from` as one of 0 to `to`, both at most 65535.
std::uint16_t scaled(std::uint32_t value, std::uint32_t from, std::uint32_t to) {
    return static_cast<std::uint16_t>((std::min(value, from) * to + from / 2) / from);
}

/// Each component in a plane of its own, in the machine's byte order, without unused bits below the sample.
bool isPlain(const AVPixFmtDescriptor& format) {
    if (has(format, AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL)) {
        return false;
    }
    for (int i = 0; i < format.nb_components; ++i) {
        const AVComponentDescriptor& component = format.comp[i];
        for (int before = 0; before < i; ++before) {
            if (format.comp[before].plane == component.plane) {
                return false;
            }
        }
        if (component.shift != 0 || component.step != (component.depth + 7) / 8) {
            return false;
        }
    }
    return true;
}

static_assert(std::endian::native == std::endian::little, "formats without the flag for big-endian are plain");

AVPixelFormat greyFormat(int bits) {
    switch (bits) {
        case 8:
            return AV_PIX_FMT_GRAY8;
        case 9:
            return AV_PIX_FMT_GRAY9;
        case 10:
            return AV_PIX_FMT_GRAY10;
        case 12:
            return AV_PIX_FMT_GRAY12;
        case 14:
            return AV_PIX_FMT_GRAY14;
        case 16:
            return AV_PIX_FMT_GRAY16;
        case 32:
            return AV_PIX_FMT_GRAYF32;
        default:
            return AV_PIX_FMT_NONE;
    }
}

Failure unsupported(const AVPixFmtDescriptor& format) {
    return Failure("frames in the pixel format {} are unsupported", format.name);
}

/// Another label on some planes of a frame: plane `planes[i]` becomes plane i.
av::FramePtr relabelled(const AVFrame& frame, AVPixelFormat format, std::initializer_list<int> planes) {
    av::FramePtr other = av::sharedFrame(frame);
    other->format = format;
    std::fill(std::begin(other->data), std::end(other->data), nullptr);
    std::fill(std::begin(other->linesize), std::end(other->linesize), 0);
    int i = 0;
    for (const int plane : planes) {
        other->data[i] = frame.data[plane];
        other->linesize[i++] = frame.linesize[plane];
    }
    other->extended_data = other->data;
    return other;
}

/// One row of a component, whatever the format; of a palette's colours, in the order R, G, B, A.
void readRow(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y, int width,
             std::uint16_t* to) {
    const bool palette = has(format, AV_PIX_FMT_FLAG_PAL);
    av_read_image_line2(to, const_cast<const std::uint8_t**>(frame.data), frame.linesize, &format, 0, y,
                        palette ? 0 : component, width, 0, sizeof *to);
    if (palette) {
        constexpr std::array<unsigned, 4> shift{16, 8, 0, 24};
        const auto* colours = reinterpret_cast<const std::uint32_t*>(frame.data[1]);
        std::transform(to, to + width, to, [&](std::uint16_t index) {
            return static_cast<std::uint16_t>(colours[index] >> shift[static_cast<std::size_t>(component)] & 255U);
        });
    } else if (frame.format == AV_PIX_FMT_MONOWHITE) {
        std::transform(to, to + width, to, [](std::uint16_t bit) { return static_cast<std::uint16_t>(1 - bit); });
    }
}

/// A component as a plane of samples of `bits` bits, scaled to them from `own` bits.
void copyComponent(const AVFrame& frame, int component, int own, AVFrame& to, int plane, int bits, int width,
                   int height) {
    const AVPixFmtDescriptor& format = av::describe(frame);
    std::vector<std::uint16_t> row(static_cast<std::size_t>(width));
    for (int y = 0; y < height; ++y) {
        readRow(frame, format, component, y, width, row.data());
        if (own != bits) {
            for (std::uint16_t& sample : row) {
                sample = scaled(sample, topOf(own), topOf(bits));
            }
        }
        std::uint8_t* out = to.data[plane] + static_cast<std::ptrdiff_t>(y) * to.linesize[plane];
        if (bits == 8) {
            std::copy(row.begin(), row.end(), out);
        } else {
            std::memcpy(out, row.data(), row.size() * sizeof row[0]);
        }
    }
}

Planes separatedFloat(const AVFrame& frame, const AVPixFmtDescriptor& format) {
    switch (frame.format) {
        case AV_PIX_FMT_GBRPF32:
            return {av::sharedFrame(frame), nullptr};
        case AV_PIX_FMT_GBRAPF32:
            return {relabelled(frame, AV_PIX_FMT_GBRPF32, {0, 1, 2}), relabelled(frame, AV_PIX_FMT_GRAYF32, {3})};
        case AV_PIX_FMT_GRAYF32:
            return {relabelled(frame, AV_PIX_FMT_GBRPF32, {0, 0, 0}), nullptr};
        default:
            throw unsupported(format);
    }
}

/// R'G'B', a palette, or grey of full range.
Planes separatedRgb(const AVFrame& frame, const AVPixFmtDescriptor& format) {
    const bool grey = isGrey(format);
    const bool palette = has(format, AV_PIX_FMT_FLAG_PAL);
    const bool alpha = has(format, AV_PIX_FMT_FLAG_ALPHA) || palette;
    const int own = bitsOf(format);
    const int bits = palette || own <= 8 ? 8 : 16;
    const AVPixelFormat colours = bits == 8 ? AV_PIX_FMT_GBRP : AV_PIX_FMT_GBRP16;
    if (isPlain(format) && own == bits) {
        const int alphaPlane = format.comp[format.nb_components - 1].plane;
        return {grey ? relabelled(frame, colours, {0, 0, 0}) : relabelled(frame, colours, {0, 1, 2}),
                alpha ? relabelled(frame, greyFormat(bits), {alphaPlane}) : nullptr};
    }
    Planes planes{av::newFrame(colours, frame.width, frame.height), nullptr};
    constexpr std::array<int, 3> gbrPlane{2, 0, 1};  // of R, G and B
    for (int channel = 0; channel < 3; ++channel) {
        const int component = grey ? 0 : channel;
        const int samples = palette ? 8 : format.comp[component].depth;
        copyComponent(frame, component, samples, *planes.colours, gbrPlane[static_cast<std::size_t>(channel)], bits,
                      frame.width, frame.height);
    }
    if (alpha) {
        const int component = grey ? 1 : 3;
        planes.alpha = av::newFrame(greyFormat(bits), frame.width, frame.height);
        copyComponent(frame, component, palette ? 8 : format.comp[component].depth, *planes.alpha, 0, bits, frame.width,
                      frame.height);
    }
    return planes;
}

void fillPlane(AVFrame& frame, int plane, int bits, std::uint16_t value) {
    for (int y = 0; y < frame.height; ++y) {
        std::uint8_t* row = frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
        if (bits == 8) {
            std::fill_n(row, frame.width, static_cast<std::uint8_t>(value));
        } else {
            std::fill_n(reinterpret_cast<std::uint16_t*>(row), frame.width, value);
        }
    }
}

/// Grey of limited range, as Y'CbCr without colour.
Planes separatedLimitedGrey(const AVFrame& frame, const AVPixFmtDescriptor& format) {
    const int bits = bitsOf(format);
    const AVPixelFormat target = yuvFormat(0, 0, bits);
    if (target == AV_PIX_FMT_NONE || has(format, AV_PIX_FMT_FLAG_ALPHA)) {
        throw unsupported(format);
    }
    Planes planes{av::newFrame(target, frame.width, frame.height), nullptr};
    copyComponent(frame, 0, bits, *planes.colours, 0, bits, frame.width, frame.height);
    for (const int chroma : {1, 2}) {
        fillPlane(*planes.colours, chroma, bits, static_cast<std::uint16_t>(1U << static_cast<unsigned>(bits - 1)));
    }
    return planes;
}

Planes separatedYuv(const AVFrame& frame, const AVPixFmtDescriptor& format) {
    const int bits = bitsOf(format);
    const bool alpha = has(format, AV_PIX_FMT_FLAG_ALPHA);
    const AVPixelFormat target = yuvFormat(format.log2_chroma_w, format.log2_chroma_h, bits);
    if (target == AV_PIX_FMT_NONE || (alpha && greyFormat(bits) == AV_PIX_FMT_NONE)) {
        throw unsupported(format);
    }
    if (isPlain(format)) {
        return {relabelled(frame, target, {0, 1, 2}), alpha ? relabelled(frame, greyFormat(bits), {3}) : nullptr};
    }
    Planes planes{av::newFrame(target, frame.width, frame.height), nullptr};
    for (int component = 0; component < 3; ++component) {
        const int width = component == 0 ? frame.width : AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w);
        const int height = component == 0 ? frame.height : AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h);
        copyComponent(frame, component, bits, *planes.colours, component, bits, width, height);
    }
    if (alpha) {
        planes.alpha = av::newFrame(greyFormat(bits), frame.width, frame.height);
        copyComponent(frame, 3, format.comp[3].depth, *planes.alpha, 0, bits, frame.width, frame.height);
    }
    return planes;
}

template <typename Sample>
const Sample* rowOf(const AVFrame& frame, int plane, int y) {
    return reinterpret_cast<const Sample*>(frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane]);
}

/// A row of alpha with the levels of `Sample`.
template <typename Sample>
void alphaRow(const AVFrame& alpha, int y, std::vector<Sample>& to) {
    const int bits = bitsOf(av::describe(alpha));
    if (bits == 32) {
        const float* from = rowOf<float>(alpha, 0, y);
        std::transform(from, from + to.size(), to.begin(), [](float value) { return toFile<Sample>(value); });
        return;
    }
    const auto copy = [&](const auto* from) {
        for (std::size_t x = 0; x < to.size(); ++x) {
            if constexpr (std::is_floating_point_v<Sample>) {
                to[x] = static_cast<float>(from[x]) / static_cast<float>(topOf(bits));
            } else {
                to[x] = static_cast<Sample>(scaled(from[x], topOf(bits), topOf(8 * sizeof(Sample))));
            }
        }
    };
    if (bits == 8) {
        copy(rowOf<std::uint8_t>(alpha, 0, y));
    } else {
        copy(rowOf<std::uint16_t>(alpha, 0, y));
    }
}

/// A, R, G and B of one stored row.
template <typename Sample>
using Rows = std::array<const Sample*, 4>;

template <typename Channel, typename Sample>
void placeRow(host::World& world, const PixelRun& run, const Rows<Sample>& rows) {
    Channel* to = world.channels<Channel>(run.worldY) + static_cast<std::ptrdiff_t>(run.worldX) * 4;
    if (run.stepX == 1 && run.sourceStep == 1) {
        for (int x = 0; x < run.count; ++x) {
            for (std::size_t channel = 0; channel < 4; ++channel) {
                to[4 * x + static_cast<int>(channel)] = toHost<Channel>(rows[channel][run.sourceX + x]);
            }
        }
        return;
    }
    const std::ptrdiff_t step =
        run.stepX * 4 + run.stepY * world.rowBytes() / static_cast<std::ptrdiff_t>(sizeof(Channel));
    for (int i = 0, x = run.sourceX; i < run.count; ++i, x += run.sourceStep, to += step) {
        for (std::size_t channel = 0; channel < 4; ++channel) {
            to[channel] = toHost<Channel>(rows[channel][x]);
        }
    }
}

template <typename Channel, typename Sample>
void placeAll(const Planes& planes, const Placement& placement, Sample opaque, host::World& world) {
    const AVFrame& colours = *planes.colours;
    std::vector<Sample> alpha(static_cast<std::size_t>(colours.width), opaque);
    for (int y = 0; y < colours.height; ++y) {
        const auto run = placement.run(y);
        if (!run) {
            continue;
        }
        if (planes.alpha) {
            alphaRow(*planes.alpha, y, alpha);
        }
        placeRow<Channel>(world, *run,
                          Rows<Sample>{alpha.data(), rowOf<Sample>(colours, 2, y), rowOf<Sample>(colours, 0, y),
                                       rowOf<Sample>(colours, 1, y)});
    }
}

template <typename Sample>
void place(const Planes& planes, const Placement& placement, Sample opaque, host::World& world) {
    switch (world.depth()) {
        case Depth::Bits8:
            return placeAll<std::uint8_t>(planes, placement, opaque, world);
        case Depth::Bits16:
            return placeAll<std::uint16_t>(planes, placement, opaque, world);
        case Depth::Float32:
            return placeAll<float>(planes, placement, opaque, world);
    }
}

/// One channel of the world's row y, each sample `step` bytes from the last.
template <typename Sample>
void putChannel(const host::World& world, int y, int channel, std::uint8_t* to, int step, bool swap) {
    const auto put = [&](const auto* from) {
        for (int x = 0; x < world.width(); ++x, from += 4, to += step) {
            auto sample = toFile<Sample>(*from);
            if constexpr (sizeof(Sample) == 2) {
                sample = swap ? static_cast<Sample>(sample << 8 | sample >> 8) : sample;
            }
            std::memcpy(to, &sample, sizeof sample);
        }
    };
    switch (world.depth()) {
        case Depth::Bits8:
            return put(world.channels<std::uint8_t>(y) + channel);
        case Depth::Bits16:
            return put(world.channels<std::uint16_t>(y) + channel);
        case Depth::Float32:
            return put(world.channels<float>(y) + channel);
    }
}

}  // namespace

Depth depthOf(AVPixelFormat pixelFormat) {
    const AVPixFmtDescriptor& format = av::describe(pixelFormat);
    if (has(format, AV_PIX_FMT_FLAG_FLOAT)) {
        return Depth::Float32;
    }
    return has(format, AV_PIX_FMT_FLAG_PAL) || bitsOf(format) <= 8 ? Depth::Bits8 : Depth::Bits16;
}

bool hasAlpha(AVPixelFormat format) {
    return has(av::describe(format), AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL);
}

bool isRgb(const AVFrame& frame) {
    return has(av::describe(frame), AV_PIX_FMT_FLAG_RGB);
}

Planes separated(const AVFrame& frame) {
    const AVPixFmtDescriptor& format = av::describe(frame);
    const bool isXyz = std::strncmp(format.name, "xyz", 3) == 0;
    if (isXyz || has(format, AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER)) {
        throw unsupported(format);
    }
    if (has(format, AV_PIX_FMT_FLAG_FLOAT)) {
        return separatedFloat(frame, format);
    }
    if (isGrey(format) && frame.color_range == AVCOL_RANGE_MPEG) {
        return separatedLimitedGrey(frame, format);
    }
    if (isGrey(format) || has(format, AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) {
        return separatedRgb(frame, format);
    }
    return separatedYuv(frame, format);
}

host::World worldOf(const Planes& planes, const Placement& placement, Depth depth) {
    host::World world(depth, placement.worldWidth(), placement.worldHeight());
    switch (depthOf(static_cast<AVPixelFormat>(planes.colours->format))) {
        case Depth::Bits8:
            place(planes, placement, std::uint8_t{255}, world);
            break;
        case Depth::Bits16:
            place(planes, placement, std::uint16_t{65535}, world);
            break;
        case Depth::Float32:
            place(planes, placement, 1.0F, world);
            break;
    }
    return world;
}

AVPixelFormat rgbFormat(Depth depth) {
    return depth == Depth::Bits8 ? AV_PIX_FMT_GBRP : depth == Depth::Bits16 ? AV_PIX_FMT_GBRP16 : AV_PIX_FMT_GBRPF32;
}

AVPixelFormat yuvFormat(int log2ChromaWidth, int log2ChromaHeight, int bits) {
    for (const AVPixFmtDescriptor* format = nullptr; (format = av_pix_fmt_desc_next(format)) != nullptr;) {
        const AVPixelFormat id = av_pix_fmt_desc_get_id(format);
        const bool deprecated = id == AV_PIX_FMT_YUVJ411P || std::strncmp(format->name, "yuvj", 4) == 0;
        if (format->nb_components == 3 && !has(*format, AV_PIX_FMT_FLAG_RGB) && !deprecated && isPlain(*format) &&
            has(*format, AV_PIX_FMT_FLAG_PLANAR) && format->log2_chroma_w == log2ChromaWidth &&
            format->log2_chroma_h == log2ChromaHeight && bitsOf(*format) == bits) {
            return id;
        }
    }
    return AV_PIX_FMT_NONE;
}

av::FramePtr rgbFrame(const host::World& world, AVPixelFormat pixelFormat) {
    const AVPixFmtDescriptor& format = av::describe(pixelFormat);
    av::FramePtr frame = av::newFrame(pixelFormat, world.width(), world.height());
    const bool swap = has(format, AV_PIX_FMT_FLAG_BE);
    constexpr std::array<int, 4> worldChannel{1, 2, 3, 0};  // R, G, B and A of a format in a world's A, R, G, B
    for (int i = 0; i < format.nb_components; ++i) {
        const AVComponentDescriptor& component = format.comp[i];
        const int channel = worldChannel[static_cast<std::size_t>(i)];
        for (int y = 0; y < world.height(); ++y) {
            std::uint8_t* to = frame->data[component.plane] +
                               static_cast<std::ptrdiff_t>(y) * frame->linesize[component.plane] + component.offset;
            if (component.depth == 8) {
                putChannel<std::uint8_t>(world, y, channel, to, component.step, swap);
            } else if (component.depth == 16) {
                putChannel<std::uint16_t>(world, y, channel, to, component.step, swap);
            } else {
                putChannel<float>(world, y, channel, to, component.step, swap);
            }
        }
    }
    return frame;
}

av::FramePtr withAlpha(const AVFrame& colours, AVPixelFormat pixelFormat, const host::World& world) {
    const AVPixFmtDescriptor& format = av::describe(pixelFormat);
    av::FramePtr frame = relabelled(colours, pixelFormat, {0, 1, 2});
    const int bits = format.comp[3].depth;
    const std::size_t lineBytes = static_cast<std::size_t>(world.width()) * (bits > 8 ? 2 : 1);
    AVBufferRef* buffer =
        av_buffer_alloc(lineBytes * static_cast<std::size_t>(world.height()) + AV_INPUT_BUFFER_PADDING_SIZE);
    const auto free = std::find(std::begin(frame->buf), std::end(frame->buf), nullptr);
    if (buffer == nullptr || free == std::end(frame->buf)) {
        av_buffer_unref(&buffer);
        throw std::bad_alloc();
    }
    *free = buffer;
    frame->data[3] = buffer->data;
    frame->linesize[3] = static_cast<int>(lineBytes);
    std::vector<std::uint16_t> row(static_cast<std::size_t>(world.width()));
    for (int y = 0; y < world.height(); ++y) {
        std::uint8_t* to = frame->data[3] + lineBytes * static_cast<std::size_t>(y);
        if (bits == 8) {
            putChannel<std::uint8_t>(world, y, 0, to, 1, false);
            continue;
        }
        // By way of all 16 bits: those of the codec are fewer.
        putChannel<std::uint16_t>(world, y, 0, reinterpret_cast<std::uint8_t*>(row.data()), 2, false);
        std::transform(row.begin(), row.end(), reinterpret_cast<std::uint16_t*>(to),
                       [&](std::uint16_t value) { return scaled(value, kFileWhite16, topOf(bits)); });
    }
    return frame;
}

}  // namespace quorvel::cli
