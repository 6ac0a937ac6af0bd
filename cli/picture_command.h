// SPDX-License-Identifier: MIT
// What the commands that write a picture share: the options for it, the layers they read, and the writing itself.
#pragma once

#include <string>
#include <vector>

#include "cli/effect_options.h"
#include "cli/pictures/write.h"

namespace CLI {
class App;
}

namespace quorvel::cli {

/// Must outlive the parsing of the command line.
class PictureCommand {
public:
    /// Adds --output, --no-clobber and --quiet, and the options of the effect.
    void addTo(CLI::App& command, const std::vector<std::string>& arguments);

    const EffectOptions& effect() const { return effect_; }
    /// As the user wrote it.
    const std::string& output() const { return output_; }

    /// Throws UsageError when no picture can be written under the name given, and Failure when the file cannot be
    /// written there. Nothing is touched: lets a command refuse before it works.
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
