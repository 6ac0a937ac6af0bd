// SPDX-License-Identifier: MIT
#include "cli/frames/progress.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "cli/text.h"

namespace quorvel::cli {
namespace {

/// A bar that changes more often than this cannot be read anyway.
constexpr std::chrono::milliseconds kBarInterval{100};
constexpr int kBarCells = 24;
constexpr int kUsualColumns = 80;

bool isTerminal() {
    const char* kind = std::getenv("TERM");
    return ::isatty(STDERR_FILENO) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

int columnsOf(int terminal) {
    winsize size{};
    return ::ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualColumns;
}

/// "0:07", "12:30" or "3:05:00".
std::string clockText(double seconds) {
    const auto whole = static_cast<long>(std::clamp(seconds, 0.0, 3.6e6));
    return whole < 3600 ? fmt::format("{}:{:02}", whole / 60, whole % 60)
                        : fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

void printLine(const std::string& line) {
    std::puts(line.c_str());
    (void)std::fflush(stdout);
}

}  // namespace

const char* nameOf(FrameOutcome::State state) {
    switch (state) {
        case FrameOutcome::State::Rendered:
            return "rendered";
        case FrameOutcome::State::Skipped:
            return "skipped";
        case FrameOutcome::State::Failed:
            return "failed";
    }
    return "";
}

bool usesStandardOutput(ProgressForm form) {
    return form == ProgressForm::Lines || form == ProgressForm::OpenJd || form == ProgressForm::Json;
}

Progress::Progress(ProgressForm form, std::size_t total, bool quiet, bool printsFailures)
    : form_(form),
      total_(total),
      quiet_(quiet),
      printsFailures_(printsFailures),
      errorOutput_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
    if (form_ == ProgressForm::Auto) {
        form_ = total_ != 1 && isTerminal() ? ProgressForm::Bar : ProgressForm::None;
    }
}

Progress::~Progress() {
    eraseBar();
    ::close(errorOutput_);
}

void Progress::done(const FrameOutcome& outcome) {
    using State = FrameOutcome::State;
    ++done_;
    total_ = total_ > 0 ? std::max(total_, done_) : 0;  // a video may have more frames than it says
    rendered_ += outcome.state == State::Rendered ? 1 : 0;
    for (const std::string& text : outcome.notes) {
        note(text);
    }
    if (outcome.state == State::Failed) {
        printFailure(outcome);
    }
    switch (form_) {
        case ProgressForm::Lines:
            printLine(fmt::format("FRAME: {}", outcome.number));
            if (total_ > 0) {
                printLine(fmt::format("PROGRESS: {}%", percent()));
            }
            break;
        case ProgressForm::OpenJd:
            printLine(fmt::format("openjd_status: frame {}, {}", outcome.number, ofTotal()));
            if (total_ > 0) {
                printLine(fmt::format("openjd_progress: {:.1f}",
                                      100.0 * static_cast<double>(done_) / static_cast<double>(total_)));
            }
            break;
        case ProgressForm::Json: {
            nlohmann::ordered_json line{
                {"frame", outcome.number}, {"state", nameOf(outcome.state)}, {"done", done_}, {"of", total_}};
            if (!outcome.reason.empty()) {
                line["reason"] = outcome.reason;
            }
            printLine(line.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace));
            break;
        }
        case ProgressForm::Bar:
            drawBar(outcome);
            break;
        default:
            break;
    }
}

void Progress::note(const std::string& text) {
    // What differs between frames is the file that the note begins with.
    const std::size_t colon = text.find(": ");
    if (!quiet_ && noted_.insert(colon == std::string::npos ? text : text.substr(colon)).second) {
        printMessage("quorvel: note: " + printable(text));
    }
}

void Progress::printFailure(const FrameOutcome& outcome) {
    if (form_ == ProgressForm::OpenJd) {
        printLine("openjd_fail: " + printable(outcome.reason));
    }
    if (printsFailures_) {
        printMessage("quorvel: " + printable(outcome.reason));
    }
}

void Progress::printMessage(const std::string& line) {
    eraseBar();
    writeToErrorOutput(line + '\n');
}

void Progress::drawBar(const FrameOutcome& outcome) {
    const Clock::time_point now = Clock::now();
    if (done_ != total_ && now - drawn_ < kBarInterval) {
        return;
    }
    drawn_ = now;
    barShown_ = true;
    const double seconds = std::chrono::duration<double>(now - begin_).count();
    const double rate = seconds > 0 ? static_cast<double>(rendered_) / seconds : 0;
    const auto full = static_cast<std::size_t>(percent() * kBarCells / 100);
    std::string line = fmt::format("frame {}  {}", outcome.number, ofTotal());
    if (total_ > 0) {
        line += fmt::format("  [{}{}] {:3}%", std::string(full, '#'), std::string(kBarCells - full, '.'), percent());
    }
    if (rate > 0) {
        line += fmt::format("  {:.1f} frames/s", rate);
    }
    if (rate > 0 && total_ > 0) {
        line += fmt::format("  {} left", clockText(static_cast<double>(total_ - done_) / rate));
    }
    // A line as wide as the terminal would wrap.
    line.resize(std::min(line.size(), static_cast<std::size_t>(columnsOf(errorOutput_) - 1)));
    writeToErrorOutput("\r\033[K" + line);
}

void Progress::eraseBar() {
    if (barShown_) {
        writeToErrorOutput("\r\033[K");
        barShown_ = false;
    }
}

void Progress::writeToErrorOutput(const std::string& text) const {
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t written = ::write(errorOutput_, rest.data(), rest.size());
        if (written <= 0) {
            return;  // there is nowhere left to say so
        }
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string Progress::ofTotal() const {
    return total_ > 0 ? fmt::format("{} of {}", done_, total_) : fmt::format("{} done", done_);
}

int Progress::percent() const {
    return static_cast<int>(100 * done_ / std::max<std::size_t>(total_, 1));
}

}  // namespace quorvel::cli
