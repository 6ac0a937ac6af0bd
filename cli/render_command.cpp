// SPDX-License-Identifier: MIT
// quorvel render: pictures and sequences through the module.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "cli/commands.h"
#include "cli/exit_status.h"
#include "cli/frames/frame_numbers.h"
#include "cli/frames/frame_plan.h"
#include "cli/frames/interruption.h"
#include "cli/frames/print_plan.h"
#include "cli/frames/progress.h"
#include "cli/frames/render_frames.h"
#include "cli/frames/report.h"
#include "cli/moving_values.h"
#include "cli/option_values.h"
#include "cli/picture_command.h"
#include "cli/picture_library.h"
#include "cli/processors.h"
#include "cli/staged_file.h"
#include "cli/text.h"
#include "cli/video/animation.h"
#include "cli/video_library.h"
#include "cli/video_options.h"
#include "settings/settings_file.h"

namespace quorvel::cli {
namespace {

constexpr int kMaximumDownsample = 99;
constexpr int kMostJobs = 1024;

constexpr char kRenderExamples[] =
    "Examples:\n"
    "  quorvel render shot.####.exr -o mosaic.####.exr --mosaic-intensity 0.5\n"
    "  quorvel render clip.mov -o mosaic.mp4 --mosaic-intensity 0.5\n"
    "  quorvel render clip.mp4 -o frames.####.png --frames 0-99\n"
    "  quorvel render shot.####.png -o shot.mov --codec prores4444 --rate 24\n"
    "  quorvel render shot.%04d.png -o small.@.jpg --frames 1-100x2 --start 1\n"
    "  quorvel render photo.jpg -o mosaic.png --mosaic-intensity 0.5\n"
    "  quorvel render photo.jpg -o move.####.png --settings ./move.json --frames 1-48\n"
    "  quorvel render photo.jpg -o coarse.png --grid-width 8 --grid-height 6\n"
    "  quorvel render shot.exr -o split.exr --channels rgb --curve-phase-split 45\n"
    "  quorvel render shot.tif -o guided.tif --intensity-source matte.png\n"
    "  quorvel render photo.png -o - | display -\n"
    "\n"
    "In the names of a sequence, #### or %04d stands for the frame's number with at\n"
    "least four digits, @ for the number alone. The frames of a video count from 0.\n"
    "Values go from file to file as stored, without colour management; metadata is\n"
    "kept. The output has the depth that was rendered, or the nearest that its\n"
    "format holds. Each output file appears complete or not at all.\n"
    "Exit status: 0 done, 1 failed, 2 wrong command line, 130 or 143 interrupted.";

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

    std::optional<FrameNumbers> frames;
    std::optional<int> start;
    std::optional<int> intensityStart;
    Missing missing = Missing::Error;
    bool keepGoing = false;
    bool skipExisting = false;
    bool update = false;
    bool createFolders = false;
    bool dryRun = false;
    std::optional<int> jobs;
    ProgressForm progress = ProgressForm::Auto;
    std::string report;
    std::string verify;

    VideoOptions video;
};

/// The videos that a run reads; null where the input or a layer is none.
struct InputVideos {
    std::unique_ptr<VideoInput> input;
    std::vector<std::unique_ptr<VideoInput>> layers;
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

class RenderCommand {
public:
    /// Must outlive the parsing of the command line.
    CLI::App* addTo(CLI::App& program, const std::vector<std::string>& arguments);
    void run() const;

private:
    void checkOptions() const;
    void addFrameOptions(CLI::App& command);
    bool writesVideo() const { return options_.video.makeVideoOf(shared_.output(), mayHaveFrames()); }
    /// Whether the input is anything but one picture.
    bool mayHaveFrames() const {
        std::error_code error;
        return options_.frames || (options_.input != "-" &&
                                   (!std::filesystem::exists(options_.input, error) || !isPicture(options_.input)));
    }
    static bool isPicture(const std::string& file) { return pictures().isPictureFile(file) && !isAnimation(file); }
    void checkOutputKind() const;
    bool onOneThread() const { return options_.jobs.value_or(availableProcessors()) == 1; }
    std::unique_ptr<VideoInput> openIfVideo(const std::string& file, VideoReadSettings settings) const;
    InputVideos openVideos() const;
    FramePlan plan(const InputVideos& videos) const;
    WriteSettings writeSettings() const;
    VideoWriteSettings videoSettings() const;
    const ParameterOptions& parameters() const { return shared_.effect().parameters(); }
    RenderJob jobFor(const FramePlan& plan, const InputVideos& videos, const host::ParameterValues& values,
                     const settings::SettingsFile& moving) const;
    void checkOutputs(const FramePlan& plan) const;
    /// The frames of the report to verify that are asked for.
    std::set<int> reportedFrames(const RenderJob& job) const;
    void renderPlan(const RenderJob& job) const;

    RenderOptions options_;
    PictureCommand shared_;
};

CLI::App* RenderCommand::addTo(CLI::App& program, const std::vector<std::string>& arguments) {
    CLI::App* command = program.add_subcommand("render", "Render a picture, a sequence or a video through the effect");
    expectFile(command->add_option(
                   "INPUT", options_.input,
                   "The picture, a sequence such as shot.####.exr, or a video; - for a picture on the standard input"))
        ->required();
    shared_.addTo(*command, arguments,
                  "The picture, sequence (out.####.png) or video (.mp4, .mov, .mkv, .webm, .nut, .y4m) to write; - for "
                  "the standard output");
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
    expectWholeNumber(
        command->add_option(
            "--quality", options_.quality,
            "JPEG and WebP: 1 to 100 (default 95). h264, h265 and vp9: 1 to 100, the higher the better (default: "
            "about 56, 46 and 52)"),
        1, 100)
        ->type_name("N");
    addFrameOptions(*command);
    options_.video.addTo(*command);
    command->footer(kRenderExamples);
    return command;
}

void RenderCommand::checkOptions() const {
    if (options_.intensityOffset && parameters().layerFiles().empty()) {
        throw UsageError("--intensity-offset requires --intensity-source");
    }
    if (options_.intensityStart && parameters().layerFiles().empty()) {
        throw UsageError("--intensity-start requires --intensity-source");
    }
}

void RenderCommand::addFrameOptions(CLI::App& command) {
    const char* const group = "Sequences";
    const auto grouped = [group](CLI::Option* option) { return option->group(group); };
    grouped(command
                .add_option_function<std::string>(
                    "--frames",
                    [this](const std::string& text) { options_.frames = FrameNumbers::parse("--frames", text); },
                    "The frames to render, such as 7, 1-10, 1-10x3 or 1-5,8 (default: all there are)")
                ->type_name("LIST"));
    grouped(expectWholeNumber(command.add_option("--start", options_.start,
                                                 "Number the outputs from N on instead of as their inputs"),
                              kLowestFrame, kHighestFrame)
                ->type_name("N"));
    grouped(expectWholeNumber(command.add_option("--intensity-start", options_.intensityStart,
                                                 "The intensity source's frame for the input's first frame "
                                                 "(default: the one of the same number)"),
                              kLowestFrame, kHighestFrame)
                ->type_name("N"));
    grouped(
        expectChoice(
            command.add_option("--missing", options_.missing, "What to do about frames without a file"),
            std::vector<std::pair<std::string, Missing>>{
                {"error", Missing::Error}, {"skip", Missing::Skip}, {"hold", Missing::Hold}, {"black", Missing::Black}})
            ->type_name("CHOICE"));
    grouped(command.add_flag("--keep-going", options_.keepGoing, "Render the other frames when one fails"));
    CLI::Option* const skip =
        grouped(command.add_flag("--skip-existing", options_.skipExisting, "Skip frames whose output exists"));
    grouped(command.add_flag("--update", options_.update, "Skip frames whose output is newer than what it is made of"))
        ->excludes(skip);
    grouped(command.add_flag("--create-dir", options_.createFolders, "Make the output's folder where it is missing"));
    grouped(command.add_flag("--dry-run", options_.dryRun, "Print what would be rendered, and render nothing"));
    grouped(expectWholeNumber(command.add_option("--jobs", options_.jobs,
                                                 "Frames in work at once (default: as many as there are processors)"),
                              1, kMostJobs)
                ->type_name("N"));
    grouped(expectChoice(command.add_option("--progress", options_.progress, "How to say how far it is"),
                         std::vector<std::pair<std::string, ProgressForm>>{{"auto", ProgressForm::Auto},
                                                                           {"bar", ProgressForm::Bar},
                                                                           {"lines", ProgressForm::Lines},
                                                                           {"openjd", ProgressForm::OpenJd},
                                                                           {"json", ProgressForm::Json},
                                                                           {"none", ProgressForm::None}})
                ->type_name("FORM"));
    grouped(expectFile(command.add_option("--report", options_.report,
                                          "Write a JSON file of what became of each frame, with times and digests")));
    grouped(expectFile(command.add_option("--verify", options_.verify,
                                          "Compare the rendered frames with a report; needs no --output")));
}

/// Refuses options that the kind of output has no use for.
void RenderCommand::checkOutputKind() const {
    if (writesVideo()) {
        const std::pair<bool, const char*> refused[] = {{options_.start.has_value(), "--start"},
                                                        {options_.keepGoing, "--keep-going"},
                                                        {options_.skipExisting, "--skip-existing"},
                                                        {options_.update, "--update"},
                                                        {!options_.compression.empty(), "--compression"}};
        for (const auto& [given, option] : refused) {
            if (given) {
                throw UsageError("{}: is for pictures, and the output is a video", option);
            }
        }
        videos().checkSettings(shared_.output(), videoSettings());
        return;
    }
    options_.video.refuseAll();
    if (shared_.output() != "-" && !pictures().isWritableFormat(shared_.output())) {
        throw badValue("--output", shared_.output(),
                       fmt::format("{}, or for a video {}", pictures().writableFormats(), videoEndings()));
    }
    pictures().checkCompression(shared_.output(), writeSettings());
}

VideoWriteSettings RenderCommand::videoSettings() const {
    VideoWriteSettings settings = options_.video.settings();
    const SettingsOption& given = parameters().settingsOption();
    if (given.values().rate && !options_.video.hasRate() && !shared_.output().empty() && writesVideo()) {
        settings.rate = parseFrameRate(given.file().string() + ": rate", settings::rateText(*given.values().rate));
    }
    settings.quality = options_.quality;
    settings.cutTracks = options_.frames.has_value();
    settings.clobber = shared_.replacesFiles();
    settings.oneThread = onOneThread();
    return settings;
}

std::unique_ptr<VideoInput> RenderCommand::openIfVideo(const std::string& file, VideoReadSettings settings) const {
    std::error_code error;
    if (file == "-" || !std::filesystem::is_regular_file(file, error) || isPicture(file) ||
        (!isVideoName(file) && !videos().isVideoFile(file))) {
        return nullptr;
    }
    settings.downsample = options_.downsample;
    settings.storedOrientation = options_.storedOrientation;
    settings.oneThread = onOneThread();
    return videos().openVideo(file, settings);
}

InputVideos RenderCommand::openVideos() const {
    InputVideos opened;
    VideoReadSettings settings;
    settings.depth = options_.depth;
    opened.input = openIfVideo(options_.input, settings);
    for (const auto& [id, file] : parameters().layerFiles()) {
        opened.layers.push_back(openIfVideo(file, {}));
    }
    return opened;
}

RenderJob RenderCommand::jobFor(const FramePlan& plan, const InputVideos& videos, const host::ParameterValues& values,
                                const settings::SettingsFile& moving) const {
    RenderJob job{.host = shared_.effect().host(), .plan = plan, .values = values};
    if (moving.moves()) {
        job.move = [this, &moving](host::ParameterValues& frameValues, const settings::Moment& moment) {
            parameters().apply(moving, moment, frameValues);
        };
    }
    for (const auto& [id, file] : parameters().layerFiles()) {
        job.layerIds.push_back(id);
    }
    job.readLayer.depth = options_.depth;
    job.readLayer.downsample = options_.downsample;
    job.readLayer.storedOrientation = options_.storedOrientation;
    job.readInput = job.readLayer;
    job.readInput.part = options_.part;
    job.readInput.layer = options_.layer;
    job.readInput.keepFurtherChannels =
        !shared_.output().empty() && !writesVideo() && pictures().holdsFurtherChannels(shared_.output());
    job.inputVideo = videos.input.get();
    for (const auto& layer : videos.layers) {
        job.layerVideos.push_back(layer.get());
    }
    job.missing = options_.missing;
    job.writeVideo = videoSettings();
    const auto fileRate = parameters().settingsOption().values().rate;
    job.rate = fileRate && !options_.video.hasRate()
                   ? *fileRate
                   : settings::Rate{static_cast<double>(job.writeVideo.rate.numerator),
                                    static_cast<double>(job.writeVideo.rate.denominator)};
    job.writeVideo.firstFrame = plan.expected().empty() ? 0 : plan.expected().front();
    job.write = writeSettings();
    job.write.alpha = worksOnAlpha(job.host, values, moving);
    job.write.clobber = shared_.replacesFiles();
    const Point offset = options_.intensityOffset.value_or(Point{});
    job.offsetX = offset.x;
    job.offsetY = offset.y;
    job.rerun = options_.skipExisting ? Rerun::SkipExisting : options_.update ? Rerun::Update : Rerun::All;
    job.createFolders = options_.createFolders;
    job.keepGoing = options_.keepGoing;
    job.jobs = options_.jobs.value_or(
        plan.isVideo() ? availableProcessors()
                       : static_cast<int>(std::min(plan.count(), static_cast<std::size_t>(availableProcessors()))));
    job.digests = !options_.report.empty();
    return job;
}

WriteSettings RenderCommand::writeSettings() const {
    WriteSettings settings;
    settings.fullPrecision = options_.depth.has_value();
    settings.compression = options_.compression;
    settings.quality = options_.quality;
    return settings;
}

FramePlan RenderCommand::plan(const InputVideos& videos) const {
    PlanRequest request;
    request.input = options_.input;
    request.output = shared_.output();
    for (const auto& [id, file] : parameters().layerFiles()) {
        request.layers.emplace_back(file);
    }
    request.settings = parameters().settingsOption().file();
    request.frames = options_.frames;
    request.start = options_.start;
    request.layerStart = options_.intensityStart;
    request.missing = options_.missing;
    request.keepGoing = options_.keepGoing;
    if (videos.input) {
        request.inputVideoFrames = videos.input->expectedFrames();
    }
    for (const auto& layer : videos.layers) {
        request.layerVideos.push_back(layer != nullptr);
    }
    request.outputVideo = writesVideo();
    return FramePlan(request);
}

void RenderCommand::checkOutputs(const FramePlan& plan) const {
    const auto lacksFolder = [this](const std::filesystem::path& file) {
        std::error_code error;
        return options_.createFolders && !std::filesystem::exists(file.parent_path(), error);
    };
    if (shared_.output() == "-" || shared_.output().empty()) {
        return;
    }
    if (plan.isVideoOutput() || plan.isVideo()) {
        const std::filesystem::path file =
            plan.isVideoOutput() ? plan.outputName() : plan.outputFile(plan.videoFrame(0, 0).value_or(PlannedFrame{}));
        if (!lacksFolder(file) && (plan.isVideoOutput() || shared_.replacesFiles())) {
            shared_.checkTarget(file);
        }
        return;
    }
    for (const PlannedFrame& frame : plan.frames()) {
        if (!lacksFolder(plan.outputFile(frame))) {
            shared_.checkTarget(plan.outputFile(frame));
        }
        // One stands for all of them, unless each may be there already.
        if (shared_.replacesFiles() || options_.skipExisting || options_.update) {
            return;
        }
    }
}

void RenderCommand::run() const {
    checkOptions();
    if (shared_.output().empty() && options_.verify.empty()) {
        throw UsageError("--output is required; see quorvel render --help");
    }
    if (shared_.output() == "-" && usesStandardOutput(options_.progress)) {
        throw UsageError("--progress: the standard output is taken by --output -");
    }
    const host::ParameterValues values = parameters().values();
    const settings::SettingsFile moving = parameters().moving();
    if (!shared_.output().empty()) {
        checkOutputKind();
    }
    const std::map<int, std::string> expected =
        options_.verify.empty() ? std::map<int, std::string>() : readReportedDigests(options_.verify);
    const InputVideos inputVideos = openVideos();
    const FramePlan frames = plan(inputVideos);
    checkMoving(moving, parameters().settingsOption(), frames, options_.frames.has_value(), options_.video.hasRate());
    checkOutputs(frames);
    if (!options_.report.empty()) {
        if (frames.uses(options_.report)) {
            throw UsageError("--report {}: is a file that this run reads or writes", options_.report);
        }
        cli::checkTarget(options_.report, Existing::Replace);
    }
    RenderJob job = jobFor(frames, inputVideos, values, moving);
    if (options_.dryRun) {
        printPlan(frames, job.rerun);
        return;
    }
    if (!options_.verify.empty()) {
        job.expected = &expected;
        job.expectedFrom = options_.verify;
    }
    renderPlan(job);
}

std::set<int> RenderCommand::reportedFrames(const RenderJob& job) const {
    std::set<int> numbers;
    if (job.expected != nullptr) {
        for (const auto& [number, digest] : *job.expected) {
            if (!options_.frames || options_.frames->contains(number)) {
                numbers.insert(number);
            }
        }
    }
    return numbers;
}

void RenderCommand::renderPlan(const RenderJob& job) const {
    const FramePlan& frames = job.plan;
    // A picture alone is done before anybody could ask for an end in good order.
    std::optional<Interruption> interruption;
    if (frames.isNumbered()) {
        (void)pictures();  // whose own handlers the second signal then meets
        interruption.emplace();
    }
    std::vector<FrameOutcome> outcomes;
    std::vector<int> failed;
    std::map<int, std::string> reasons;
    std::set<int> unseen = reportedFrames(job);
    std::size_t ended = 0;
    bool videoWritten = false;
    {
        Progress progress(options_.progress, frames.count(), shared_.isQuiet(), options_.keepGoing);
        videoWritten = renderFrames(job, [&](FrameOutcome outcome) {
            progress.done(outcome);
            ++ended;
            unseen.erase(outcome.number);
            if (outcome.state == FrameOutcome::State::Failed) {
                failed.push_back(outcome.number);
                reasons[outcome.number] = outcome.reason;
            }
            if (!options_.report.empty()) {
                outcomes.push_back(std::move(outcome));
            }
        });
    }
    if (!options_.report.empty()) {
        writeReport(options_.report, std::move(outcomes));
    }
    if (const int signal = Interruption::signal(); interruption && signal != 0 && !videoWritten) {
        throw Interrupted(
            signal, frames.isVideoOutput()
                        ? fmt::format("interrupted; {} is not written", frames.outputName().string())
                        : fmt::format("interrupted; {} of {} frames are done", ended - failed.size(), frames.count()));
    }
    if (failed.empty() && !unseen.empty()) {
        throw Failure("{}: has the frames {}, which were not rendered", options_.verify,
                      framesText({unseen.begin(), unseen.end()}));
    }
    if (!failed.empty()) {
        std::sort(failed.begin(), failed.end());
        throw Failure(options_.keepGoing && frames.isNumbered()
                          ? fmt::format("{} of {} frames failed: {}", failed.size(), frames.count(), framesText(failed))
                          : reasons.begin()->second);
    }
}

}  // namespace

void addRenderCommand(CLI::App& program, const std::vector<std::string>& arguments) {
    const auto render = std::make_shared<RenderCommand>();
    render->addTo(program, arguments)->callback([render] { render->run(); });
}

}  // namespace quorvel::cli
