// SPDX-License-Identifier: MIT
// The codecs and containers that videos are written in, and what each holds.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/video/av.h"
#include "cli/video/input.h"
#include "cli/video/video.h"

namespace quorvel::cli {

struct Codec {
    enum class Form {
        Subsampled,  ///< Y'CbCr, 4:2:0 or what the source has
        Full,        ///< Y'CbCr 4:4:4
        Rgb,         ///< R'G'B', to the bit
        Raw,         ///< Y'CbCr, to the bit
    };

    const char* name;     ///< for the command line
    const char* encoder;  ///< FFmpeg's
    AVCodecID id;
    Form form;
    bool alpha = false;
    int mostBits = 8;                     ///< of a sample; below 16 for Y'CbCr
    int worstFactor = 0, bestFactor = 0;  ///< the constant rate factors of quality 1 and 100; equal for no quality
    int usualFactor = 0;
};

struct Container {
    const char* muxer;  ///< FFmpeg's name of it
    const char* title;  ///< for messages
    std::vector<std::string> endings;
    const char* codec;      ///< the default
    const char* richCodec;  ///< the default for alpha, and for more than 8 bits
    bool streamed = false;  ///< can go to the standard output
    bool pictures = false;  ///< pictures one after another, with no place for sound or subtitles
};

/// By the file's ending or, for the standard output, by the settings. Throws UsageError.
const Container& containerOf(const std::filesystem::path& file, const VideoWriteSettings& settings);

/// The one that is asked for, or the container's default. Throws UsageError when the container cannot hold it.
const Codec& codecOf(const Container& container, const VideoWriteSettings& settings, bool alpha, host::Depth depth);

/// Whether the container can hold such a stream. Sets FFmpeg's last message otherwise.
bool holds(const Container& container, const AVCodecParameters& parameters);

/// What the frames become. Throws Failure when the codec holds no such frames; `name` is the output's.
AVPixelFormat pixelFormatFor(const Codec& codec, const VideoDescription& description, const Input* source,
                             const std::string& name, std::vector<std::string>& notes);

/// What the coded frames say of their colours: the source's, as far as it fits the format.
Colour colourFor(const Codec& codec, AVPixelFormat format, int height, const Input* source);

/// The encoder's options.
void setOptions(const Codec& codec, const VideoWriteSettings& settings, const Input* source,
                const VideoDescription& description, av::Options& options);

}  // namespace quorvel::cli
