// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace quorvel::cli {

/// What became of one frame.
struct FrameOutcome {
    enum class State { Rendered, Skipped, Failed };

    int number = 0;  ///< the input's; 0 where frames have no numbers
    State state = State::Rendered;
    std::string input, output;  ///< files; the output is empty when nothing is written
    std::string reason;         ///< why it failed or was skipped
    int width = 0, height = 0, bits = 0;
    std::string digest;  ///< of the rendered frame; empty when nobody asked for it
    double readSeconds = 0, renderSeconds = 0, writeSeconds = 0;
    std::vector<std::string> notes;
};

/// "rendered", "skipped" or "failed".
const char* nameOf(FrameOutcome::State state);

}  // namespace quorvel::cli
