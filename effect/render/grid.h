// SPDX-License-Identifier: MIT
// One frame's mosaic: the curve table, the channels left alone, the intensity layer's mapping, and the grid of cells.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/params/param_values.h"
#include "effect/render/block.h"
#include "effect/render/cells.h"
#include "effect/render/curve_table.h"
#include "effect/render/depth.h"
#include "effect/render/pixels.h"

namespace quorvel {

/// The intensity layer's sampling, and the 16.16 position of the output's first pixel in it.
template <typename T>
struct IntensityMapping {
    IntensitySampling<T> sampling;
    std::int32_t originX = 0;
    std::int32_t originY = 0;
};

/// Reads the layer 1:1 where it covers the output's rectangle at a non-negative origin; otherwise stretches it over
/// the output. A layer without area counts as none. `width` and `height` are the output's, at least 1.
template <typename T>
IntensityMapping<T> mapIntensity(PixelView<const T> layer, std::int32_t width, std::int32_t height,
                                 std::int32_t originX, std::int32_t originY) {
    IntensityMapping<T> mapping;
    IntensitySampling<T>& sampling = mapping.sampling;
    if (layer.pixels == nullptr || layer.width < 1 || layer.height < 1) {
        return mapping;
    }
    sampling.pixels = layer.pixels;
    sampling.stride = layer.stride;
    sampling.width = layer.width;
    sampling.height = layer.height;
    // Positions of smaller layers never leave 31 bits, nor the layer.
    sampling.clamped = layer.width >= 32768 || layer.height >= 32768;

    // As differences: the sums of origin and size could overflow.
    const bool covers = originX >= 0 && originY >= 0 && layer.height >= height && layer.width >= width &&
                        originY <= layer.height - height && originX <= layer.width - width;
    if (covers) {
        mapping.originX = wrappingMultiply(originX, 65536);
        mapping.originY = wrappingMultiply(originY, 65536);
        sampling.stepX = sampling.stepY = 65536;
    } else {
        sampling.stepX = wrappingMultiply(layer.width, 65536) / width;
        sampling.stepY = wrappingMultiply(layer.height, 65536) / height;
    }
    return mapping;
}

/// Copies one channel of every pixel.
template <typename T>
void copyChannel(PixelView<T> output, PixelView<const T> source, int channel) {
    for (std::int32_t y = 0; y < output.height; ++y) {
        T* to = output.pixels + y * output.stride + channel;
        const T* from = source.pixels + y * source.stride + channel;
        for (std::int32_t x = 0; x < output.width; ++x, to += kChannelsPerPixel, from += kChannelsPerPixel) {
            *to = *from;
        }
    }
}

/// One quadtree per grid cell: the channels it measures and writes, and the curve it reads.
template <typename T>
struct ChannelPass {
    bool joint;   ///< R, G and B together
    int channel;  ///< otherwise this one
    const T* table;
};

/// What happens to each channel in one "Channels" mode; nothing in an unknown one.
template <typename T>
struct ChannelPlan {
    ChannelPass<T> passes[3];
    int passCount = 0;
    bool copied[kChannelsPerPixel] = {};
};

template <typename Depth>
ChannelPlan<typename Depth::Channel> planChannels(std::int32_t mode, const CurveTable<Depth>& table) {
    using T = typename Depth::Channel;
    ChannelPlan<T> plan;
    if (mode < kLuminosity || mode > kAlpha) {
        return plan;
    }
    for (bool& copied : plan.copied) {
        copied = true;
    }
    const auto process = [&](int channel, const T* view) {
        plan.passes[plan.passCount++] = {false, channel, view};
        plan.copied[channel] = false;
    };
    switch (mode) {
        case kLuminosity:
            plan.passes[plan.passCount++] = {true, kChannelR, table.base()};
            plan.copied[kChannelR] = plan.copied[kChannelG] = plan.copied[kChannelB] = false;
            break;
        case kRGB:
            process(kChannelR, table.plus());
            process(kChannelG, table.base());
            process(kChannelB, table.minus());
            break;
        case kRed:
            process(kChannelR, table.plus());
            break;
        case kGreen:
            process(kChannelG, table.base());
            break;
        case kBlue:
            process(kChannelB, table.minus());
            break;
        default:
            process(kChannelA, table.base());
            break;
    }
    return plan;
}

/// Renders one frame, plainly: the reference for the fast kernel, which gives the same bits. The source is read at the
/// output's positions and size, with its own stride. `intensity` may be absent; the origin is the output's place in
/// it, in pixels. `scale` (the preview resolution) is not read: cells are the same part of the picture at every
/// resolution. Allocates nothing; safe to run for many frames at once.
template <typename Depth>
void mosaicFrame(PixelView<typename Depth::Channel> output, PixelView<const typename Depth::Channel> source,
                 ParamValues values, const CurveTable<Depth>& table, PixelView<const typename Depth::Channel> intensity,
                 std::int32_t originX, std::int32_t originY) {
    using T = typename Depth::Channel;
    const std::int32_t width = output.width;
    const std::int32_t height = output.height;
    if (width < 1 || height < 1) {
        return;
    }

    const ChannelPlan<T> plan = planChannels<Depth>(values.channels, table);
    for (int channel = 0; channel < kChannelsPerPixel; ++channel) {
        if (plan.copied[channel]) {
            copyChannel<T>(output, source, channel);
        }
    }

    const IntensityMapping<T> mapping = mapIntensity<T>(intensity, width, height, originX, originY);
    BlockContext<Depth> context{Depth::threshold(values.mosaicIntensity),
                                values.maxIterations,
                                output.stride,
                                source.stride,
                                mapping.sampling,
                                nullptr};

    for (std::int32_t r = 0; r < values.gridHeight; ++r) {
        const std::int32_t y0 = cellStart(r, height, values.gridHeight);
        const std::int32_t y1 = cellStart(r + 1, height, values.gridHeight);
        for (std::int32_t c = 0; c < values.gridWidth; ++c) {
            const std::int32_t x0 = cellStart(c, width, values.gridWidth);
            const std::int32_t x1 = cellStart(c + 1, width, values.gridWidth);
            if (x1 == x0 || y1 == y0) {
                continue;
            }
            const std::ptrdiff_t across = static_cast<std::ptrdiff_t>(x0) * kChannelsPerPixel;
            Block<T> cell{output.pixels + y0 * output.stride + across,
                          source.pixels + y0 * source.stride + across,
                          x1 - x0,
                          y1 - y0,
                          0,
                          wrappingAdd(wrappingMultiply(x0, mapping.sampling.stepX), mapping.originX),
                          wrappingAdd(wrappingMultiply(y0, mapping.sampling.stepY), mapping.originY)};
            for (int p = 0; p < plan.passCount; ++p) {
                const ChannelPass<T>& pass = plan.passes[p];
                context.table = pass.table;
                if (pass.joint) {
                    mosaicBlock<Depth, JointRGB>(context, cell);
                    continue;
                }
                Block<T> channelCell = cell;
                channelCell.output += pass.channel;
                channelCell.source += pass.channel;
                if (mapping.sampling.pixels != nullptr) {
                    context.intensity.pixels = mapping.sampling.pixels + pass.channel;
                }
                mosaicBlock<Depth, SingleChannel>(context, channelCell);
            }
        }
    }
}

/// The same, with the curve table built plainly too.
template <typename Depth>
void mosaicFrame(PixelView<typename Depth::Channel> output, PixelView<const typename Depth::Channel> source,
                 ParamValues values, PixelView<const typename Depth::Channel> intensity, std::int32_t originX,
                 std::int32_t originY, [[maybe_unused]] float scale) {
    mosaicFrame<Depth>(output, source, values, CurveTable<Depth>(values), intensity, originX, originY);
}

}  // namespace quorvel
