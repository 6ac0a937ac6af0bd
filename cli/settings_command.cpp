// SPDX-License-Identifier: MIT
// quorvel settings: settings files, and keyframes as other programs exchange them.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include "cli/commands.h"
#include "cli/effect_options.h"
#include "cli/exit_status.h"
#include "cli/frames/frame_numbers.h"
#include "cli/option_values.h"
#include "cli/program_file.h"
#include "cli/staged_file.h"
#include "settings/after_effects_text.h"
#include "settings/schema.h"
#include "settings/settings_file.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostExported = 1'000'000;

constexpr char kSettingsExamples[] =
    "Examples:\n"
    "  quorvel settings -o mine.json\n"
    "  quorvel settings --grid-width 8 --curve sine-wave -o mine.json\n"
    "  quorvel settings --import copied.txt --start 1001 -o moving.json\n"
    "  quorvel settings --settings ./moving.json --export after-effects\n"
    "\n"
    "Without --settings and --import, every parameter has its default. How After\n"
    "Effects takes such texts has not been confirmed in the application.\n"
    "Exit status: 0 done, 1 failed, 2 wrong command line.";

enum class Form { Settings, AfterEffects };

struct SettingsOptions {
    std::string output = "-";
    std::string imported;
    Form form = Form::Settings;
    int start = 0;
    std::optional<FrameNumbers> frames;
    bool schema = false;
    bool noClobber = false;
    bool quiet = false;
};

class SettingsCommand {
public:
    /// Must outlive the parsing of the command line.
    CLI::App* addTo(CLI::App& program, const std::vector<std::string>& arguments);
    void run() const;

private:
    const ParameterOptions& parameters() const { return effect_.parameters(); }
    const std::string& effectName() const { return effect_.host().module().identity().name; }
    void checkOptions() const;
    settings::SettingsFile begun() const;
    void setLayers(settings::SettingsFile& file) const;
    std::string exported(const settings::SettingsFile& file) const;
    void write(const std::string& text) const;

    SettingsOptions options_;
    EffectOptions effect_;
};

CLI::App* SettingsCommand::addTo(CLI::App& program, const std::vector<std::string>& arguments) {
    CLI::App* command = program.add_subcommand("settings", "Write a settings file, or keyframes for After Effects");
    expectFile(command->add_option("-o,--output", options_.output, "The file to write (default: the standard output)"));
    command->add_flag("--no-clobber", options_.noClobber, "Never replace an existing file");
    command->add_flag("-q,--quiet", options_.quiet, "Print no notes, only errors");
    expectFile(command->add_option("--import", options_.imported,
                                   "Read keyframes that After Effects copied to the clipboard, saved as text; - for "
                                   "the standard input"));
    expectChoice(command->add_option("--export", options_.form,
                                     "Write keyframes to paste in After Effects instead of a settings file"),
                 std::vector<std::pair<std::string, Form>>{{"after-effects", Form::AfterEffects}})
        ->type_name("FORM");
    expectWholeNumber(
        command->add_option("--start", options_.start, "The frame that After Effects counts as 0 (default 0)"),
        kLowestFrame, kHighestFrame)
        ->type_name("N");
    command
        ->add_option_function<std::string>(
            "--frames", [this](const std::string& text) { options_.frames = FrameNumbers::parse("--frames", text); },
            "Export a key for each of these frames, such as 1-100 (default: those that are needed)")
        ->type_name("LIST");
    command->add_flag("--schema", options_.schema, "Print the JSON Schema of settings files instead");
    effect_.addTo(*command, arguments);
    command->footer(kSettingsExamples);
    return command;
}

void SettingsCommand::checkOptions() const {
    if (!options_.imported.empty() && parameters().settingsOption().isGiven()) {
        throw UsageError("--import excludes --settings");
    }
    const bool exports = options_.form == Form::AfterEffects;
    if (options_.frames && !exports) {
        throw UsageError("--frames requires --export");
    }
    if (options_.start != 0 && !exports && options_.imported.empty()) {
        throw UsageError("--start requires --import or --export");
    }
}

/// What the options then change.
settings::SettingsFile SettingsCommand::begun() const {
    if (!options_.imported.empty()) {
        const std::string origin = options_.imported == "-" ? "standard input" : options_.imported;
        auto imported = settings::parseAfterEffectsKeyframes(readTextFile(pathFrom(options_.imported)), origin,
                                                             effectName(), options_.start);
        for (const std::string& text : imported.notes) {
            if (!options_.quiet) {
                note(text);
            }
        }
        return std::move(imported.settings);
    }
    if (parameters().settingsOption().isGiven()) {
        return parameters().settingsOption().values();
    }
    settings::SettingsFile file;
    for (const quorvel::Parameter& parameter : quorvel::parameters()) {
        if (parameter.kind != quorvel::ParameterKind::Layer) {
            file.values.emplace(parameter.id, parameter.defaultValue);
        }
    }
    return file;
}

/// Layers are named as seen from the folder of the file that is written, unless they were named by their whole path.
void SettingsCommand::setLayers(settings::SettingsFile& file) const {
    const fs::path folder = options_.output == "-" ? fs::path() : pathFrom(options_.output).parent_path();
    for (const auto& [id, layer] : parameters().layerFiles()) {
        const auto kind = static_cast<ParameterId>(id);
        const fs::path path = pathFrom(layer);
        const SettingsOption& given = parameters().settingsOption();
        const bool relative =
            path.is_relative() || (path == given.layerFile(kind) && pathFrom(given.values().layer(kind)).is_relative());
        file.values[kind] = (relative ? fs::proximate(path, folder.empty() ? "." : folder) : path).generic_string();
    }
}

std::string SettingsCommand::exported(const settings::SettingsFile& file) const {
    settings::AfterEffectsNames names{effectName(), {}};
    for (const host::Parameter& parameter : effect_.host().parameters()) {
        if (const quorvel::Parameter* described = effectParameter(parameter)) {
            names.numbers.emplace(described->id, parameter.index + 1);
        }
    }
    const std::vector<int> frames =
        options_.frames ? options_.frames->within(kLowestFrame, kHighestFrame, kMostExported) : std::vector<int>();
    if (!file.rate && file.moves() && !options_.quiet) {
        note("the settings have no rate; 25 frames a second are written");
    }
    try {
        return settings::afterEffectsKeyframes(file, names, file.rate.value_or(settings::Rate{}), options_.start,
                                               frames);
    } catch (const settings::SettingsError& error) {
        throw UsageError("--settings {}: {}, with --frames", parameters().settingsOption().text(), error.what());
    }
}

void SettingsCommand::write(const std::string& text) const {
    if (options_.output == "-") {
        std::cout << text;
        return;
    }
    StagedFile staged(pathFrom(options_.output), options_.noClobber ? Existing::Keep : Existing::Replace);
    staged.write({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
    staged.commit();
}

void SettingsCommand::run() const {
    checkOptions();
    if (options_.schema) {
        write(settings::settingsSchema());
        return;
    }
    settings::SettingsFile file = begun();
    for (const auto& [id, value] : parameters().given().values) {
        file.values[id] = value;
    }
    setLayers(file);
    write(options_.form == Form::AfterEffects ? exported(file) : settings::settingsText(file));
}

}  // namespace

void addSettingsCommand(CLI::App& program, const std::vector<std::string>& arguments) {
    const auto command = std::make_shared<SettingsCommand>();
    command->addTo(program, arguments)->callback([command] { command->run(); });
}

}  // namespace quorvel::cli
