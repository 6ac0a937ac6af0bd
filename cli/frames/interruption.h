// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <csignal>

namespace quorvel::cli {

/// While this lives, the first SIGINT or SIGTERM only asks for an end, so that the frames at work are finished. The
/// second one does what the first would have done without this. At most one lives at a time, on the main thread.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// The signal that asked for an end; 0 while there was none.
    static int signal();

private:
    static constexpr std::array kSignals{SIGINT, SIGTERM};
    std::array<struct sigaction, kSignals.size()> before_{};
};

}  // namespace quorvel::cli
