// SPDX-License-Identifier: MIT
#include "cli/frames/frame_plan.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <system_error>
#include <utility>

#include "cli/exit_status.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;

/// Of one run.
constexpr std::size_t kMostFrames = 1'000'000;
/// Of a video, which is read as it goes.
constexpr std::size_t kMostVideoFrames = 100'000'000;
/// What a picture's layers count from where it has no first frame of its own.
constexpr int kFirstOfPicture = 1;

/// Where a layer's or the input's frame comes from; nothing leaves the frame out.
std::optional<PlannedSource> sourceOf(const FrameFiles& files, int number, Missing missing, std::string& lacking) {
    if (!files.isSequence() || files.has(number)) {
        return PlannedSource{number, false};
    }
    switch (missing) {
        case Missing::Error:
            lacking = lacking.empty() ? files.file(number).string() : lacking;
            return PlannedSource{number, false};
        case Missing::Skip:
            return std::nullopt;
        case Missing::Hold:
            return PlannedSource{files.held(number), false};
        case Missing::Black:
            return PlannedSource{files.held(number), true};
    }
    return std::nullopt;
}

/// The file that a name leads to, however it is spelled.
fs::path resolved(const fs::path& file) {
    std::error_code error;
    fs::path target = fs::weakly_canonical(fs::absolute(file, error), error);
    return error ? file : target;
}

}  // namespace

FrameFiles::FrameFiles(const fs::path& name) : name_(name) {
    std::error_code error;
    if (name != "-" && !fs::exists(fs::symlink_status(name, error))) {
        pattern_ = FilePattern::parse(name);
    }
    if (pattern_) {
        existing_ = pattern_->existing();
        if (existing_.empty()) {
            throw Failure("{}: no file has such a name", name.string());
        }
    }
}

bool FrameFiles::has(int frame) const {
    return std::binary_search(existing_.begin(), existing_.end(), frame);
}

int FrameFiles::held(int frame) const {
    const auto after = std::upper_bound(existing_.begin(), existing_.end(), frame);
    return after == existing_.begin() ? existing_.front() : *(after - 1);
}

FramePlan::FramePlan(const PlanRequest& request)
    : input_(request.input),
      layers_(request.layers.begin(), request.layers.end()),
      output_(request.output),
      settings_(request.settings),
      numbered_(input_.isSequence() || request.frames || request.inputVideoFrames || request.outputVideo),
      wanted_(request.frames.value_or(FrameNumbers::all())),
      start_(request.start),
      layerStart_(request.layerStart),
      missing_(request.missing),
      video_(request.inputVideoFrames.has_value()),
      videoOutput_(request.outputVideo),
      layerVideos_(request.layerVideos) {
    if (numbered_ && !videoOutput_) {
        outputPattern_ = FilePattern::parse(output_);
    }
    if (video_) {
        if (*request.inputVideoFrames > 0) {
            expected_ = wanted_.within(0, *request.inputVideoFrames - 1, kMostVideoFrames);
        }
    } else {
        const bool alone = input_.name() == "-" || (!input_.isSequence() && !request.frames);
        for (const int number : alone ? std::vector{kFirstOfPicture} : wantedFrames()) {
            if (auto frame = planned(number, frames_.size())) {
                frames_.push_back(std::move(*frame));
            }
        }
        if (frames_.empty()) {
            throw Failure("{}: every frame is left out, because no frame has all of its files", request.input.string());
        }
    }
    if (!request.keepGoing) {
        refuseMissing();
    }
    if (numbered_ && !videoOutput_ && !output_.empty() && !outputPattern_ && count() != 1) {
        const std::string several = count() == 0 ? std::string("many") : std::to_string(count());
        if (output_ == "-") {
            throw UsageError("--output -: expected --format png, nut or y4m, since there are {} frames", several);
        }
        throw badValue("--output", output_.string(),
                       fmt::format("a place for the frame's number, such as {}.####{}, since there are {} frames",
                                   output_.stem().string(), output_.extension().string(), several));
    }
    refuseToReplaceInputs();
}

std::vector<int> FramePlan::wantedFrames() const {
    if (!input_.isSequence()) {
        return wanted_.within(kLowestFrame, kHighestFrame, kMostFrames);
    }
    const int first = input_.existing().front();
    const int last = input_.existing().back();
    // Holes count as frames; only what lies outside of the sequence is cut off.
    if (wanted_.text().empty() && std::int64_t{last} - first >= static_cast<std::int64_t>(kMostFrames)) {
        throw Failure("{}: the frames {} to {} are more than {}; name some of them with --frames",
                      input_.name().string(), first, last, kMostFrames);
    }
    std::vector<int> frames = wanted_.within(first, last, kMostFrames);
    if (frames.empty()) {
        throw Failure("--frames {}: {} has the frames {}", wanted_.text(), input_.name().string(),
                      framesText(input_.existing()));
    }
    return frames;
}

int FramePlan::firstNumber() const {
    return input_.isSequence() ? input_.existing().front() : video_ ? 0 : kFirstOfPicture;
}

/// Frames count from different numbers in a video and in a sequence: there the first belongs to the first.
int FramePlan::layerNumber(std::size_t layer, int number) const {
    const int first = firstNumber();
    const FrameFiles& files = layers_[layer];
    if (layerStart_) {
        return *layerStart_ + (number - first);
    }
    if (isVideoLayer(layer) != video_) {
        const int layerFirst = files.isSequence() ? files.existing().front() : 0;
        return layerFirst + (number - first);
    }
    return number;
}

std::optional<PlannedFrame> FramePlan::planned(int number, std::size_t before) const {
    PlannedFrame frame;
    frame.number = number;
    frame.outputNumber = start_ ? *start_ + static_cast<int>(before) : number;
    const auto input = sourceOf(input_, number, missing_, frame.missing);
    if (!input) {
        return std::nullopt;
    }
    frame.input = *input;
    for (std::size_t i = 0; i < layers_.size(); ++i) {
        const auto source = sourceOf(layers_[i], layerNumber(i, number), missing_, frame.missing);
        if (!source) {
            return std::nullopt;
        }
        frame.layers.push_back(*source);
    }
    return frame;
}

std::optional<PlannedFrame> FramePlan::videoFrame(int number, std::size_t before) const {
    return planned(number, before);
}

void FramePlan::refuseMissing() const {
    std::vector<int> lacking;
    for (const PlannedFrame& frame : frames_) {
        if (!frame.missing.empty()) {
            lacking.push_back(frame.number);
        }
    }
    if (!lacking.empty()) {
        const auto first =
            std::find_if(frames_.begin(), frames_.end(), [](const auto& f) { return !f.missing.empty(); });
        throw Failure("{}: missing, so frame {} cannot be rendered (missing for: {}); --missing skip, hold or black",
                      first->missing, first->number, framesText(lacking));
    }
}

/// A frame may replace its own input, which has been read by then, but not a file that another frame still needs.
void FramePlan::refuseToReplaceInputs() const {
    if (!outputPattern_) {
        return;
    }
    std::map<fs::path, int> replaced;
    for (const PlannedFrame& frame : frames_) {
        std::error_code error;
        if (const fs::path file = outputFile(frame); fs::exists(file, error)) {
            replaced.emplace(resolved(file), frame.number);
        }
    }
    if (replaced.empty()) {
        return;
    }
    const auto refuse = [&](const fs::path& file, const PlannedFrame& frame) {
        const auto found = replaced.find(resolved(file));
        if (found != replaced.end() && found->second != frame.number) {
            throw Failure("{}: would replace files that are read for other frames: {} by frame {}, read for frame {}",
                          output_.string(), file.string(), found->second, frame.number);
        }
    };
    for (const PlannedFrame& frame : frames_) {
        refuse(inputFile(frame), frame);
        for (std::size_t i = 0; i < layers_.size(); ++i) {
            refuse(layerFile(frame, i), frame);
        }
    }
}

bool FramePlan::uses(const fs::path& file) const {
    const fs::path wanted = resolved(file);
    const auto same = [&](const fs::path& other) {
        return other.filename() == file.filename() && resolved(other) == wanted;
    };
    if (same(input_.name()) || same(output_)) {
        return true;
    }
    return std::any_of(frames_.begin(), frames_.end(), [&](const PlannedFrame& frame) {
        bool used = same(inputFile(frame)) || same(outputFile(frame));
        for (std::size_t i = 0; i < layers_.size(); ++i) {
            used = used || same(layerFile(frame, i));
        }
        return used;
    });
}

fs::path FramePlan::outputFile(const PlannedFrame& frame) const {
    return outputPattern_ ? outputPattern_->file(frame.outputNumber) : output_;
}

fs::path FramePlan::layerFile(const PlannedFrame& frame, std::size_t layer) const {
    return layers_[layer].file(frame.layers[layer].number);
}

}  // namespace quorvel::cli
