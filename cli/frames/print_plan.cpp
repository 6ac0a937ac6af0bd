// SPDX-License-Identifier: MIT
#include "cli/frames/print_plan.h"

#include <fmt/format.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "cli/exit_status.h"
#include "cli/text.h"

namespace quorvel::cli {

void printPlan(const FramePlan& plan, Rerun rerun) {
    std::vector<PlannedFrame> frames = plan.frames();
    for (const int number : plan.expected()) {
        if (const auto frame = plan.videoFrame(number, frames.size())) {
            frames.push_back(*frame);
        }
    }
    for (const PlannedFrame& frame : frames) {
        const std::string skipped = reasonToSkip(plan, frame, rerun);
        const std::string to = plan.outputFile(frame).string();
        std::string from = plan.inputFile(frame).string();
        if (frame.input.black) {
            from = "black";
        } else if (plan.isVideo()) {
            from += fmt::format(" frame {}", frame.number);
        } else if (std::error_code error;
                   from != "-" && frame.missing.empty() && !std::filesystem::exists(from, error)) {
            throw Failure("{}: No such file or directory", from);
        }
        for (std::size_t i = 0; i < plan.layerCount(); ++i) {
            from += ", " + (frame.layers[i].black ? "black" : plan.layerFile(frame, i).string());
            if (plan.isVideoLayer(i)) {
                from += fmt::format(" frame {}", frame.layers[i].number);
            }
        }
        std::cout << printable(!frame.missing.empty() ? from + ": missing: " + frame.missing
                               : !skipped.empty()     ? "skip " + skipped
                               : to.empty()           ? from
                                                      : from + " -> " + to)
                  << '\n';
    }
}

}  // namespace quorvel::cli
