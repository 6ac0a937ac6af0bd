// SPDX-License-Identifier: MIT
#include "cli/frames/report.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <span>

#include "cli/exit_status.h"
#include "cli/staged_file.h"

namespace quorvel::cli {
namespace {

using nlohmann::ordered_json;

/// Of the file's structure; a reader refuses others.
constexpr int kVersion = 1;

/// In whole microseconds.
double shownSeconds(double seconds) {
    return std::round(seconds * 1e6) / 1e6;
}

ordered_json entry(const FrameOutcome& outcome) {
    ordered_json frame{{"frame", outcome.number}, {"state", nameOf(outcome.state)}, {"input", outcome.input}};
    if (!outcome.output.empty()) {
        frame["output"] = outcome.output;
    }
    if (outcome.state != FrameOutcome::State::Rendered) {
        frame["reason"] = outcome.reason;
        return frame;
    }
    frame["width"] = outcome.width;
    frame["height"] = outcome.height;
    frame["bits"] = outcome.bits;
    frame["digest"] = outcome.digest;
    frame["seconds"] = {{"read", shownSeconds(outcome.readSeconds)},
                        {"render", shownSeconds(outcome.renderSeconds)},
                        {"write", shownSeconds(outcome.writeSeconds)}};
    return frame;
}

}  // namespace

void writeReport(const std::filesystem::path& file, std::vector<FrameOutcome> outcomes) {
    std::sort(outcomes.begin(), outcomes.end(),
              [](const auto& one, const auto& other) { return one.number < other.number; });
    ordered_json report{{"quorvel-report", kVersion}, {"program", QUORVEL_VERSION}, {"frames", ordered_json::array()}};
    for (const FrameOutcome& outcome : outcomes) {
        report["frames"].push_back(entry(outcome));
    }
    const std::string text = report.dump(2, ' ', true, ordered_json::error_handler_t::replace) + '\n';
    StagedFile staged(file, Existing::Replace);
    staged.write({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
    staged.commit();
}

std::map<int, std::string> readReportedDigests(const std::filesystem::path& file) {
    std::error_code error;
    if (std::filesystem::is_directory(file, error)) {
        throw Failure("{}: is a folder, not a report", file.string());
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw Failure("{}: {}", file.string(), std::strerror(errno));
    }
    std::map<int, std::string> digests;
    try {
        const ordered_json report = ordered_json::parse(stream);
        if (report.at("quorvel-report") != kVersion) {
            throw Failure("{}: is a report of another version of quorvel", file.string());
        }
        for (const ordered_json& frame : report.at("frames")) {
            if (frame.at("state") == nameOf(FrameOutcome::State::Rendered)) {
                digests[frame.at("frame").get<int>()] = frame.at("digest").get<std::string>();
            }
        }
    } catch (const ordered_json::exception&) {
        throw Failure("{}: is no report of quorvel render --report", file.string());
    }
    return digests;
}

}  // namespace quorvel::cli
