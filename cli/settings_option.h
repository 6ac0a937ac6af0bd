// SPDX-License-Identifier: MIT
// The options for values that come from a settings file or a preset.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "settings/settings_file.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace quorvel::cli {

/// --settings. Must outlive the parsing of the command line, which reads the file.
class SettingsOption {
public:
    /// Parsing throws UsageError for an unknown preset, Failure for a file that cannot be read, and SettingsError for
    /// one that is wrong.
    CLI::Option* addTo(CLI::App& command);

    bool isGiven() const { return !text_.empty(); }
    /// As the user wrote it.
    const std::string& text() const { return text_; }
    /// The file that was read.
    const std::filesystem::path& file() const { return file_; }
    /// Empty when the option was not given.
    const settings::SettingsFile& values() const { return values_; }
    /// The picture that the settings name for a layer, seen from the current folder; empty for none.
    std::filesystem::path layerFile(ParameterId id) const;

private:
    void read(const std::string& text);

    std::string text_;
    std::filesystem::path file_;
    settings::SettingsFile values_;
};

/// --frame: at which frame a command shows values that move. Must outlive the parsing of the command line.
class FrameOption {
public:
    void addTo(CLI::App& command);

    /// Throws UsageError when values move and no frame was named, or when there are no settings to take a frame of.
    settings::Moment moment(const SettingsOption& settings, bool moves) const;

private:
    std::string text_;
};

/// The file that `--settings TEXT` means: TEXT itself where it holds a slash or ends in .json, otherwise the preset of
/// that name. Throws UsageError naming the presets there are.
std::filesystem::path settingsFileOf(const std::string& text);

/// The contents of a file, or of the standard input for "-". Throws Failure.
std::string readTextFile(const std::filesystem::path& file);

}  // namespace quorvel::cli
