// SPDX-License-Identifier: MIT
// Suite tables, and how to fill the slots that nobody is expected to call.
#pragma once

#include <array>
#include <bit>

#include "sdk/drawbot.h"

namespace quorvel::host {

/// A suite whose every slot is `slot`. All function pointers are of one size, and no one calls a slot through another
/// type than its own once the real functions are set.
template <typename Suite>
Suite filledWith(PF_OpaqueSlot slot) {
    std::array<PF_OpaqueSlot, sizeof(Suite) / sizeof(PF_OpaqueSlot)> slots;
    slots.fill(slot);
    return std::bit_cast<Suite>(slots);
}

/// What stands in the slots that this host does not offer: records a breach.
void unusedSlot();

/// "PF Handle Suite" 2, beside the utility callbacks that do the same.
const PF_HandleSuite& handleSuite();

/// The suites that custom controls draw with.
const PF_EffectCustomUISuite& customUISuite();
const DRAWBOT_DrawbotSuite& drawSuite();
const DRAWBOT_SupplierSuite& supplierSuite();
const DRAWBOT_SurfaceSuite& surfaceSuite();
const DRAWBOT_PathSuite& pathSuite();

}  // namespace quorvel::host
