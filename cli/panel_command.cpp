// SPDX-License-Identifier: MIT
// quorvel panel: the effect's controls as the host shows them.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>
#include <memory>
#include <utility>

#include "cli/commands.h"
#include "cli/custom_controls.h"
#include "cli/effect_options.h"
#include "cli/exit_status.h"
#include "cli/module_options.h"
#include "cli/panel_drawing.h"
#include "cli/picture_file.h"
#include "cli/staged_file.h"
#include "host/instance.h"

namespace quorvel::cli {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  quorvel panel -o panel.png\n"
    "  quorvel panel -o panel.png --channels rgb --curve sine-wave --curve-phase-split 60 --scale 2\n"
    "  quorvel panel -o panel.png --host premiere-pro\n"
    "  quorvel panel -o graph.png --graph-only --curve triangle-wave --curve-phase 45\n"
    "\n"
    "Exit status: 0 done, 1 failed (nothing was written), 2 the command line is wrong.";

struct Options {
    std::string output;
    bool noClobber = false;
    std::string scale;
    bool graphOnly = false;
    bool bannerOnly = false;
    bool onPanel = false;
};

int parseScale(const std::string& text) {
    if (text.empty() || text == "1") {
        return 1;
    }
    if (text == "2") {
        return 2;
    }
    throw badValue("--scale", text, "1 or 2");
}

std::string hostName(const host::Profile& profile) {
    return std::string(profile.application == host::Application::PremierePro ? "Premiere Pro" : "After Effects") +
           ", API " + std::to_string(profile.apiVersion.major) + "." + std::to_string(profile.apiVersion.minor);
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
    void run();

private:
    host::Surface wholePanel(host::Panel& panel, const PanelContent& content, int scale);
    host::Surface controlAlone(host::Panel& panel, const host::Parameter* control, const std::string& what);
    void drawArea(host::Panel& panel, const host::Parameter& parameter, PF_EffectArea area,
                  const host::Panel::Frames& frames, host::Surface& surface);

    Options options_;
    EffectOptions effect_;
};

CLI::App* PanelCommand::addTo(CLI::App& program, const std::vector<std::string>& arguments) {
    CLI::App* command = program.add_subcommand("panel", "Draw the effect's controls as the host shows them");
    command->add_option("-o,--output", options_.output, "The picture to write; - is PNG on the standard output")
        ->type_name("FILE")
        ->required();
    command->add_flag("--no-clobber", options_.noClobber, "Refuse to replace an output file that is there");
    command->add_option("--scale", options_.scale, "Pixels of the picture to one of the panel: 1 (default) or 2")
        ->type_name("N");
    CLI::Option* graph = command->add_flag("--graph-only", options_.graphOnly,
                                           "Write just the curve graph as the effect draws it, with its alpha");
    command->add_flag("--banner-only", options_.bannerOnly, "Write just the banner, with its alpha")->excludes(graph);
    command->add_flag("--on-panel", options_.onPanel, "Either of these: on the panel's grey and at --scale");
    command->footer(kExamples);
    effect_.addTo(*command, arguments);
    return command;
}

void PanelCommand::run() {
    const bool toStandardOutput = options_.output == "-";
    if (!toStandardOutput && !isWritableFormat(options_.output)) {
        throw badValue("-o", options_.output, writableFormats());
    }
    const int scale = parseScale(options_.scale);
    const bool alone = options_.graphOnly || options_.bannerOnly;
    if (options_.onPanel && !alone) {
        throw UsageError("--on-panel: goes with --graph-only or --banner-only");
    }
    if (alone && scale != 1 && !options_.onPanel) {
        throw badValue("--scale", options_.scale, "1 without --on-panel");
    }
    host::Host& host = effect_.host();
    host::ParameterValues values = effect_.parameters().values();
    if (!toStandardOutput) {
        checkTarget(options_.output, options_.noClobber ? Existing::Keep : Existing::Replace);
    }

    std::map<PF_ParamIndex, std::string> layers;
    for (const auto& [id, file] : effect_.parameters().layerFiles()) {
        (void)readPicture(file, {});  // a layer that is not there is no layer
        layers[values.indexOf(id)] = std::filesystem::path(file).filename().string();
    }

    host::Instance instance(host);
    require(instance.sequenceSetup(), "sequence set-up", host);
    host::Panel panel(instance, values);
    require(panel.update(), "update of the panel", host);
    host::Surface picture(1, 1);
    if (options_.graphOnly) {
        picture = controlAlone(panel, findGraph(host), "curve graph");
    } else if (options_.bannerOnly) {
        picture = controlAlone(panel, findBanner(host), "banner");
    } else {
        const PanelContent content{host.module().identity().name, hostName(host.profile()), values, panel,
                                   std::move(layers)};
        picture = wholePanel(panel, content, scale);
    }
    require(instance.sequenceSetdown(), "sequence set-down", host);
    if (alone && options_.onPanel) {
        host::Surface backdrop(picture.width() * scale, picture.height() * scale, kPanelGrey);
        backdrop.draw(enlarged(picture, scale), 0, 0, 1);
        picture = std::move(backdrop);
    }

    WriteSettings settings;
    settings.alpha = alone && !options_.onPanel;
    settings.clobber = !options_.noClobber;
    const auto traits = plainTraits(picture.world());
    for (const std::string& text : toStandardOutput
                                       ? writePictureToStandardOutput(picture.world(), *traits, settings)
                                       : writePicture(options_.output, picture.world(), *traits, settings)) {
        note(text);
    }
}

host::Surface PanelCommand::wholePanel(host::Panel& panel, const PanelContent& content, int scale) {
    const PanelLayout layout = layOutPanel(effect_.host().parameters());
    host::Surface drawnByEffect(layout.width, layout.height);
    for (const PanelRow& row : layout.rows) {
        if (row.parameter->customUI) {
            drawArea(panel, *row.parameter, PF_EA_PARAM_TITLE, row.frames, drawnByEffect);
            drawArea(panel, *row.parameter, PF_EA_CONTROL, row.frames, drawnByEffect);
        }
    }
    host::Surface picture = drawPanel(layout, content, scale);
    picture.draw(enlarged(drawnByEffect, scale), 0, 0, 1);
    return picture;
}

host::Surface PanelCommand::controlAlone(host::Panel& panel, const host::Parameter* control, const std::string& what) {
    if (control == nullptr) {
        throw Failure(hostName(effect_.host().profile()) + ": the effect declares no " + what + " for this host");
    }
    const PF_LRect whole{0, 0, control->def.ui_width, control->def.ui_height};
    host::Surface surface(whole.right, whole.bottom);
    drawArea(panel, *control, areaOf(*control), {whole, whole}, surface);
    return surface;
}

void PanelCommand::drawArea(host::Panel& panel, const host::Parameter& parameter, PF_EffectArea area,
                            const host::Panel::Frames& frames, host::Surface& surface) {
    require(panel.draw(parameter.index, area, frames, surface).command, "drawing of a control", effect_.host());
}

}  // namespace

void addPanelCommand(CLI::App& program, const std::vector<std::string>& arguments) {
    const auto panel = std::make_shared<PanelCommand>();
    panel->addTo(program, arguments)->callback([panel] { panel->run(); });
}

}  // namespace quorvel::cli
