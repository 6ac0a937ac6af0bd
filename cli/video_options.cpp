// SPDX-License-Identifier: MIT
#include "cli/video_options.h"

#include <CLI/CLI.hpp>
#include <utility>
#include <vector>

#include "cli/exit_status.h"
#include "cli/option_values.h"

namespace quorvel::cli {

void VideoOptions::addTo(CLI::App& command) {
    const auto grouped = [](CLI::Option* option) { option->group("Video"); };
    std::vector<std::pair<std::string, std::string>> codecs;
    for (const std::string& name : videoCodecs()) {
        codecs.emplace_back(name, name);
    }
    grouped(expectChoice(command.add_option("--codec", settings_.codec,
                                            "The codec to write: h264, h265, prores4444, ffv1, png, qtrle or vp9 "
                                            "(default: mp4 h264; mov h264, or prores4444 with alpha or more than 8 "
                                            "bits; mkv and nut ffv1; webm vp9)"),
                         codecs)
                ->type_name("NAME"));
    grouped(command
                .add_option_function<std::string>(
                    "--rate", [this](const std::string& text) { rate_ = parseFrameRate("--rate", text); },
                    "Frames a second of a video made from pictures, such as 25 or 30000/1001 (default 25)")
                ->type_name("RATE"));
    grouped(
        expectChoice(command.add_option("--audio", audio_, "The input video's sound: copy, aac or none (default copy)"),
                     std::vector<std::pair<std::string, AudioChoice>>{
                         {"copy", AudioChoice::Copy}, {"aac", AudioChoice::Aac}, {"none", AudioChoice::None}})
            ->type_name("CHOICE"));
    grouped(expectChoice(command.add_option("--subtitles", subtitles_, "Its subtitles: copy or none (default copy)"),
                         std::vector<std::pair<std::string, SubtitleChoice>>{{"copy", SubtitleChoice::Copy},
                                                                             {"none", SubtitleChoice::None}})
                ->type_name("CHOICE"));
    grouped(
        expectChoice(command.add_option("--format", settings_.container,
                                        "What -o - writes to the standard output: png, nut or y4m (default png)"),
                     std::vector<std::pair<std::string, std::string>>{{"png", "png"}, {"nut", "nut"}, {"y4m", "y4m"}})
            ->type_name("NAME"));
}

bool VideoOptions::makeVideoOf(const std::string& output, bool several) const {
    if (output == "-") {
        return settings_.container == "png" ? several : !settings_.container.empty();
    }
    if (!settings_.container.empty()) {
        throw UsageError("--format: requires --output -; elsewhere the ending of the name decides");
    }
    return isVideoName(output);
}

void VideoOptions::refuseAll() const {
    const std::pair<bool, const char*> options[] = {{!settings_.codec.empty(), "--codec"},
                                                    {rate_.has_value(), "--rate"},
                                                    {audio_.has_value(), "--audio"},
                                                    {subtitles_.has_value(), "--subtitles"}};
    for (const auto& [given, option] : options) {
        if (given) {
            throw UsageError("{}: requires a video as output", option);
        }
    }
}

VideoWriteSettings VideoOptions::settings() const {
    VideoWriteSettings settings = settings_;
    settings.rate = rate_.value_or(FrameRate{});
    settings.audio = audio_.value_or(AudioChoice::Copy);
    settings.subtitles = subtitles_.value_or(SubtitleChoice::Copy);
    return settings;
}

}  // namespace quorvel::cli
