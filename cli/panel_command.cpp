// SPDX-License-Identifier: MIT
// quorvel panel: the effect's controls as the host shows them.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>
#include <memory>
#include <utility>

#include "cli/commands.h"
#include "cli/custom_controls.h"
#include "cli/exit_status.h"
#include "cli/option_values.h"
#include "cli/picture_command.h"
#include "cli/picture_library.h"
#include "host/instance.h"

namespace quorvel::cli {
namespace {

constexpr char kPanelExamples[] =
    "Examples:\n"
    "  quorvel panel -o panel.png\n"
    "  quorvel panel -o panel.png --channels rgb --curve sine-wave --scale 2\n"
    "  quorvel panel -o panel.png --host premiere-pro\n"
    "  quorvel panel -o graph.png --graph-only --curve-phase 45\n"
    "  quorvel panel -o panel.png --settings ./moving.json --frame 12\n"
    "\n"
    "Exit status: 0 done, 1 failed (nothing was written), 2 wrong command line.";

struct PanelOptions {
    int scale = 1;
    bool graphOnly = false;
    bool bannerOnly = false;
    bool onPanel = false;
    FrameOption frame;
};

std::string hostName(const host::Profile& profile) {
    const bool isPremiere = profile.application == host::Application::PremierePro;
    return fmt::format("{}, API {}.{}", isPremiere ? "Premiere Pro" : "After Effects", profile.apiVersion.major,
                       profile.apiVersion.minor);
}

/// Pixels as large squares.
host::DrawImage enlarged(const host::Surface& surface, int scale) {
    host::DrawImage image{surface.width() * scale, surface.height() * scale, {}};
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            const PF_Pixel8& pixel = surface.at(x / scale, y / scale);
            image.pixels.insert(image.pixels.end(), {pixel.blue, pixel.green, pixel.red, pixel.alpha});
        }
    }
    return image;
}

class PanelCommand {
public:
    /// Must outlive the parsing of the command line.
    CLI::App* addTo(CLI::App& program, const std::vector<std::string>& arguments);
    void run() const;

private:
    void checkOptions() const;
    host::Surface draw(host::Instance& instance, host::ParameterValues& values,
                       const std::map<PF_ParamIndex, std::string>& layers) const;
    host::Surface wholePanel(host::Panel& panel, const PanelContent& content) const;
    host::Surface controlAlone(host::Panel& panel, const host::Parameter* control, const std::string& what) const;
    void drawArea(host::Panel& panel, const host::Parameter& parameter, PF_EffectArea area,
                  const host::Panel::Frames& frames, host::Surface& surface) const;
    host::Host& host() const { return shared_.effect().host(); }
    /// Whether one control is drawn without the panel around it.
    bool alone() const { return options_.graphOnly || options_.bannerOnly; }

    PanelOptions options_;
    PictureCommand shared_;
};

CLI::App* PanelCommand::addTo(CLI::App& program, const std::vector<std::string>& arguments) {
    CLI::App* command = program.add_subcommand("panel", "Draw the effect's controls as a host shows them");
    shared_.addTo(*command, arguments, "The picture to write; - for PNG on the standard output")->required();
    expectChoice(
        command->add_option("--scale", options_.scale, "Pixels of the picture to one of the panel: 1 (default) or 2"),
        std::vector<std::pair<std::string, int>>{{"1", 1}, {"2", 2}})
        ->type_name("N");
    command->add_flag("--graph-only", options_.graphOnly,
                      "Write just the curve graph as the effect draws it, with its alpha");
    command->add_flag("--banner-only", options_.bannerOnly, "Write just the banner, with its alpha");
    command->add_flag("--on-panel", options_.onPanel,
                      "Draw the graph or the banner on the panel's grey and at --scale; requires --graph-only or "
                      "--banner-only");
    options_.frame.addTo(*command);
    command->footer(kPanelExamples);
    return command;
}

void PanelCommand::checkOptions() const {
    if (options_.graphOnly && options_.bannerOnly) {
        throw UsageError("--graph-only excludes --banner-only");
    }
    if (options_.onPanel && !alone()) {
        throw UsageError("--on-panel requires --graph-only or --banner-only");
    }
    if (alone() && options_.scale != 1 && !options_.onPanel) {
        throw UsageError("--scale with --graph-only or --banner-only requires --on-panel");
    }
}

void PanelCommand::run() const {
    checkOptions();
    const ParameterOptions& parameters = shared_.effect().parameters();
    host::ParameterValues values =
        parameters.values(options_.frame.moment(parameters.settingsOption(), parameters.moving().moves()));
    shared_.checkOutput();

    std::map<PF_ParamIndex, std::string> layers;
    for (const auto& [id, file] : parameters.layerFiles()) {
        (void)pictures().readPicture(file, {});  // a file that cannot be read is no layer
        layers[values.indexOf(id)] = std::filesystem::path(file).filename().string();
    }
    host::Surface picture(1, 1);
    withInstance(host(), [&](host::Instance& instance) { picture = draw(instance, values, layers); });
    if (options_.onPanel) {
        const int scale = options_.scale;
        host::Surface backdrop(picture.width() * scale, picture.height() * scale, kPanelGrey);
        backdrop.draw(enlarged(picture, scale), 0, 0, 1);
        picture = std::move(backdrop);
    }
    WriteSettings settings;
    settings.alpha = alone() && !options_.onPanel;
    const auto traits = pictures().plainTraits(picture.world());
    shared_.write(picture.world(), *traits, settings);
}

host::Surface PanelCommand::draw(host::Instance& instance, host::ParameterValues& values,
                                 const std::map<PF_ParamIndex, std::string>& layers) const {
    host::Panel panel(instance, values);
    require(panel.update(), "update of the panel", host());
    if (options_.graphOnly) {
        return controlAlone(panel, findGraph(host()), "curve graph");
    }
    if (options_.bannerOnly) {
        return controlAlone(panel, findBanner(host()), "banner");
    }
    return wholePanel(panel, {host().module().identity().name, hostName(host().profile()), values, panel, layers});
}

host::Surface PanelCommand::wholePanel(host::Panel& panel, const PanelContent& content) const {
    const PanelLayout layout = layOutPanel(host().parameters());
    host::Surface drawnByEffect(layout.width, layout.height);
    for (const PanelRow& row : layout.rows) {
        if (row.parameter->customUI) {
            drawArea(panel, *row.parameter, PF_EA_PARAM_TITLE, row.frames, drawnByEffect);
            drawArea(panel, *row.parameter, PF_EA_CONTROL, row.frames, drawnByEffect);
        }
    }
    host::Surface picture = pictures().drawPanel(layout, content, options_.scale);
    picture.draw(enlarged(drawnByEffect, options_.scale), 0, 0, 1);
    return picture;
}

host::Surface PanelCommand::controlAlone(host::Panel& panel, const host::Parameter* control,
                                         const std::string& what) const {
    if (control == nullptr) {
        throw Failure("{}: the effect declares no {} for this host", hostName(host().profile()), what);
    }
    const PF_LRect whole{0, 0, control->def.ui_width, control->def.ui_height};
    host::Surface surface(whole.right, whole.bottom);
    drawArea(panel, *control, areaOf(*control), {whole, whole}, surface);
    return surface;
}

void PanelCommand::drawArea(host::Panel& panel, const host::Parameter& parameter, PF_EffectArea area,
                            const host::Panel::Frames& frames, host::Surface& surface) const {
    require(panel.draw(parameter.index, area, frames, surface).command, "drawing of a control", host());
}

}  // namespace

void addPanelCommand(CLI::App& program, const std::vector<std::string>& arguments) {
    const auto panel = std::make_shared<PanelCommand>();
    panel->addTo(program, arguments)->callback([panel] { panel->run(); });
}

}  // namespace quorvel::cli
