// SPDX-License-Identifier: MIT
// Keyframes as the text that After Effects puts on the clipboard when they are copied, and takes when they are pasted.
// Not confirmed in the application: written after texts that others exchange with it.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "settings/settings_file.h"

namespace quorvel::settings {

struct ImportedKeyframes {
    SettingsFile settings;
    std::vector<std::string> notes;  ///< what of the text was left out, and why
};

/// Reads the keyframes of the first effect of that name. The frame that the text counts as 0 becomes `start`. Throws
/// SettingsError, which names the file as `origin`, the line, the value and what was expected.
ImportedKeyframes parseAfterEffectsKeyframes(std::string_view text, const std::string& origin,
                                             const std::string& effect, int start);

struct AfterEffectsNames {
    std::string effect;
    std::map<ParameterId, int> numbers;  ///< each parameter's place in the effect, the first being 1
};

/// Every value of the file but layers. After Effects gets straight lines alone: curves become a key a frame, and keys
/// that hold a second one just before the next. Frame `start` becomes 0. `rate` is for keys at times. There is a
/// key for each of `frames`, which ascend; without any, for those that are needed. Then throws SettingsError for values
/// that repeat or extend, since those have no end.
std::string afterEffectsKeyframes(const SettingsFile& file, const AfterEffectsNames& names, const Rate& rate, int start,
                                  const std::vector<int>& frames);

}  // namespace quorvel::settings
