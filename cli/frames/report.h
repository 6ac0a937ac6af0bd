// SPDX-License-Identifier: MIT
// What a run did, as a file: for render managers, and for rendering again and comparing.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "cli/frames/frame_outcome.h"

namespace quorvel::cli {

/// Writes the outcomes in ascending order of frames, as JSON. The file appears complete or not at all. Throws Failure.
void writeReport(const std::filesystem::path& file, std::vector<FrameOutcome> outcomes);

/// The frames that a report calls rendered, and their digests. Throws Failure naming the file when it cannot be read or
/// is no report.
std::map<int, std::string> readReportedDigests(const std::filesystem::path& file);

}  // namespace quorvel::cli
