// SPDX-License-Identifier: MIT
// Settings files: the effect's values, fixed or moving, as JSON.
#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include "effect/parameters.h"
#include "effect/settings.h"
#include "settings/keyframes.h"

namespace quorvel::settings {

/// What is wrong with a settings file, in one line: file, key, value, what was expected.
class SettingsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Frames a second, as a fraction.
struct Rate {
    double frames = 25;
    double seconds = 1;

    bool operator==(const Rate&) const = default;

    /// Seconds from frame 0 to that frame.
    double secondsOf(double frame) const { return frame * seconds / frames; }
};

/// Reads "25", "23.976" or "30000/1001"; nothing unless it is above 0 and at most 1000.
std::optional<Rate> parseRate(std::string_view text);
/// As parseRate reads it.
std::string rateText(const Rate& rate);

/// When a frame is shown.
struct Moment {
    double frame = 0;    ///< its number in the sequence, or its place in the video, counted from 0
    double seconds = 0;  ///< since the first frame
};

/// A number, keys, or a layer's file name as it was written. Choices are numbers from 0.
using Value = std::variant<double, Keyframes, std::string>;

/// The contents of a settings file. Parameters without a value have their defaults.
struct SettingsFile {
    std::string name;          ///< to show; may be empty
    std::optional<Rate> rate;  ///< of keys at times, where the frames themselves have none
    std::map<ParameterId, Value> values;

    bool operator==(const SettingsFile&) const = default;

    /// Whether a value has keys.
    bool moves() const;
    /// Whether a value has keys in that unit.
    bool movesIn(Keyframes::Unit unit) const;
    /// A parameter's value at that moment, within its range; a layer's is 0.
    double at(ParameterId id, const Moment& moment) const;
    /// All values at that moment.
    Settings at(const Moment& moment) const;
    /// The layer's file name as it was written; empty when it has none.
    std::string layer(ParameterId id) const;
};

/// Reads JSON text. `origin` names the file in errors. Throws SettingsError.
SettingsFile parseSettings(std::string_view text, const std::string& origin);

/// JSON text that parseSettings reads as the same values, ending in a line break.
std::string settingsText(const SettingsFile& file);

/// Degrees in 16.16 fixed point, rounded half away from zero; angles beyond what it holds are cut off there.
std::int32_t fixedDegrees(double degrees);

}  // namespace quorvel::settings
