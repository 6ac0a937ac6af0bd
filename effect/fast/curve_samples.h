// SPDX-License-Identifier: MIT
#pragma once

#include "effect/fast/instruction_set.h"

namespace quorvel::fast {

/// Writes curveValue() of all `count` samples of a curve, without offset and flags, to `samples`. `count` is a multiple
/// of 16; the processor must support `set`. Never inlined, so that its scratch memory leaves the stack before the frame
/// is drawn.
[[gnu::noinline]] void sampleCurve(int type, int count, float amplitude, float smoothness, float* samples,
                                   InstructionSet set = chosenInstructionSet());

}  // namespace quorvel::fast
