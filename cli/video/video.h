// SPDX-License-Identifier: MIT
// Videos between their files and the effect. Everything behind this header is the one place that knows FFmpeg.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/video/video_settings.h"
#include "host/world.h"

namespace quorvel::cli {

/// A frame as a codec delivers or takes it, with its time; opaque to everybody else.
struct CodedFrame;
using CodedFramePtr = std::shared_ptr<const CodedFrame>;

/// A video that is read from its beginning on.
class VideoInput {
public:
    VideoInput() = default;
    virtual ~VideoInput() = default;
    VideoInput(const VideoInput&) = delete;
    VideoInput& operator=(const VideoInput&) = delete;

    /// Of the worlds that `world` makes.
    virtual int width() const = 0;
    virtual int height() const = 0;
    virtual host::Depth depth() const = 0;
    virtual bool hasAlpha() const = 0;
    /// What the file says or lets estimate of its number of frames; 0 when it does neither.
    virtual int expectedFrames() const = 0;
    /// What the user may want to know, such as assumptions about untagged colours.
    virtual const std::vector<std::string>& notes() const = 0;

    /// Of the worlds from now on, before the first of them is made.
    virtual void setDepth(host::Depth depth) = 0;

    /// The next frame in the order in which they are shown; null at the end. One thread at a time. Throws Failure
    /// naming file and frame when the video is damaged or cut off.
    virtual CodedFramePtr next() = 0;
    /// When a frame of this video is shown, in seconds since its first frame.
    virtual double secondsOf(const CodedFrame& frame) const = 0;
    /// A frame of this video as pixels: upright, R'G'B' as coded. Any number of threads at once. Throws Failure.
    virtual host::World world(const CodedFrame& frame) const = 0;
};

/// What a video output must be able to hold.
struct VideoDescription {
    int width = 0, height = 0;
    host::Depth depth = host::Depth::Bits8;
    bool alpha = false;
    /// Whose times, colours, sound, subtitles and metadata are kept; null for none. Must outlive the output.
    const VideoInput* source = nullptr;
};

/// A video that is being written, and that appears complete or not at all. Destroyed before `finish` it leaves nothing.
class VideoOutput {
public:
    VideoOutput() = default;
    virtual ~VideoOutput() = default;
    VideoOutput(const VideoOutput&) = delete;
    VideoOutput& operator=(const VideoOutput&) = delete;

    /// What the user may want to know of the output.
    virtual const std::vector<std::string>& notes() const = 0;
    /// A world in the codec's form. Any number of threads at once. Throws Failure.
    virtual CodedFramePtr coded(const host::World& world) const = 0;
    /// Appends a frame; `source` is the frame of the video that it was made from, whose time it keeps, or null. In the
    /// order of showing, one thread at a time. Throws Failure.
    virtual void write(const CodedFrame& frame, const CodedFrame* source) = 0;
    /// Writes what is left, which can take long, and gives the file its name. False, and nothing is left of it, when
    /// `stopped` says so on the way. Throws Failure.
    virtual bool finish(const std::function<bool()>& stopped) = 0;
};

/// Whether the file's content is that of a video, or of something else that FFmpeg reads, such as sound alone.
bool isVideoFile(const std::filesystem::path& file);

/// Throws Failure with one line naming the file and the reason when it cannot be read or has no video.
std::unique_ptr<VideoInput> openVideo(const std::filesystem::path& file, const VideoReadSettings& settings);

/// Throws UsageError when the name's container cannot hold what the settings ask for. Nothing is touched.
void checkVideoSettings(const std::filesystem::path& file, const VideoWriteSettings& settings);

/// Begins a video file, or a stream on the standard output for the name "-". Throws Failure naming what the container
/// or the codec cannot hold.
std::unique_ptr<VideoOutput> createVideo(const std::filesystem::path& file, const VideoDescription& description,
                                         const VideoWriteSettings& settings);

/// The names and versions of the libraries, "libavformat 59.27.100, ...".
std::string videoLibraryVersions();

}  // namespace quorvel::cli
