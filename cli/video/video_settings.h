// SPDX-License-Identifier: MIT
// How videos are read and written, in plain words. Needs no library.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/world.h"

namespace quorvel::cli {

/// Frames a second, as a fraction; both parts are above 0.
struct FrameRate {
    int numerator = 25;
    int denominator = 1;
};

/// "25", "23.976" or "30000/1001". Throws UsageError naming the option unless it is above 0 and at most 1000.
FrameRate parseFrameRate(const std::string& option, const std::string& text);

enum class AudioChoice { Copy, Aac, None };
enum class SubtitleChoice { Copy, None };

struct VideoReadSettings {
    /// The worlds' depth; nothing: the video's own (up to 8 bits 8, up to 16 bits 16, otherwise float).
    std::optional<host::Depth> depth;
    /// Every N-th pixel of every N-th row of the frame as shown is taken.
    int downsample = 1;
    /// Leave the pixels as they are stored instead of turning them as the file says.
    bool storedOrientation = false;
    /// Decode on the calling thread alone.
    bool oneThread = false;
};

struct VideoWriteSettings {
    std::string codec;           ///< one of `videoCodecs()`; empty: the container's default
    std::optional<int> quality;  ///< 1 to 100, for codecs that lose detail
    std::string container;  ///< "png", "nut" or "y4m", for the standard output; otherwise the name's ending decides
    AudioChoice audio = AudioChoice::Copy;
    SubtitleChoice subtitles = SubtitleChoice::Copy;
    /// Of frames that come from no video.
    FrameRate rate;
    /// Cut sound and subtitles to the time from the first frame written to the end of the last.
    bool cutTracks = false;
    int firstFrame = 0;      ///< the number of the source's frame that is written first, for the time code
    bool clobber = true;     ///< replace a file that is there
    bool oneThread = false;  ///< encode on the calling thread alone
};

/// What `--codec` takes.
const std::vector<std::string>& videoCodecs();

/// Whether a file of that name is written as a video.
bool isVideoName(const std::filesystem::path& file);

/// ".mp4, .mov, ...".
std::string videoEndings();

}  // namespace quorvel::cli
