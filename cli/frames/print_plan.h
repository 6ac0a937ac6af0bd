// SPDX-License-Identifier: MIT
#pragma once

#include "cli/frames/frame_plan.h"
#include "cli/frames/render_frames.h"

namespace quorvel::cli {

/// Prints what a run would read and write, a line for each frame, to the standard output. Throws Failure when a picture
/// is not there.
void printPlan(const FramePlan& plan, Rerun rerun);

}  // namespace quorvel::cli
