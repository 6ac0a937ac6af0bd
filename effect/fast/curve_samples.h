// SPDX-License-Identifier: MIT
#pragma once

#include "effect/fast/instruction_set.h"

namespace quorvel::fast {

/// curveValue for all `count` samples of a curve at once, without offset and flags. `count` is a multiple of 16. Never
/// inlined: its scratch memory is to be gone from the stack when the frame is drawn. `set` must be supported.
[[gnu::noinline]] void sampleCurve(int type, int count, float amplitude, float smoothness, float* samples,
                                   InstructionSet set = chosenInstructionSet());

}  // namespace quorvel::fast
