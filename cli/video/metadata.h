// SPDX-License-Identifier: MIT
// What a video file says besides its frames, on its way into another.
#pragma once

#include "cli/video/av.h"
#include "cli/video/codecs.h"
#include "cli/video/input.h"

namespace quorvel::cli {

/// Title, dates and the like; chapters too, unless only a part is kept, whose times they would not fit. The time code
/// becomes that of the source's frame `firstFrame`.
void copyMetadata(const Input& source, bool part, int firstFrame, AVFormatContext& to);

/// Puts the language of a track in the words that the container knows.
void nameLanguageFor(const Container& container, AVDictionary*& entries);

/// Language, time code, HDR's mastering display and light levels.
void copyStreamMetadata(const Input& source, int firstFrame, const Container& container, AVStream& to);

}  // namespace quorvel::cli
