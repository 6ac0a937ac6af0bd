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

/// One source of a frame: the file, or the frame of a video, of that number, or zeros in its place.
struct PlannedSource {
    int number = 0;  ///< of what is to be read
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
    std::filesystem::path settings;      ///< a file that every frame depends on; empty for none
    std::optional<FrameNumbers> frames;  ///< nothing: all of a sequence, or a picture once
    std::optional<int> start;            ///< the first output's number; nothing: outputs have their input's
    std::optional<int> layerStart;       ///< the layers' frame that belongs to the input's first
    Missing missing = Missing::Error;
    bool keepGoing = false;
    /// The input is a video with about so many frames, or with an unknown number of them when it is 0.
    std::optional<int> inputVideoFrames;
    std::vector<bool> layerVideos;  ///< which layers are videos; empty for none
    bool outputVideo = false;       ///< all frames go into one file
};

class FramePlan {
public:
    /// Throws UsageError or Failure when frames are asked for that are not there, or when an output would replace
    /// another frame's input.
    explicit FramePlan(const PlanRequest& request);

    /// Whether frames have numbers; a picture alone has none.
    bool isNumbered() const { return numbered_; }
    /// How many there are. Of a video this is what to expect; only reading it tells. 0 when there is nothing to go by.
    std::size_t count() const { return isVideo() ? expected_.size() : frames_.size(); }
    const PlannedFrame& frame(std::size_t i) const { return frames_[i]; }
    /// Empty for a video.
    const std::vector<PlannedFrame>& frames() const { return frames_; }

    /// Whether the input is a video, whose frames have numbers from 0 and are planned as they are read.
    bool isVideo() const { return video_; }
    bool isVideoOutput() const { return videoOutput_; }
    bool isVideoLayer(std::size_t layer) const { return layer < layerVideos_.size() && layerVideos_[layer]; }
    /// The video's frames that are asked for, of those to expect.
    const std::vector<int>& expected() const { return expected_; }
    const FrameNumbers& wanted() const { return wanted_; }
    /// The frame of that number of a video as the one after `before` others; nothing when it is left out.
    std::optional<PlannedFrame> videoFrame(int number, std::size_t before) const;
    const std::filesystem::path& inputName() const { return input_.name(); }
    const std::filesystem::path& outputName() const { return output_; }

    std::filesystem::path inputFile(const PlannedFrame& frame) const { return input_.file(frame.input.number); }
    /// Empty when nothing is written.
    std::filesystem::path outputFile(const PlannedFrame& frame) const;
    std::filesystem::path layerFile(const PlannedFrame& frame, std::size_t layer) const;
    /// Whether every frame reads the same file.
    bool isStill() const { return !input_.isSequence() && !video_; }
    bool isStillLayer(std::size_t layer) const { return !layers_[layer].isSequence() && !isVideoLayer(layer); }
    std::size_t layerCount() const { return layers_.size(); }
    /// A file that every frame depends on besides; empty for none.
    const std::filesystem::path& settingsFile() const { return settings_; }
    /// Whether the run reads or writes that file.
    bool uses(const std::filesystem::path& file) const;
    /// The number of the input's first frame; a picture counts from 1.
    int firstNumber() const;

private:
    std::vector<int> wantedFrames() const;
    /// Nothing when the frame is left out.
    std::optional<PlannedFrame> planned(int number, std::size_t before) const;
    int layerNumber(std::size_t layer, int number) const;
    void refuseMissing() const;
    void refuseToReplaceInputs() const;

    FrameFiles input_;
    std::vector<FrameFiles> layers_;
    std::filesystem::path output_;
    std::filesystem::path settings_;
    std::optional<FilePattern> outputPattern_;
    bool numbered_ = false;
    FrameNumbers wanted_;
    std::optional<int> start_, layerStart_;
    Missing missing_;
    bool video_, videoOutput_;
    std::vector<bool> layerVideos_;
    std::vector<PlannedFrame> frames_;
    std::vector<int> expected_;
};

}  // namespace quorvel::cli
