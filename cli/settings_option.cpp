// SPDX-License-Identifier: MIT
#include "cli/settings_option.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>

#include "cli/exit_status.h"
#include "cli/option_values.h"
#include "cli/program_file.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;

constexpr char kEnding[] = ".json";

/// Beside the program, or in ../share/quorvel once installed.
std::vector<fs::path> presetFolders() {
    const fs::path folder = programFile().parent_path();
    return {folder / "presets", folder.parent_path() / "share" / "quorvel" / "presets"};
}

/// All presets, by their names, sorted.
std::vector<std::string> presetNames() {
    std::vector<std::string> names;
    for (const fs::path& folder : presetFolders()) {
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(folder, error)) {
            if (entry.path().extension() == kEnding) {
                names.push_back(entry.path().stem().string());
            }
        }
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

}  // namespace

fs::path settingsFileOf(const std::string& text) {
    if (text.find('/') != std::string::npos || lowerCase(text).ends_with(kEnding)) {
        return pathFrom(text);
    }
    for (const fs::path& folder : presetFolders()) {
        const fs::path file = folder / (kebabCase(text) + kEnding);
        std::error_code error;
        if (fs::is_regular_file(file, error)) {
            return file;
        }
    }
    const std::vector<std::string> names = presetNames();
    const std::string presets = names.empty() ? "a preset (none is installed)" : "the preset " + listText(names);
    throw badValue("--settings", text, presets + ", or a file such as ./" + text + kEnding);
}

std::string readTextFile(const fs::path& file) {
    constexpr std::size_t most = 64U << 20U;
    std::ifstream stream;
    if (file != "-") {
        stream.open(file, std::ios::binary);
    }
    std::istream& input = file == "-" ? std::cin : stream;
    const std::string name = file == "-" ? "standard input" : file.string();
    std::error_code error;
    if (!input || fs::is_directory(file, error)) {
        throw Failure("{}: {}", name, fs::is_directory(file, error) ? "is a folder" : std::strerror(errno));
    }
    std::string text;
    std::vector<char> block(1U << 16U);
    do {
        input.read(block.data(), static_cast<std::streamsize>(block.size()));
        text.append(block.data(), static_cast<std::size_t>(input.gcount()));
        if (text.size() > most) {
            throw Failure("{}: is larger than {} MB", name, most >> 20U);
        }
    } while (input);
    if (input.bad()) {
        throw Failure("{}: cannot be read", name);
    }
    return text;
}

CLI::Option* SettingsOption::addTo(CLI::App& command) {
    return expectFile(command.add_option_function<std::string>(
        "--settings", [this](const std::string& text) { read(text); },
        "Values from a settings file (a name with / or .json) or a preset; options override them"));
}

void SettingsOption::read(const std::string& text) {
    text_ = text;
    file_ = settingsFileOf(text);
    values_ = settings::parseSettings(readTextFile(file_), file_.string());
}

fs::path SettingsOption::layerFile(ParameterId id) const {
    const std::string layer = values_.layer(id);
    return layer.empty() ? fs::path() : file_.parent_path() / pathFrom(layer);
}

void FrameOption::addTo(CLI::App& command) {
    expectValue(command.add_option("--frame", text_,
                                   "The frame to show of settings that move, such as 12, or a time such as 1.5s"),
                CLI::Validator(
                    [](std::string& text) {
                        const bool seconds = text.ends_with('s');
                        const bool valid = seconds ? parseNumber(text.substr(0, text.size() - 1)).has_value()
                                                   : parseInteger(text).has_value();
                        return std::string(valid ? "" : "neither");
                    },
                    ""),
                "a frame's number such as 12, or a time such as 1.5s")
        ->type_name("N|TIME");
}

settings::Moment FrameOption::moment(const SettingsOption& settings, bool moves) const {
    if (text_.empty()) {
        if (moves) {
            throw UsageError("--settings {}: its values move; name a frame with --frame", settings.text());
        }
        return {};
    }
    if (!settings.isGiven()) {
        throw UsageError("--frame requires --settings");
    }
    using Unit = settings::Keyframes::Unit;
    const settings::SettingsFile& file = settings.values();
    const bool seconds = text_.ends_with('s');
    if (!file.rate && file.movesIn(seconds ? Unit::Frames : Unit::Seconds)) {
        throw UsageError("--frame {}: expected {}, since {} has no rate", text_,
                         seconds ? "a frame's number" : "a time such as 1.5s", settings.file().string());
    }
    const settings::Rate rate = file.rate.value_or(settings::Rate{});
    const double number = parseNumber(seconds ? text_.substr(0, text_.size() - 1) : text_).value_or(0);
    return seconds ? settings::Moment{number * rate.frames / rate.seconds, number}
                   : settings::Moment{number, rate.secondsOf(number)};
}

}  // namespace quorvel::cli
