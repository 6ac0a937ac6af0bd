// SPDX-License-Identifier: MIT
// quorvel render: one picture through the module.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <list>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/option_values.h"
#include "cli/pages_in_place.h"
#include "cli/parameter_text.h"
#include "cli/picture_command.h"
#include "cli/picture_library.h"
#include "cli/text.h"
#include "effect/settings.h"
#include "host/instance.h"

namespace quorvel::cli {
namespace {

constexpr int kMaximumDownsample = 99;

constexpr char kRenderExamples[] =
    "Examples:\n"
    "  quorvel render photo.jpg -o mosaic.png --mosaic-intensity 0.5\n"
    "  quorvel render photo.jpg -o coarse.png --grid-width 8 --grid-height 6\n"
    "  quorvel render shot.exr -o split.exr --channels rgb --curve-phase-split 45\n"
    "  quorvel render shot.tif -o guided.tif --intensity-source matte.png\n"
    "  quorvel render photo.png -o - | display -\n"
    "\n"
    "Values go from file to file as stored, without colour management; metadata is\n"
    "kept. The output has the depth that was rendered, or the nearest that its\n"
    "format holds.\n"
    "Exit status: 0 done, 1 failed (nothing was written), 2 wrong command line.";

struct Point {
    int x = 0;
    int y = 0;
};

struct RenderOptions {
    std::string input;
    std::optional<host::Depth> depth;  ///< nothing: the input's own
    int downsample = 1;
    std::optional<Point> intensityOffset;
    std::string part;
    std::string layer;
    bool storedOrientation = false;
    std::string compression;
    std::optional<int> quality;
};

Point parseOffset(const std::string& text) {
    const auto comma = text.find(',');
    const auto x = parseInteger(text.substr(0, comma));
    const auto y = comma == std::string::npos ? std::nullopt : parseInteger(text.substr(comma + 1));
    constexpr int limit = host::kMaximumDimension;
    if (!x || !y || *x < -limit || *x > limit || *y < -limit || *y > limit) {
        throw badValue("--intensity-offset", text, fmt::format("X,Y in pixels, each {} to {}", -limit, limit));
    }
    return {*x, *y};
}

/// Alpha is written when the input had it, or when it is what the effect works on.
bool worksOnAlpha(const host::Host& host, const host::ParameterValues& values) {
    return std::any_of(host.parameters().begin(), host.parameters().end(), [&](const host::Parameter& parameter) {
        const quorvel::Parameter* described = effectParameter(parameter);
        return described != nullptr && described->id == ParameterId::Channels &&
               values.at(parameter.index).u.pd.value == kAlpha + 1;
    });
}

/// A world for what is rendered of `input`, whose picture came from `file`.
host::World worldLike(const host::World& input, const std::string& file) {
    try {
        host::World world(input.depth(), input.width(), input.height());
        putPagesInPlace(world.memory());
        return world;
    } catch (const std::bad_alloc&) {
        throw memoryFailure(file, input.width(), input.height(),
                            static_cast<double>(input.width()) * input.height() * host::pixelBytes(input.depth()));
    }
}

class RenderCommand {
public:
    /// Must outlive the parsing of the command line.
    CLI::App* addTo(CLI::App& program, const std::vector<std::string>& arguments);
    void run() const;

private:
    void checkOptions() const;

    RenderOptions options_;
    PictureCommand shared_;
};

CLI::App* RenderCommand::addTo(CLI::App& program, const std::vector<std::string>& arguments) {
    CLI::App* command = program.add_subcommand("render", "Render a picture through the effect");
    expectFile(command->add_option("INPUT", options_.input,
                                   "The picture: PNG, JPEG, TIFF, OpenEXR, DPX, ...; - for the standard input"))
        ->required();
    shared_.addTo(*command, arguments);
    using host::Depth;
    expectChoice(
        command->add_option("--depth", options_.depth,
                            "Bits a channel to render in: 8, 16 or 32 (default: those of the input)"),
        std::vector<std::pair<std::string, Depth>>{{"8", Depth::Bits8}, {"16", Depth::Bits16}, {"32", Depth::Float32}})
        ->type_name("BITS");
    expectWholeNumber(command->add_option("--downsample", options_.downsample,
                                          "Render at 1/N resolution, from every N-th pixel of every N-th row"),
                      1, kMaximumDownsample)
        ->type_name("N");
    command
        ->add_option_function<std::string>(
            "--intensity-offset", [this](const std::string& text) { options_.intensityOffset = parseOffset(text); },
            "Where the input lies in the intensity source, in full-resolution pixels (default 0,0)")
        ->type_name("X,Y");
    command->add_option("--part", options_.part, "The page, frame or OpenEXR part to render (default: the first)")
        ->type_name("N|NAME");
    command
        ->add_option("--layer", options_.layer,
                     "The OpenEXR layer to render: its channels NAME.R, NAME.G, NAME.B and NAME.A")
        ->type_name("NAME");
    command->add_flag("--stored-orientation", options_.storedOrientation,
                      "Leave pixels and orientation tag as stored instead of turning the picture upright");
    command
        ->add_option("--compression", options_.compression,
                     "PNG: 0 to 9. TIFF: none, lzw, packbits or zip. OpenEXR: none, rle, zip, zips, piz, pxr24, b44, "
                     "b44a, dwaa or dwab. WebP: lossy or lossless")
        ->type_name("NAME|LEVEL");
    expectWholeNumber(command->add_option("--quality", options_.quality, "JPEG and WebP: 1 to 100 (default 95)"), 1,
                      100)
        ->type_name("N");
    command->footer(kRenderExamples);
    return command;
}

void RenderCommand::checkOptions() const {
    if (options_.intensityOffset && shared_.effect().parameters().layerFiles().empty()) {
        throw UsageError("--intensity-offset requires --intensity-source");
    }
}

void RenderCommand::run() const {
    checkOptions();
    host::Host& host = shared_.effect().host();
    host::ParameterValues values = shared_.effect().parameters().values();
    shared_.checkOutput();
    WriteSettings settings;
    settings.fullPrecision = options_.depth.has_value();
    settings.compression = options_.compression;
    settings.quality = options_.quality;
    pictures().checkCompression(shared_.output(), settings);

    const int downsample = options_.downsample;
    ReadSettings reading;
    reading.depth = options_.depth;
    reading.downsample = downsample;
    reading.storedOrientation = options_.storedOrientation;
    ReadSettings readingInput = reading;
    readingInput.part = options_.part;
    readingInput.layer = options_.layer;
    readingInput.keepFurtherChannels = pictures().holdsFurtherChannels(shared_.output());
    Picture picture = pictures().readPicture(options_.input, readingInput);
    reading.depth = picture.world.depth();
    std::vector<std::string> notes = picture.notes;
    std::list<Picture> layers;
    for (const auto& [id, file] : shared_.effect().parameters().layerFiles()) {
        const Picture& layer = layers.emplace_back(pictures().readPicture(file, reading));
        notes.insert(notes.end(), layer.notes.begin(), layer.notes.end());
        values.setLayer(id, &layer.world);
    }
    host::World output = worldLike(picture.world, shared_.output());
    const Point offset = options_.intensityOffset.value_or(Point{});
    picture.world.setOrigin(offset.x / downsample, offset.y / downsample);
    output.setOrigin(offset.x / downsample, offset.y / downsample);

    host::FrameRequest request;
    request.input = &picture.world;
    request.output = &output;
    request.values = &values;
    request.downsampleX = request.downsampleY = {1, static_cast<A_u_long>(downsample)};
    withInstance(host, [&](host::Instance& instance) { require(instance.render(request), "render", host); });

    settings.alpha = picture.hasAlpha || worksOnAlpha(host, values);
    shared_.write(output, *picture.traits, settings, std::move(notes));
}

}  // namespace

void addRenderCommand(CLI::App& program, const std::vector<std::string>& arguments) {
    const auto render = std::make_shared<RenderCommand>();
    render->addTo(program, arguments)->callback([render] { render->run(); });
}

}  // namespace quorvel::cli
