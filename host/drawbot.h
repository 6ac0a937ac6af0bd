// SPDX-License-Identifier: MIT
// The suites that custom controls draw with.
#pragma once

#include "sdk/drawbot.h"

namespace quorvel::host {

const PF_EffectCustomUISuite& customUISuite();
const DRAWBOT_DrawbotSuite& drawSuite();
const DRAWBOT_SupplierSuite& supplierSuite();
const DRAWBOT_SurfaceSuite& surfaceSuite();
const DRAWBOT_PathSuite& pathSuite();

}  // namespace quorvel::host
