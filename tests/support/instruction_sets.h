// SPDX-License-Identifier: MIT
// Which instruction sets a test program tests.
#pragma once

#include "effect/fast/instruction_set.h"

namespace quorvel::test {

#if defined(QUORVEL_EMULATED_AVX512)
/// This program has the AVX-512 code with its own instructions emulated; the rest of it is AVX2.
inline constexpr fast::InstructionSet kTestedSets[] = {fast::InstructionSet::Avx512};
inline bool canRun(fast::InstructionSet) {
    return fast::supportedInstructionSet() >= fast::InstructionSet::Avx2;
}
#else
inline constexpr fast::InstructionSet kTestedSets[] = {fast::InstructionSet::Baseline, fast::InstructionSet::Avx2,
                                                       fast::InstructionSet::Avx512};
inline bool canRun(fast::InstructionSet set) {
    return set <= fast::supportedInstructionSet();
}
#endif

}  // namespace quorvel::test
