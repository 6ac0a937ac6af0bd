// SPDX-License-Identifier: MIT
// Reads, renders and writes the frames of a plan, several at once.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "cli/frames/frame_outcome.h"
#include "cli/frames/frame_plan.h"
#include "cli/pictures/read.h"
#include "cli/pictures/write_settings.h"
#include "cli/video/video.h"
#include "host/host.h"
#include "host/parameter.h"
#include "settings/settings_file.h"

namespace quorvel::cli {

/// Which frames need no rendering because their outputs are there.
enum class Rerun {
    All,           ///< every frame is rendered
    SkipExisting,  ///< a frame with an output is skipped
    Update,        ///< a frame with an output that is no older than what it is made of is skipped
};

struct RenderJob {
    host::Host& host;
    const FramePlan& plan;
    const host::ParameterValues& values;  ///< the layers are set frame by frame
    /// Sets values that move to what they are at a moment, on any number of threads; null when none moves.
    std::function<void(host::ParameterValues&, const settings::Moment&)> move{};
    settings::Rate rate{};           ///< of frames that come from no video, for what moves in seconds
    std::vector<A_long> layerIds{};  ///< in the plan's order
    ReadSettings readInput{};
    ReadSettings readLayer{};                ///< its depth is that of the input
    WriteSettings write{};                   ///< alpha is written where the input has it, too
    VideoInput* inputVideo = nullptr;        ///< at its beginning; null for pictures
    std::vector<VideoInput*> layerVideos{};  ///< the same for each layer
    Missing missing = Missing::Error;        ///< what to do when a layer's video ends
    VideoWriteSettings writeVideo{};         ///< of an output that is a video
    int offsetX = 0, offsetY = 0;
    Rerun rerun = Rerun::All;
    bool createFolders = false;
    bool keepGoing = false;
    /// The number of frames in work at once; libraries share the remaining processors. 1: everything on one thread.
    int jobs = 1;
    bool digests = false;
    /// What each frame's digest must be; null for no comparison. `expectedFrom` names the file it is from.
    const std::map<int, std::string>* expected = nullptr;
    std::string expectedFrom{};
};

/// Why the frame needs no rendering; empty when it does.
std::string reasonToSkip(const FramePlan& plan, const PlannedFrame& frame, Rerun rerun);

/// Calls `done` for each frame as it ends, one at a time. Stops after a failed frame unless the job keeps going, and
/// after SIGINT or SIGTERM; frames that are in work then are finished. Each output appears complete or not at all.
/// True when a video was written, even if a signal came while it was given its name.
bool renderFrames(const RenderJob& job, const std::function<void(FrameOutcome)>& done);

}  // namespace quorvel::cli
