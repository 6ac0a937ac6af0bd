// SPDX-License-Identifier: MIT
// What a run of frames must have for values that move.
#pragma once

#include "cli/frames/frame_plan.h"
#include "cli/settings_option.h"
#include "host/host.h"
#include "settings/settings_file.h"

namespace quorvel::cli {

/// Throws UsageError or Failure when `moving`, from the settings `given`, has values that move, but the run has no
/// frames or no times for them. `hasFrames` and `hasRate`: --frames and --rate were given.
void checkMoving(const settings::SettingsFile& moving, const SettingsOption& given, const FramePlan& plan,
                 bool hasFrames, bool hasRate);

/// Whether the effect works on alpha, in one frame at least.
bool worksOnAlpha(const host::Host& host, const host::ParameterValues& values, const settings::SettingsFile& moving);

}  // namespace quorvel::cli
