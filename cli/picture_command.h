// SPDX-License-Identifier: MIT
// What the commands that write a picture share: the options for it, the layers they read, and the writing itself.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/effect_options.h"
#include "cli/pictures/write.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace quorvel::cli {

/// Must outlive the parsing of the command line.
class PictureCommand {
public:
    /// Adds --output, --no-clobber and --quiet, and the options of the effect. Returns --output.
    CLI::Option* addTo(CLI::App& command, const std::vector<std::string>& arguments, const std::string& outputHelp);

    const EffectOptions& effect() const { return effect_; }
    /// As the user wrote it.
    const std::string& output() const { return output_; }

    bool replacesFiles() const { return !noClobber_; }
    bool isQuiet() const { return quiet_; }

    /// Throws UsageError when no picture can be written under the name given.
    void checkOutputName() const;
    /// Throws Failure when a file cannot be written there. Nothing is touched: lets a command refuse before it works.
    void checkTarget(const std::filesystem::path& file) const;
    /// Both, for an output of one file.
    void checkOutput() const;

    /// Writes the output file, or a PNG to the standard output. Then prints `notes` and what writing added to them,
    /// unless --quiet was given. Throws Failure.
    void write(const host::World& world, const PictureTraits& traits, WriteSettings settings,
               std::vector<std::string> notes = {}) const;

private:
    bool toStandardOutput() const { return output_ == "-"; }

    std::string output_;
    bool noClobber_ = false;
    bool quiet_ = false;
    EffectOptions effect_;
};

}  // namespace quorvel::cli
