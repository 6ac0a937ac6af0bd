// SPDX-License-Identifier: MIT
#include "effect/fast/render.h"

#include <cstdint>

#include "effect/channel_plan.h"
#include "effect/curve_table.h"
#include "effect/depth.h"
#include "effect/fast/busy_range.h"
#include "effect/fast/curve_samples.h"
#include "effect/fast/geometry.h"
#include "effect/fast/job.h"
#include "effect/fast/kernels.h"
#include "effect/plain/render.h"

namespace quorvel::fast {

namespace {

void callKernel(const KernelSet& kernels, const MosaicJob<Depth8>& job) {
    kernels.mosaic8(job);
}
void callKernel(const KernelSet& kernels, const MosaicJob<Depth16>& job) {
    kernels.mosaic16(job);
}
void callKernel(const KernelSet& kernels, const MosaicJob<DepthFloat>& job) {
    kernels.mosaicFloat(job);
}

/// Whether blocks become too thin to split before they are small enough for tiles, because cells are much longer in one
/// direction than in the other. `width` and `height` are those of the largest cell.
bool cellsAreThin(std::int32_t width, std::int32_t height) {
    const std::int32_t levels = levelsToTiles(width, height);
    // Cells differ by at most one pixel, and the smallest block of a level is rounded down.
    return levels > 0 && (((width - 1) >> (levels - 1)) < 3 || ((height - 1) >> (levels - 1)) < 3);
}

}  // namespace

template <typename Depth>
void render(PixelView<typename Depth::Channel> output, PixelView<const typename Depth::Channel> source,
            const Settings& settings, const IntensityLayer<typename Depth::Channel>& layer, InstructionSet set) {
    using T = typename Depth::Channel;
    if (output.width < 1 || output.height < 1) {
        return;
    }
    const CurveTable<Depth> table(settings,
                                  [set](int type, int count, float amplitude, float smoothness, float* samples) {
                                      sampleCurve(type, count, amplitude, smoothness, samples, set);
                                  });
    // A frame without cells is only copied.
    const bool hasCells = settings.gridWidth >= 1 && settings.gridHeight >= 1;
    if (!hasCells || output.width < kNarrowestFrame ||
        cellsAreThin((output.width - 1) / settings.gridWidth + 1,  //
                     (output.height - 1) / settings.gridHeight + 1)) {
        plain::render<Depth>(output, source, settings, table, layer);
        return;
    }
    const ChannelPlan<T> plan = planChannels<Depth>(settings.channels, table);
    if (plan.passCount == 0) {
        return;
    }
    const IntensityMapping<T> mapping = mapIntensity<T>(layer, output.width, output.height);
    MosaicJob<Depth> job;
    job.output = output;
    job.source = source;
    job.intensity = mapping.sampling;
    job.intensityX = mapping.originX;
    job.intensityY = mapping.originY;
    job.gridWidth = settings.gridWidth;
    job.gridHeight = settings.gridHeight;
    job.maximumLevel = settings.maxIterations;
    job.threshold = Depth::threshold(settings.mosaicIntensity);
    job.rangesHold = true;
    for (int p = 0; p < plan.passCount; ++p) {
        const ChannelPass<T>& pass = plan.passes[p];
        job.joint = pass.joint;
        BusyRange<T> range;
        job.rangesHold = findBusyRange<Depth>(pass.table, job.threshold, range) && job.rangesHold;
        for (int c = pass.channel; c < pass.channel + (pass.joint ? 3 : 1); ++c) {
            job.processed[c] = true;
            job.tables[c] = pass.table;
            job.busy[c] = range;
        }
    }
    callKernel(kernelsFor(set), job);
}

template void render<Depth8>(PixelView<std::uint8_t>, PixelView<const std::uint8_t>, const Settings&,
                             const IntensityLayer<std::uint8_t>&, InstructionSet);
template void render<Depth16>(PixelView<std::uint16_t>, PixelView<const std::uint16_t>, const Settings&,
                              const IntensityLayer<std::uint16_t>&, InstructionSet);
template void render<DepthFloat>(PixelView<float>, PixelView<const float>, const Settings&,
                                 const IntensityLayer<float>&, InstructionSet);

}  // namespace quorvel::fast
