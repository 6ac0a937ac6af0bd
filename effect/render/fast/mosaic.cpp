// SPDX-License-Identifier: MIT
#include "effect/render/fast/mosaic.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "effect/render/curve.h"
#include "effect/render/curve_table.h"
#include "effect/render/depth.h"
#include "effect/render/fast/geometry.h"
#include "effect/render/fast/kernel.h"
#include "effect/render/grid.h"

namespace quorvel {

namespace {

const KernelSet& kernelsFor(InstructionSet set) {
    switch (set) {
        case InstructionSet::Avx512:
            return kAvx512Kernels;
        case InstructionSet::Avx2:
            return kAvx2Kernels;
        default:
            return kBaselineKernels;
    }
}

void callKernel(const KernelSet& kernels, const MosaicJob<Depth8>& job) {
    kernels.mosaic8(job);
}
void callKernel(const KernelSet& kernels, const MosaicJob<Depth16>& job) {
    kernels.mosaic16(job);
}
void callKernel(const KernelSet& kernels, const MosaicJob<DepthFloat>& job) {
    kernels.mosaicFloat(job);
}

/// Whether cells are so much longer in one direction than in the other that blocks become too thin to split before
/// they are small enough for tiles.
bool cellsAreThin(std::int32_t width, std::int32_t height) {
    const std::int32_t levels = levelsToTiles(width, height);
    // One less than the largest cell covers the smaller ones as well; the smallest block in a level is rounded down.
    return levels > 0 && (((width - 1) >> (levels - 1)) < 3 || ((height - 1) >> (levels - 1)) < 3);
}

/// The lowest contrast that the curve sees as this level or a higher one, up to the last.
template <typename Depth>
typename Depth::Channel firstContrastOf(int level) {
    using T = typename Depth::Channel;
    const auto levelAt = [](T contrast) { return Depth::levelOf(T{0}, contrast); };
    if constexpr (sizeof(T) == 4) {
        if (level == 0) {
            return std::numeric_limits<T>::lowest();  // an unmeasured block has a negative contrast
        }
        auto contrast = static_cast<T>(level) / static_cast<T>(Depth::kLevels - 1);
        while (levelAt(contrast) >= level) {
            contrast = std::nextafter(contrast, 0.0F);
        }
        while (levelAt(contrast) < level) {
            contrast = std::nextafter(contrast, 2.0F);
        }
        return contrast;
    } else {
        constexpr auto kLast = static_cast<int>(Depth::kMinimumStart);
        int contrast = level * kLast / (Depth::kLevels - 1);
        while (levelAt(static_cast<T>(contrast)) < level) {
            ++contrast;
        }
        return static_cast<T>(contrast);
    }
}

template <typename Depth>
typename Depth::Channel lastContrastOf(int level) {
    using T = typename Depth::Channel;
    if (level == Depth::kLevels - 1) {
        return std::numeric_limits<T>::max();
    }
    const T next = firstContrastOf<Depth>(level + 1);
    if constexpr (sizeof(T) == 4) {
        return std::nextafter(next, 0.0F);
    } else {
        return static_cast<T>(next - 1);
    }
}

/// Sums up the levels whose curve value is above the threshold; false when they are no single range of the turn.
template <typename Depth>
bool findBusyRange(const typename Depth::Channel* table, typename Depth::Channel threshold,
                   BusyRange<typename Depth::Channel>& range) {
    constexpr int kLevels = Depth::kLevels;
    const bool firstIsBusy = table[0] > threshold;
    int changes[2];
    int count = 0;
    for (int level = 1; level < kLevels; ++level) {
        if ((table[level] > threshold) != (table[level - 1] > threshold)) {
            if (count == 2) {
                return false;
            }
            changes[count++] = level;
        }
    }
    range = {};
    if (count == 0) {
        range.outside = !firstIsBusy;
        return true;
    }
    // What lies between the two changes (or behind the only one) is the opposite of the first level.
    range.first = firstContrastOf<Depth>(changes[0]);
    range.last = lastContrastOf<Depth>(count == 2 ? changes[1] - 1 : kLevels - 1);
    range.outside = firstIsBusy;
    return true;
}

}  // namespace

InstructionSet supportedInstructionSet() {
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl")) {
        return InstructionSet::Avx512;
    }
    return __builtin_cpu_supports("avx2") ? InstructionSet::Avx2 : InstructionSet::Baseline;
}

InstructionSet chosenInstructionSet() {
    static const InstructionSet chosen = [] {
        const InstructionSet supported = supportedInstructionSet();
        const char* wanted = std::getenv("QUORVEL_ISA");
        if (wanted == nullptr) {
            return supported;
        }
        if (std::strcmp(wanted, "baseline") == 0) {
            return InstructionSet::Baseline;
        }
        return std::strcmp(wanted, "avx2") == 0 ? std::min(supported, InstructionSet::Avx2) : supported;
    }();
    return chosen;
}

void sampleCurve(int type, int count, float amplitude, float smoothness, float* samples, InstructionSet set) {
    // "Curve Smoothness" ends at 16, which is a radius of 690 in 16 bits.
    constexpr int kMaximumRadius = 1024;
    constexpr int kMaximumCount = Depth16::kLevels;
    const auto [radius, fraction] = smoothingBox(smoothness);
    if (radius > std::min(kMaximumRadius, count) || count > kMaximumCount) {
        for (int i = 0; i < count; ++i) {
            samples[i] = getCurveVal(type, i, count, amplitude, 0.0F, smoothness, 0);
        }
        return;
    }
    if (radius <= 0) {
        getCurveSamples(type, count, amplitude, samples, nullptr);
        if (radius == 0) {
            for (int i = 0; i < count; ++i) {
                samples[i] = fraction * samples[i] + (1.0F - fraction) * samples[i];
            }
        }
        return;
    }
    float centres[kMaximumCount];
    float periodic[kMaximumCount + 2 * kMaximumRadius];
    getCurveSamples(type, count, amplitude, centres, periodic + radius);
    std::copy_n(periodic + count, radius, periodic);
    std::copy_n(periodic + radius, radius, periodic + radius + count);
    kernelsFor(set).smoothCurve({centres, periodic + radius, samples, count, radius, fraction});
}

template <typename Depth>
void drawMosaicFrame(PixelView<typename Depth::Channel> output, PixelView<const typename Depth::Channel> source,
                     const ParamValues& values, PixelView<const typename Depth::Channel> intensity,
                     std::int32_t originX, std::int32_t originY, InstructionSet set) {
    using T = typename Depth::Channel;
    if (output.width < 1 || output.height < 1) {
        return;
    }
    const CurveTable<Depth> table(values,
                                  [set](int type, int count, float amplitude, float smoothness, float* samples) {
                                      sampleCurve(type, count, amplitude, smoothness, samples, set);
                                  });
    // Without cells there is only something to copy.
    const bool hasCells = values.gridWidth >= 1 && values.gridHeight >= 1;
    if (!hasCells || output.width < kNarrowestFrame ||
        cellsAreThin((output.width - 1) / values.gridWidth + 1,  //
                     (output.height - 1) / values.gridHeight + 1)) {
        mosaicFrame<Depth>(output, source, values, table, intensity, originX, originY);
        return;
    }
    const ChannelPlan<T> plan = planChannels<Depth>(values.channels, table);
    if (plan.passCount == 0) {
        return;
    }
    const IntensityMapping<T> mapping = mapIntensity<T>(intensity, output.width, output.height, originX, originY);
    MosaicJob<Depth> job;
    job.output = output;
    job.source = source;
    job.intensity = mapping.sampling;
    job.intensityX = mapping.originX;
    job.intensityY = mapping.originY;
    job.gridWidth = values.gridWidth;
    job.gridHeight = values.gridHeight;
    job.maximumDepth = values.maxIterations;
    job.threshold = Depth::threshold(values.mosaicIntensity);
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

template void drawMosaicFrame<Depth8>(PixelView<std::uint8_t>, PixelView<const std::uint8_t>, const ParamValues&,
                                      PixelView<const std::uint8_t>, std::int32_t, std::int32_t, InstructionSet);
template void drawMosaicFrame<Depth16>(PixelView<std::uint16_t>, PixelView<const std::uint16_t>, const ParamValues&,
                                       PixelView<const std::uint16_t>, std::int32_t, std::int32_t, InstructionSet);
template void drawMosaicFrame<DepthFloat>(PixelView<float>, PixelView<const float>, const ParamValues&,
                                          PixelView<const float>, std::int32_t, std::int32_t, InstructionSet);

}  // namespace quorvel
