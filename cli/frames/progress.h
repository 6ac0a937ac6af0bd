// SPDX-License-Identifier: MIT
// How far a run is, for people and for programs that watch it.
#pragma once

#include <chrono>
#include <cstddef>
#include <set>
#include <string>

#include "cli/frames/frame_outcome.h"

namespace quorvel::cli {

enum class ProgressForm {
    Auto,    ///< a bar where the error output is a terminal, otherwise nothing
    Bar,     ///< one line on the error output, drawn over and over
    Lines,   ///< "FRAME: 7" and "PROGRESS: 29%" on the standard output
    OpenJd,  ///< "openjd_progress: 29.2" and its like on the standard output
    Json,    ///< one object a line on the standard output
    None,
};

/// Whether the form uses the standard output.
bool usesStandardOutput(ProgressForm form);

/// Says how far a run is, and prints its messages so that they and a bar do not run into each other. Messages reach the
/// error output even while a library's own are kept from it. For one thread at a time.
class Progress {
public:
    /// `total` is the number of frames, or what is expected of it; 0 when nobody knows. A `quiet` one prints no notes;
    /// one that does not print failures leaves them to its caller.
    Progress(ProgressForm form, std::size_t total, bool quiet, bool printsFailures);
    /// Erases the bar.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Prints the frame's notes and its failure, and that one more frame is done.
    void done(const FrameOutcome& outcome);
    /// Prints a note unless one with the same words about another file was printed before.
    void note(const std::string& text);

private:
    void printMessage(const std::string& line);
    void printFailure(const FrameOutcome& outcome);
    void drawBar(const FrameOutcome& outcome);
    void eraseBar();
    void writeToErrorOutput(const std::string& text) const;
    int percent() const;
    /// "7 of 24".
    std::string ofTotal() const;

    using Clock = std::chrono::steady_clock;

    ProgressForm form_;
    std::size_t total_;
    bool quiet_, printsFailures_;
    int errorOutput_;  ///< a descriptor of its own
    std::size_t done_ = 0, rendered_ = 0;
    std::set<std::string> noted_;
    Clock::time_point begin_ = Clock::now();
    Clock::time_point drawn_{};
    bool barShown_ = false;
};

}  // namespace quorvel::cli
