// SPDX-License-Identifier: MIT
// quorvel render: one picture through the module.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <list>
#include <memory>
#include <optional>

#include "cli/commands.h"
#include "cli/effect_options.h"
#include "cli/exit_status.h"
#include "cli/module_options.h"
#include "cli/parameter_text.h"
#include "cli/picture_file.h"
#include "cli/staged_file.h"
#include "cli/text.h"
#include "host/instance.h"

namespace quorvel::cli {
namespace {

constexpr int kMaximumDownsample = 99;

constexpr char kExamples[] =
    "Examples:\n"
    "  quorvel render photo.jpg -o mosaic.png\n"
    "  quorvel render photo.jpg -o mosaic.png --grid-width 8 --grid-height 6 --mosaic-intensity 0.4\n"
    "  quorvel render shot.exr -o split.exr --channels rgb --curve sine-wave --curve-phase-split 45\n"
    "  quorvel render shot.tif -o guided.tif --intensity-source matte.png --host premiere-pro\n"
    "  quorvel render photo.png -o - | display -\n"
    "\n"
    "Values go from file to file as stored, without colour management; metadata is kept. The output has the depth\n"
    "that was rendered, or the nearest that its format holds.\n"
    "Exit status: 0 done, 1 failed (nothing was written), 2 the command line is wrong.";

struct Options {
    std::string input;
    std::string output;
    bool noClobber = false;
    std::string depth;
    std::string downsample;
    std::string intensityOffset;
};

struct Point {
    int x = 0;
    int y = 0;
};

std::optional<host::Depth> parseDepth(const std::string& text) {
    if (text.empty()) {
        return std::nullopt;
    }
    if (text == "8") {
        return host::Depth::Bits8;
    }
    if (text == "16") {
        return host::Depth::Bits16;
    }
    if (text == "32") {
        return host::Depth::Float32;
    }
    throw badValue("--depth", text, "8, 16 or 32");
}

int parseDownsample(const std::string& text) {
    const int factor = text.empty() ? 1 : parseInteger(text).value_or(0);
    if (factor < 1 || factor > kMaximumDownsample) {
        throw badValue("--downsample", text, "a whole number, 1 to " + std::to_string(kMaximumDownsample));
    }
    return factor;
}

Point parseOffset(const std::string& text) {
    if (text.empty()) {
        return {};
    }
    const auto comma = text.find(',');
    const auto x = parseInteger(text.substr(0, comma));
    const auto y = comma == std::string::npos ? std::nullopt : parseInteger(text.substr(comma + 1));
    constexpr int limit = host::kMaximumDimension;
    if (!x || !y || *x < -limit || *x > limit || *y < -limit || *y > limit) {
        throw badValue("--intensity-offset", text,
                       "X,Y in pixels, each " + std::to_string(-limit) + " to " + std::to_string(limit));
    }
    return {*x, *y};
}

/// Alpha is written when the input had it, or when it is what the effect works on.
bool worksOnAlpha(const host::Host& host, const host::ParameterValues& values) {
    const host::Parameter* channels = host.findParameter("Channels");
    if (channels == nullptr || kindOf(*channels) != ParameterKind::Choice) {
        return false;
    }
    const auto number = static_cast<std::size_t>(values.at(channels->index).u.pd.value);
    return number >= 1 && number <= channels->choices.size() && lowerCase(channels->choices[number - 1]) == "alpha";
}

class RenderCommand {
public:
    /// Must outlive the parsing of the command line.
    CLI::App* addTo(CLI::App& program, const std::vector<std::string>& arguments);
    void run();

private:
    void renderFrame(const Picture& picture, host::World& output, const host::ParameterValues& values, int downsample);

    Options options_;
    EffectOptions effect_;
};

CLI::App* RenderCommand::addTo(CLI::App& program, const std::vector<std::string>& arguments) {
    CLI::App* command = program.add_subcommand("render", "Render a picture through the effect");
    command->add_option("INPUT", options_.input, "The picture: PNG, JPEG, TIFF, OpenEXR, DPX, ...")
        ->type_name("FILE")
        ->required();
    command->add_option("-o,--output", options_.output, "The picture to write; - is PNG on the standard output")
        ->type_name("FILE")
        ->required();
    command->add_flag("--no-clobber", options_.noClobber, "Refuse to replace an output file that is there");
    command->add_option("--depth", options_.depth, "Bits a channel: 8, 16 or 32 (default: those of the input)")
        ->type_name("BITS");
    command
        ->add_option("--downsample", options_.downsample,
                     "Render at 1/N resolution, from every N-th pixel of every N-th row")
        ->type_name("N");
    command
        ->add_option("--intensity-offset", options_.intensityOffset,
                     "Where the input lies in the intensity source, in full-resolution pixels (default 0,0)")
        ->type_name("X,Y");
    command->footer(kExamples);
    effect_.addTo(*command, arguments);
    return command;
}

void RenderCommand::run() {
    const bool toStandardOutput = options_.output == "-";
    if (!toStandardOutput && !isWritableFormat(options_.output)) {
        throw badValue("-o", options_.output, writableFormats());
    }
    const auto depth = parseDepth(options_.depth);
    const int downsample = parseDownsample(options_.downsample);
    const Point offset = parseOffset(options_.intensityOffset);
    host::ParameterValues values = effect_.parameters().values();
    if (!toStandardOutput) {
        checkTarget(options_.output, options_.noClobber ? Existing::Keep : Existing::Replace);
    }

    Picture picture = readPicture(options_.input, {depth, downsample});
    std::vector<std::string> notes = picture.notes;
    std::list<Picture> layers;
    for (const auto& [id, file] : effect_.parameters().layerFiles()) {
        const Picture& layer = layers.emplace_back(readPicture(file, {picture.world.depth(), downsample}));
        notes.insert(notes.end(), layer.notes.begin(), layer.notes.end());
        values.setLayer(id, &layer.world);
    }
    host::World output(picture.world.depth(), picture.world.width(), picture.world.height());
    picture.world.setOrigin(offset.x / downsample, offset.y / downsample);
    output.setOrigin(offset.x / downsample, offset.y / downsample);
    renderFrame(picture, output, values, downsample);

    WriteSettings settings;
    settings.alpha = picture.hasAlpha || worksOnAlpha(effect_.host(), values);
    settings.clobber = !options_.noClobber;
    settings.fullPrecision = depth.has_value();
    const std::vector<std::string> writeNotes = toStandardOutput
                                                    ? writePictureToStandardOutput(output, *picture.traits, settings)
                                                    : writePicture(options_.output, output, *picture.traits, settings);
    notes.insert(notes.end(), writeNotes.begin(), writeNotes.end());
    for (const std::string& text : notes) {
        note(text);
    }
}

void RenderCommand::renderFrame(const Picture& picture, host::World& output, const host::ParameterValues& values,
                                int downsample) {
    host::Instance instance(effect_.host());
    require(instance.sequenceSetup(), "sequence set-up", effect_.host());
    host::FrameRequest request;
    request.input = &picture.world;
    request.output = &output;
    request.values = &values;
    request.downsampleX = request.downsampleY = {1, static_cast<A_u_long>(downsample)};
    require(instance.render(request), "render", effect_.host());
    require(instance.sequenceSetdown(), "sequence set-down", effect_.host());
}

}  // namespace

void addRenderCommand(CLI::App& program, const std::vector<std::string>& arguments) {
    const auto render = std::make_shared<RenderCommand>();
    render->addTo(program, arguments)->callback([render] { render->run(); });
}

}  // namespace quorvel::cli
