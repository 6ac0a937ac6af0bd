// SPDX-License-Identifier: MIT
#include "cli/picture_command.h"

#include <CLI/CLI.hpp>

#include "cli/exit_status.h"
#include "cli/option_values.h"
#include "cli/picture_library.h"
#include "cli/staged_file.h"

namespace quorvel::cli {

CLI::Option* PictureCommand::addTo(CLI::App& command, const std::vector<std::string>& arguments,
                                   const std::string& outputHelp) {
    CLI::Option* const output = expectFile(command.add_option("-o,--output", output_, outputHelp));
    command.add_flag("--no-clobber", noClobber_, "Never replace an existing file");
    command.add_flag("-q,--quiet", quiet_, "Print no notes, only errors");
    effect_.addTo(command, arguments);
    return output;
}

void PictureCommand::checkOutputName() const {
    if (!toStandardOutput() && !pictures().isWritableFormat(output_)) {
        throw badValue("--output", output_, pictures().writableFormats());
    }
}

void PictureCommand::checkTarget(const std::filesystem::path& file) const {
    cli::checkTarget(file, noClobber_ ? Existing::Keep : Existing::Replace);
}

void PictureCommand::checkOutput() const {
    checkOutputName();
    if (!toStandardOutput()) {
        checkTarget(output_);
    }
}

void PictureCommand::write(const host::World& world, const PictureTraits& traits, WriteSettings settings,
                           std::vector<std::string> notes) const {
    settings.clobber = !noClobber_;
    const auto more = toStandardOutput() ? pictures().writePictureToStandardOutput(world, traits, settings)
                                         : pictures().writePicture(output_, world, traits, settings);
    notes.insert(notes.end(), more.begin(), more.end());
    for (const std::string& text : notes) {
        if (!quiet_) {
            note(text);
        }
    }
}

}  // namespace quorvel::cli
