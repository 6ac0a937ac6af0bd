// SPDX-License-Identifier: MIT
// Which files a run reads and writes, frame by frame, known before it begins.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/frames/file_pattern.h"
#include "cli/frames/frame_numbers.h"

namespace quorvel::cli {

/// What to do for a frame of a sequence that has no file.
enum class Missing {
    Error,  ///< the frame fails
    Skip,   ///< the frame is left out
    Hold,   ///< the frame before it is used again
    Black,  ///< a frame of zeros, transparent where there is alpha
};

/// A picture, or the files of a numbered sequence.
class FrameFiles {
public:
    /// A file that is there under exactly this name is a picture; otherwise a place for a number makes a sequence.
    /// Throws Failure when a sequence has no file or its folder cannot be read.
    explicit FrameFiles(const std::filesystem::path& name);

    bool isSequence() const { return pattern_.has_value(); }
    std::filesystem::path file(int frame) const { return pattern_ ? pattern_->file(frame) : name_; }
    /// The sequence's frames, ascending; empty for a picture.
    const std::vector<int>& existing() const { return existing_; }
    bool has(int frame) const;
    /// The frame to read for `frame`: itself, or the closest before it that is there, or else the first.
    int held(int frame) const;
    /// As the user wrote it.
    const std::filesystem::path& name() const { return name_; }

private:
    std::filesystem::path name_;
    std::optional<FilePattern> pattern_;
    std::vector<int> existing_;
};

/// One source of a frame: the file of that number, or zeros in its place.
struct PlannedSource {
    int number = 0;  ///< of the file to read
    bool black = false;
};

struct PlannedFrame {
    int number = 0;        ///< the input's
    int outputNumber = 0;  ///< the output's
    PlannedSource input;
    std::vector<PlannedSource> layers;  ///< in the order in which they were given
    std::string missing;                ///< the file that is not there, when the frame fails for it
};

struct PlanRequest {
    std::filesystem::path input;
    std::filesystem::path output;  ///< empty: nothing is written
    std::vector<std::filesystem::path> layers;
    std::optional<FrameNumbers> frames;  ///< nothing: all of a sequence, or a picture once
    std::optional<int> start;            ///< the first output's number; nothing: outputs have their input's
    std::optional<int> layerStart;       ///< the layers' frame that belongs to the input's first
    Missing missing = Missing::Error;
    bool keepGoing = false;
};

class FramePlan {
public:
    /// Throws UsageError or Failure when frames are asked for that are not there, or when an output would replace
    /// another frame's input.
    explicit FramePlan(const PlanRequest& request);

    /// Whether frames have numbers; a picture alone has none.
    bool isNumbered() const { return numbered_; }
    std::size_t count() const { return frames_.size(); }
    const PlannedFrame& frame(std::size_t i) const { return frames_[i]; }
    const std::vector<PlannedFrame>& frames() const { return frames_; }

    std::filesystem::path inputFile(const PlannedFrame& frame) const { return input_.file(frame.input.number); }
    /// Empty when nothing is written.
    std::filesystem::path outputFile(const PlannedFrame& frame) const;
    std::filesystem::path layerFile(const PlannedFrame& frame, std::size_t layer) const;
    /// Whether every frame reads the same file.
    bool isStill() const { return !input_.isSequence(); }
    bool isStillLayer(std::size_t layer) const { return !layers_[layer].isSequence(); }
    std::size_t layerCount() const { return layers_.size(); }

private:
    std::vector<int> wantedFrames(const PlanRequest& request) const;
    /// Adds a frame, or leaves it out.
    void add(int number, const PlanRequest& request);
    void refuseMissing() const;
    void refuseToReplaceInputs() const;

    FrameFiles input_;
    std::vector<FrameFiles> layers_;
    std::filesystem::path output_;
    std::optional<FilePattern> outputPattern_;
    bool numbered_ = false;
    std::vector<PlannedFrame> frames_;
};

}  // namespace quorvel::cli
