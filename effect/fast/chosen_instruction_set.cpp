// SPDX-License-Identifier: MIT
// A file of its own, so that test builds of a module can replace it by one with a lower set forced:
// QUORVEL_HIGHEST_SET names the highest set to choose.
#include <algorithm>

#include "effect/fast/instruction_set.h"

#ifndef QUORVEL_HIGHEST_SET
#define QUORVEL_HIGHEST_SET Avx512
#endif

namespace quorvel::fast {

namespace {

/// Not a static inside the function: its guard would cost a lock in every frame and, on Windows, a thread-local slot
/// for every load.
const InstructionSet chosen = std::min(supportedInstructionSet(), InstructionSet::QUORVEL_HIGHEST_SET);

}  // namespace

InstructionSet chosenInstructionSet() {
    return chosen;
}

}  // namespace quorvel::fast
