// SPDX-License-Identifier: MIT
#include "effect/fast/instruction_set.h"

namespace quorvel::fast {

const char* nameOf(InstructionSet set) {
    switch (set) {
        case InstructionSet::Avx512:
            return "avx512";
        case InstructionSet::Avx2:
            return "avx2";
        default:
            return "baseline";
    }
}

InstructionSet supportedInstructionSet() {
    __builtin_cpu_init();  // needed before main
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl")) {
        return InstructionSet::Avx512;
    }
    return __builtin_cpu_supports("avx2") ? InstructionSet::Avx2 : InstructionSet::Baseline;
}

}  // namespace quorvel::fast
