// SPDX-License-Identifier: MIT
// The reference renderer: one frame, drawn the obvious way. fast/ gives the same bits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "effect/cells.h"
#include "effect/channel_plan.h"
#include "effect/curve_table.h"
#include "effect/depth.h"
#include "effect/intensity.h"
#include "effect/pixels.h"
#include "effect/plain/block.h"
#include "effect/settings.h"

namespace quorvel::plain {

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

/// Renders one frame with a curve table that was built from the same settings. The source is read at the output's
/// positions and size, with its own stride, and may be the output's own memory. Nothing depends on the resolution of a
/// preview: cells are the same part of the picture at every size. Allocates nothing; safe to run for many frames at
/// once.
template <typename Depth>
void render(PixelView<typename Depth::Channel> output, PixelView<const typename Depth::Channel> source,
            const Settings& settings, const CurveTable<Depth>& table,
            const IntensityLayer<typename Depth::Channel>& layer) {
    using T = typename Depth::Channel;
    const std::int32_t width = output.width;
    const std::int32_t height = output.height;
    if (width < 1 || height < 1) {
        return;
    }

    const ChannelPlan<T> plan = planChannels<Depth>(settings.channels, table);
    for (int channel = 0; channel < kChannelsPerPixel; ++channel) {
        if (plan.copied[channel]) {
            copyChannel<T>(output, source, channel);
        }
    }

    const IntensityMapping<T> mapping = mapIntensity<T>(layer, width, height);
    BlockContext<Depth> context{Depth::threshold(settings.mosaicIntensity),
                                settings.maxIterations,
                                output.stride,
                                source.stride,
                                mapping.sampling,
                                nullptr};

    for (std::int32_t r = 0; r < settings.gridHeight; ++r) {
        const std::int32_t y0 = cellStart(r, height, settings.gridHeight);
        const std::int32_t y1 = cellStart(r + 1, height, settings.gridHeight);
        for (std::int32_t c = 0; c < settings.gridWidth; ++c) {
            const std::int32_t x0 = cellStart(c, width, settings.gridWidth);
            const std::int32_t x1 = cellStart(c + 1, width, settings.gridWidth);
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

/// The same, with the curve table built here.
template <typename Depth>
void render(PixelView<typename Depth::Channel> output, PixelView<const typename Depth::Channel> source,
            const Settings& settings, const IntensityLayer<typename Depth::Channel>& layer = {}) {
    render<Depth>(output, source, settings, CurveTable<Depth>(settings), layer);
}

}  // namespace quorvel::plain
