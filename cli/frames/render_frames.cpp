// SPDX-License-Identifier: MIT
#include "cli/frames/render_frames.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <list>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "cli/exit_status.h"
#include "cli/frames/frame_digest.h"
#include "cli/frames/frame_supply.h"
#include "cli/frames/interruption.h"
#include "cli/frames/ordered_video.h"
#include "cli/module_options.h"
#include "cli/pages_in_place.h"
#include "cli/picture_library.h"
#include "cli/pictures/parallel.h"
#include "cli/processors.h"
#include "cli/video_library.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using State = FrameOutcome::State;

/// Seconds since the last call, or since this was made.
class Stopwatch {
public:
    double lap() {
        const Clock::time_point now = Clock::now();
        return std::chrono::duration<double>(now - std::exchange(last_, now)).count();
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point last_ = Clock::now();
};

std::string sizeText(const host::World& world) {
    return fmt::format("{} x {} with {} bits", world.width(), world.height(), world.bitsPerChannel());
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

void makeBlack(host::World& world) {
    std::fill(world.memory().begin(), world.memory().end(), std::byte{0});
}

/// One run over a job's frames.
class Run {
public:
    Run(const RenderJob& job, const std::function<void(FrameOutcome)>& done)
        : job_(job), done_(done), supply_(job.plan, job.missing, job.inputVideo, job.layerVideos) {}

    /// Renders all frames; what exists only as a whole is not put in place yet.
    void all(host::Instance& instance);
    /// Ends the output video or writes the still, once the module has finished without an error.
    /// True when a video was written.
    bool conclude();

private:
    /// A still that is rendered but not written.
    struct Still {
        FrameOutcome outcome;
        PlannedFrame frame;
        Picture input;
        host::World output;
    };
    /// What one thread keeps from frame to frame.
    struct Worker {
        std::optional<host::World> output;
    };

    void work();
    /// Called by the first thread once one frame has said what all of them are like.
    void startOthers();
    void finish(const SuppliedFrame& supplied, Worker& worker);
    /// Calls `work(outcome)` and reports how it ended, unless it returns false.
    template <typename Work>
    void report(FrameOutcome outcome, const Work& work);
    /// False when the outcome is not known yet.
    bool renderInto(FrameOutcome& outcome, const SuppliedFrame& supplied, Worker& worker);
    Picture readInput(const SuppliedFrame& supplied);
    /// Shared between all frames where the layer is one picture.
    const Picture& readLayer(const SuppliedFrame& supplied, std::size_t layer, std::list<Picture>& own);
    settings::Moment momentOf(const SuppliedFrame& supplied) const;
    /// Makes the output video, and adds what is to be said of the videos to the outcome.
    void beginVideos(FrameOutcome& outcome, const Picture& input);
    void createFolder(const fs::path& file) const;
    void compare(const PlannedFrame& frame, const std::string& digest) const;
    void store(FrameOutcome& outcome, const PlannedFrame& frame, const Picture& input, const host::World& output) const;
    bool stopped() const { return failed_ || Interruption::signal() != 0; }

    const RenderJob& job_;
    host::Instance* instance_ = nullptr;
    const std::function<void(FrameOutcome)>& done_;

    FrameSupply supply_;
    std::optional<OrderedVideo> video_;  ///< the output
    bool withAlpha_ = false;             ///< whether it was made for frames with alpha
    std::optional<Still> still_;
    std::atomic<std::size_t> ended_ = 0;
    std::atomic<bool> failed_ = false;
    bool begun_ = false;  ///< set while the first thread is alone
    std::vector<std::thread> threads_;
    std::mutex reporting_;

    /// The first frame that was read: the others must be like it.
    struct Like {
        int number, width, height;
        host::Depth depth;
    };
    std::optional<Like> like_;
    std::mutex stillLayersMutex_;
    std::map<std::size_t, Picture> stillLayers_;
};

/// Another thread has ended the run; what this one has rendered goes nowhere.
struct GivenUp {};

void Run::all(host::Instance& instance) {
    instance_ = &instance;
    work();
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

void Run::startOthers() {
    const bool openEnded = job_.plan.isVideo();
    const auto wanted = openEnded ? static_cast<std::size_t>(job_.jobs)
                                  : std::min(static_cast<std::size_t>(job_.jobs), job_.plan.count() - ended_);
    try {
        while (threads_.size() + 1 < wanted) {
            threads_.emplace_back([this] { work(); });
        }
    } catch (const std::system_error&) {
        // Fewer threads do the same work.
    }
}

bool Run::conclude() {
    if (still_) {
        report(std::move(still_->outcome), [&](FrameOutcome& outcome) {
            Stopwatch stopwatch;
            store(outcome, still_->frame, still_->input, still_->output);
            outcome.writeSeconds = stopwatch.lap();
            return true;
        });
    }
    if (stopped()) {
        return false;
    }
    if (job_.plan.isVideo() && ended_ == 0) {
        throw Failure(
            "--frames {}: {} has {}", job_.plan.wanted().text(), job_.plan.inputName().string(),
            supply_.framesRead() > 0 ? fmt::format("the frames 0-{}", supply_.framesRead() - 1) : "frames from 0 on");
    }
    return video_ && video_->output().finish([this] { return stopped(); });
}

void Run::work() {
    Worker worker;
    while (!stopped()) {
        const auto supplied = supply_.next();
        if (!supplied) {
            break;
        }
        finish(*supplied, worker);
    }
}

void Run::finish(const SuppliedFrame& supplied, Worker& worker) {
    const PlannedFrame& frame = supplied.plan;
    FrameOutcome outcome;
    outcome.number = job_.plan.isNumbered() ? frame.number : 0;
    outcome.input = job_.plan.inputFile(frame).string();
    outcome.output = job_.plan.outputFile(frame).string();
    report(std::move(outcome), [&](FrameOutcome& own) {
        if (!supplied.failure.empty()) {
            throw Failure(supplied.failure);
        }
        own.reason = reasonToSkip(job_.plan, frame, job_.rerun);
        if (own.reason.empty()) {
            return renderInto(own, supplied, worker);
        }
        own.state = State::Skipped;
        return true;
    });
}

template <typename Work>
void Run::report(FrameOutcome outcome, const Work& work) {
    try {
        if (!work(outcome)) {
            return;
        }
    } catch (const GivenUp&) {
        return;
    } catch (const std::bad_alloc&) {
        outcome.state = State::Failed;
        outcome.reason = outcome.input + ": not enough memory";
    } catch (const std::exception& error) {
        outcome.state = State::Failed;
        outcome.reason = error.what();
    }
    ++ended_;
    if (outcome.state == State::Failed && video_) {
        video_->giveUp();
    }
    if (outcome.state == State::Failed) {
        if (job_.plan.isNumbered()) {
            outcome.reason = fmt::format("frame {}: {}", outcome.number, outcome.reason);
        }
        failed_ = failed_ || !job_.keepGoing;
    }
    const std::lock_guard lock(reporting_);
    done_(std::move(outcome));
}

bool Run::renderInto(FrameOutcome& outcome, const SuppliedFrame& supplied, Worker& worker) {
    const PlannedFrame& frame = supplied.plan;
    if (!frame.missing.empty()) {
        throw Failure("{}: missing", frame.missing);
    }
    Stopwatch stopwatch;
    Picture input = readInput(supplied);
    outcome.notes = input.notes;
    if (!begun_) {
        begun_ = true;
        beginVideos(outcome, input);
        startOthers();
    }
    host::ParameterValues values = job_.values;
    if (job_.move) {
        job_.move(values, momentOf(supplied));
    }
    std::list<Picture> ownLayers;
    for (std::size_t i = 0; i < job_.layerIds.size(); ++i) {
        const Picture& layer = readLayer(supplied, i, ownLayers);
        outcome.notes.insert(outcome.notes.end(), layer.notes.begin(), layer.notes.end());
        values.setLayer(job_.layerIds[i], &layer.world);
    }
    outcome.readSeconds = stopwatch.lap();

    if (!worker.output) {
        worker.output.emplace(worldLike(input.world, outcome.output.empty() ? outcome.input : outcome.output));
    }
    host::World& output = *worker.output;
    const int downsample = job_.readInput.downsample;
    input.world.setOrigin(job_.offsetX / downsample, job_.offsetY / downsample);
    output.setOrigin(job_.offsetX / downsample, job_.offsetY / downsample);
    host::FrameRequest request;
    request.input = &input.world;
    request.output = &output;
    request.values = &values;
    request.downsampleX = request.downsampleY = {1, static_cast<A_u_long>(downsample)};
    require(instance_->render(request), "render", job_.host);
    outcome.renderSeconds = stopwatch.lap();

    outcome.width = output.width();
    outcome.height = output.height();
    outcome.bits = output.bitsPerChannel();
    if (job_.digests || job_.expected != nullptr) {
        outcome.digest = frameDigest(output);
        compare(frame, outcome.digest);
    }
    stopwatch.lap();
    if (video_) {
        if (input.hasAlpha && !withAlpha_) {
            throw Failure("{}: has alpha, unlike frame {}, with which the video began", outcome.input, like_->number);
        }
        if (!video_->put(supplied.place, output, supplied.input.get())) {
            throw GivenUp();
        }
    } else if (!outcome.output.empty()) {
        if (!job_.plan.isNumbered() && !job_.plan.isVideo()) {
            still_.emplace(Still{std::move(outcome), frame, std::move(input), std::move(output)});
            worker.output.reset();
            return false;
        }
        store(outcome, frame, input, output);
    }
    outcome.writeSeconds = stopwatch.lap();
    return true;
}

settings::Moment Run::momentOf(const SuppliedFrame& supplied) const {
    const int number = supplied.plan.number;
    return {static_cast<double>(number), supplied.input ? job_.inputVideo->secondsOf(*supplied.input)
                                                        : job_.rate.secondsOf(number - job_.plan.firstNumber())};
}

void Run::beginVideos(FrameOutcome& outcome, const Picture& input) {
    const auto addNotes = [&](const std::vector<std::string>& notes) {
        outcome.notes.insert(outcome.notes.end(), notes.begin(), notes.end());
    };
    if (job_.inputVideo != nullptr) {
        addNotes(job_.inputVideo->notes());
    }
    for (VideoInput* layer : job_.layerVideos) {
        if (layer != nullptr) {
            layer->setDepth(like_->depth);
            addNotes(layer->notes());
        }
    }
    if (!job_.plan.isVideoOutput()) {
        return;
    }
    createFolder(job_.plan.outputName());
    VideoDescription description;
    description.width = like_->width;
    description.height = like_->height;
    description.depth = like_->depth;
    description.alpha = job_.write.alpha || input.hasAlpha;
    withAlpha_ = description.alpha;
    description.source = job_.inputVideo;
    video_.emplace(videos().createVideo(job_.plan.outputName(), description, job_.writeVideo));
    addNotes(video_->output().notes());
}

/// What a video's frame is to the rest of the program.
Picture pictureOf(const VideoInput& video, const CodedFrame& frame) {
    host::World world = video.world(frame);
    auto traits = pictures().plainTraits(world);
    return {std::move(world), video.hasAlpha(), std::move(traits), {}};
}

Picture Run::readInput(const SuppliedFrame& supplied) {
    const PlannedFrame& frame = supplied.plan;
    const fs::path file = job_.plan.inputFile(frame);
    Picture picture =
        supplied.input ? pictureOf(*job_.inputVideo, *supplied.input) : pictures().readPicture(file, job_.readInput);
    const host::World& world = picture.world;
    if (!like_) {
        like_ = Like{frame.number, world.width(), world.height(), world.depth()};
    } else if (world.width() != like_->width || world.height() != like_->height || world.depth() != like_->depth) {
        throw Failure("{}: is {}, unlike frame {}: {} x {} with {} bits", file.string(), sizeText(world), like_->number,
                      like_->width, like_->height, 2 * host::pixelBytes(like_->depth));
    }
    if (frame.input.black) {
        makeBlack(picture.world);
    }
    return picture;
}

const Picture& Run::readLayer(const SuppliedFrame& supplied, std::size_t layer, std::list<Picture>& own) {
    const PlannedFrame& frame = supplied.plan;
    const bool ofVideo = layer < supplied.layers.size() && supplied.layers[layer] != nullptr;
    const fs::path file = job_.plan.layerFile(frame, layer);
    ReadSettings settings = job_.readLayer;
    settings.depth = like_->depth;
    if (job_.plan.isStillLayer(layer)) {
        const std::lock_guard lock(stillLayersMutex_);
        auto found = stillLayers_.find(layer);
        if (found == stillLayers_.end()) {
            found = stillLayers_.emplace(layer, pictures().readPicture(file, settings)).first;
        }
        return found->second;
    }
    Picture& picture = own.emplace_back(ofVideo ? pictureOf(*job_.layerVideos[layer], *supplied.layers[layer])
                                                : pictures().readPicture(file, settings));
    if (frame.layers[layer].black) {
        makeBlack(picture.world);
    }
    return picture;
}

void Run::createFolder(const fs::path& file) const {
    if (!job_.createFolders || !file.has_parent_path()) {
        return;
    }
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    if (error) {
        throw Failure("{}: {}", file.parent_path().string(), error.message());
    }
}

void Run::compare(const PlannedFrame& frame, const std::string& digest) const {
    if (job_.expected == nullptr) {
        return;
    }
    const auto expected = job_.expected->find(job_.plan.isNumbered() ? frame.number : 0);
    if (expected == job_.expected->end()) {
        throw Failure("{}: has no rendered frame of that number", job_.expectedFrom);
    }
    if (expected->second != digest) {
        throw Failure("differs from {}: digest {}, expected {}", job_.expectedFrom, digest, expected->second);
    }
}

void Run::store(FrameOutcome& outcome, const PlannedFrame& frame, const Picture& input,
                const host::World& output) const {
    const fs::path file = job_.plan.outputFile(frame);
    WriteSettings settings = job_.write;
    settings.alpha = settings.alpha || input.hasAlpha;
    if (file == "-") {
        const auto notes = pictures().writePictureToStandardOutput(output, *input.traits, settings);
        outcome.notes.insert(outcome.notes.end(), notes.begin(), notes.end());
        return;
    }
    createFolder(file);
    const auto notes = pictures().writePicture(file, output, *input.traits, settings);
    outcome.notes.insert(outcome.notes.end(), notes.begin(), notes.end());
}

/// Throws Failure when there is no such file.
fs::file_time_type changed(const fs::path& file) {
    std::error_code error;
    const fs::file_time_type time = fs::last_write_time(file, error);
    if (error) {
        throw Failure("{}: {}", file.string(), error.message());
    }
    return time;
}

}  // namespace

std::string reasonToSkip(const FramePlan& plan, const PlannedFrame& frame, Rerun rerun) {
    const fs::path output = plan.outputFile(frame);
    std::error_code error;
    if (rerun == Rerun::All || !frame.missing.empty() || !fs::is_regular_file(output, error)) {
        return {};
    }
    // An empty file was never a picture: a full disk or a cut connection left it.
    if (fs::file_size(output, error) == 0) {
        return {};
    }
    if (rerun == Rerun::SkipExisting) {
        return output.string() + ": already exists";
    }
    const fs::file_time_type made = changed(output);
    bool older =
        made < changed(plan.inputFile(frame)) || (!plan.settingsFile().empty() && made < changed(plan.settingsFile()));
    for (std::size_t i = 0; i < plan.layerCount(); ++i) {
        older = older || made < changed(plan.layerFile(frame, i));
    }
    return older ? std::string() : output.string() + ": is up to date";
}

bool renderFrames(const RenderJob& job, const std::function<void(FrameOutcome)>& done) {
    const int processors = availableProcessors();
    const std::size_t frames = job.plan.isVideo() ? 1U << 16U : std::min<std::size_t>(job.plan.count(), 1U << 16U);
    const int side = std::min(job.jobs, static_cast<int>(frames));
    const int threads = job.jobs == 1 && job.plan.isNumbered() ? 1 : std::max(processors / side, 1);
    parallelThreads() = static_cast<std::size_t>(threads);
    pictures().limitThreads(threads);
    Run run(job, done);
    withInstance(job.host, [&](host::Instance& instance) { run.all(instance); });
    return run.conclude();
}

}  // namespace quorvel::cli
