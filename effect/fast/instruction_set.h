// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quorvel::fast {

/// The instruction sets that the kernels are built for, in ascending order: each includes the ones before it.
enum class InstructionSet : std::uint8_t { Baseline, Avx2, Avx512 };

/// "baseline", "avx2" or "avx512".
const char* nameOf(InstructionSet set);

/// The highest set that the processor and the operating system support. May be called before main.
InstructionSet supportedInstructionSet();

/// The set that frames are rendered with by default: the supported one, found once when the module is loaded.
InstructionSet chosenInstructionSet();

}  // namespace quorvel::fast
