// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quorvel::fast {

/// What the kernels are built for, from the least to the most.
enum class InstructionSet : std::uint8_t { Baseline, Avx2, Avx512 };

/// "baseline", "avx2" or "avx512".
const char* nameOf(InstructionSet set);

/// The most that this processor and its system run. Safe to call before main, too.
InstructionSet supportedInstructionSet();

/// What frames are rendered with unless the caller says otherwise: the supported one, found when the module is loaded.
InstructionSet chosenInstructionSet();

}  // namespace quorvel::fast
