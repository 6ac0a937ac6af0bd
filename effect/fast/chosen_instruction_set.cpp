// SPDX-License-Identifier: MIT
// This file stands alone so that test builds of a module can compile it once more with a lower set:
// QUORVEL_HIGHEST_SET names the highest set to choose.
#include <algorithm>

#include "effect/fast/instruction_set.h"

#ifndef QUORVEL_HIGHEST_SET
#define QUORVEL_HIGHEST_SET Avx512
#endif

namespace quorvel::fast {

namespace {

/// Not a static inside the function: its guard would be checked in every frame and, on Windows, would cost a
/// thread-local slot for every load of the module.
const InstructionSet chosen = std::min(supportedInstructionSet(), InstructionSet::QUORVEL_HIGHEST_SET);

}  // namespace

InstructionSet chosenInstructionSet() {
    return chosen;
}

}  // namespace quorvel::fast
