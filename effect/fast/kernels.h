// SPDX-License-Identifier: MIT
// The kernels' builds for each instruction set.
#pragma once

#include "effect/fast/instruction_set.h"
#include "effect/fast/job.h"

namespace quorvel::fast {

/// The box filter of the curve, of at least 1 in `radius`. `periodic` points at sample 0 and holds `radius` more
/// samples on either side; `result` holds `count`, a multiple of 16. Sums are in curveValue's order.
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

/// The kernels of a set. The processor must support it before any of them is called.
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
