// SPDX-License-Identifier: MIT
// Fills the slots of a function table that this host does not implement.
#pragma once

#include <array>
#include <bit>

#include "sdk/pf_suites.h"

namespace quorvel::host {

/// Stands in a slot that this host does not implement: records a breach.
void unusedSlot();

/// A table with `unusedSlot` in every slot. All function pointers have the same size, and a slot is called through its
/// own type only after its real function is set.
template <typename Table>
Table tableOfUnusedSlots() {
    std::array<PF_OpaqueSlot, sizeof(Table) / sizeof(PF_OpaqueSlot)> slots;
    slots.fill(unusedSlot);
    return std::bit_cast<Table>(slots);
}

}  // namespace quorvel::host
