// SPDX-License-Identifier: MIT
// The kernels' builds for each instruction set.
#pragma once

#include "effect/fast/instruction_set.h"
#include "effect/fast/job.h"

namespace quorvel::fast {

/// The box filter of the curve. `radius` is at least 1, `count` a multiple of 16. `periodic` points at sample 0;
/// `radius` more samples lie on either side of the `count`. `result` gets `count` samples, summed in the order of
/// curveValue().
struct CurveSmoothing {
    const float* periodic;
    float* result;
    int count;
    int radius;
    float fraction;
};

/// The kernels built for one instruction set.
struct KernelSet {
    void (*mosaic8)(const MosaicJob<Depth8>& job);
    void (*mosaic16)(const MosaicJob<Depth16>& job);
    void (*mosaicFloat)(const MosaicJob<DepthFloat>& job);
    void (*smoothCurve)(const CurveSmoothing& smoothing);
};

extern const KernelSet kBaselineKernels;
extern const KernelSet kAvx2Kernels;
extern const KernelSet kAvx512Kernels;

/// The kernels of a set. They may be called only if the processor supports it.
[[gnu::always_inline]] inline const KernelSet& kernelsFor(InstructionSet set) {
    switch (set) {
        case InstructionSet::Avx512:
            return kAvx512Kernels;
        case InstructionSet::Avx2:
            return kAvx2Kernels;
        default:
            return kBaselineKernels;
    }
}

}  // namespace quorvel::fast
