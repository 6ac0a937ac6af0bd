// SPDX-License-Identifier: MIT
// The mosaic as the effect renders it: the plain kernel's result at close to the cost of copying the frame.
#pragma once

#include <cstdint>

#include "effect/params/param_values.h"
#include "effect/render/pixels.h"

namespace quorvel {

/// What the kernels are built for.
enum class InstructionSet { Baseline, Avx2, Avx512 };

/// The most that this processor and system run.
InstructionSet supportedInstructionSet();
/// What frames are rendered with: the supported one, or a lower one named by the environment variable QUORVEL_ISA
/// (baseline, avx2, avx512) when the first frame was rendered.
InstructionSet chosenInstructionSet();

/// Renders one frame; arguments and result are those of mosaicFrame. Allocates nothing, and uses at most 256 KiB of
/// stack; safe to call for many frames at once. `set` must be supported.
template <typename Depth>
void drawMosaicFrame(PixelView<typename Depth::Channel> output, PixelView<const typename Depth::Channel> source,
                     const ParamValues& values, PixelView<const typename Depth::Channel> intensity,
                     std::int32_t originX, std::int32_t originY, InstructionSet set = chosenInstructionSet());

/// getCurveVal for all `count` samples of a curve at once, without offset and flags. `count` is a multiple of 16. Never
/// inlined: its scratch memory is to be gone from the stack when the frame is drawn.
[[gnu::noinline]] void sampleCurve(int type, int count, float amplitude, float smoothness, float* samples,
                                   InstructionSet set = chosenInstructionSet());

}  // namespace quorvel
