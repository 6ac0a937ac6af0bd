// SPDX-License-Identifier: MIT
#include "settings/settings_file.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>
#include <vector>

#include "settings/parameter_words.h"
#include "settings/words.h"

namespace quorvel::settings {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr int kVersion = 1;
constexpr double kHighestRate = 1000;
/// How deep a file of this form is at most, and a little more.
constexpr int kDeepest = 8;
constexpr double kHighestFrame = 99'999'999;
constexpr double kHighestTime = 1e9;
constexpr double kHighestEase = 100;

constexpr std::pair<const char*, Outside> kOutsides[] = {
    {"hold", Outside::Hold}, {"repeat", Outside::Repeat}, {"extend", Outside::Extend}};
const std::pair<const char*, Ease> kEases[] = {{"linear", {}}, {"hold", {Ease::Kind::Hold}}, {"smooth", kSmooth}};

/// Text from a file, fit for a message.
std::string shortened(const std::string& text) {
    constexpr std::size_t longest = 60;
    return text.size() > longest ? text.substr(0, longest) + "..." : text;
}

/// A value inside a file, and the way to it for errors.
class Place {
public:
    Place(const json& value, std::string where, bool top = true) : value_(value), where_(std::move(where)), top_(top) {}

    const json& value() const { return value_; }
    Place at(const std::string& key) const {
        return {value_.at(key), where_ + (top_ ? ": " : ".") + shortened(key), false};
    }

    [[noreturn]] void refuse(const std::string& why) const { throw SettingsError(where_ + ": " + why); }
    [[noreturn]] void expect(const std::string& expected) const {
        refuse(shortened(value_.dump(-1, ' ', false, json::error_handler_t::replace)) + ": expected " + expected);
    }
    /// Refuses what is no object, and keys that are not among these.
    void expectObject(const std::vector<std::string>& keys) const {
        if (!value_.is_object()) {
            expect("an object");
        }
        for (const auto& [key, value] : value_.items()) {
            if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
                const std::string close = nearest(key, keys);
                at(key).refuse("unknown; " +
                               (close.empty() ? "expected " + listText(keys) : "did you mean " + close + "?"));
            }
        }
    }

private:
    const json& value_;
    std::string where_;
    bool top_;  ///< it is the whole file
};

double readNumber(const Place& place, const Parameter& parameter, bool fixed) {
    const json& value = place.value();
    const auto [lowest, highest] = rangeOf(parameter);
    if (!value.is_number() || !(value >= lowest && value <= highest)) {
        place.expect(expectedText(parameter));
    }
    const double number = value.get<double>();
    // A moving count uses the whole part; a fraction that stands still is a slip.
    if (fixed && parameter.kind == ParameterKind::Count && number != std::trunc(number)) {
        place.expect(expectedText(parameter));
    }
    return number;
}

double readChoice(const Place& place, const Parameter& parameter) {
    const std::vector<std::string> names = choiceNames(parameter);
    const auto found = place.value().is_string()
                           ? std::find(names.begin(), names.end(), kebabCase(place.value().get<std::string>()))
                           : names.end();
    if (found == names.end()) {
        place.expect(expectedText(parameter));
    }
    return static_cast<double>(found - names.begin());
}

double readValue(const Place& place, const Parameter& parameter, bool fixed) {
    return isNumber(parameter) ? readNumber(place, parameter, fixed) : readChoice(place, parameter);
}

Ease readEase(const Place& place, const Parameter& parameter) {
    const json& value = place.value();
    if (value.is_string()) {
        for (const auto& [name, ease] : kEases) {
            if (value == name && (isNumber(parameter) || ease.kind == Ease::Kind::Hold)) {
                return ease;
            }
        }
    }
    if (!isNumber(parameter)) {
        place.expect("\"hold\", since a choice has nothing in between");
    }
    const bool points = value.is_array() && value.size() == 4 &&
                        std::all_of(value.begin(), value.end(), [](const json& v) { return v.is_number(); });
    const auto isTime = [](const json& v) { return v >= 0 && v <= 1; };
    const auto isValue = [](const json& v) { return v >= -kHighestEase && v <= kHighestEase; };
    if (!points || !isTime(value[0]) || !isValue(value[1]) || !isTime(value[2]) || !isValue(value[3])) {
        place.expect(
            "\"linear\", \"hold\", \"smooth\" or [x1, y1, x2, y2] with x1 and x2 from 0 to 1, y1 and y2 from -100 to "
            "100");
    }
    return {Ease::Kind::Curve, value[0], value[1], value[2], value[3]};
}

/// "24" or "1.5s".
std::pair<Keyframes::Unit, double> readTime(const Place& place, const std::string& text) {
    const bool seconds = text.ends_with('s');
    const double highest = seconds ? kHighestTime : kHighestFrame;
    const auto time = parseNumber(seconds ? text.substr(0, text.size() - 1) : text);
    if (!time || !(std::abs(*time) <= highest) || (!seconds && !parseInteger(text))) {
        place.refuse("expected a frame's number such as 24, or a time such as 1.5s");
    }
    return {seconds ? Keyframes::Unit::Seconds : Keyframes::Unit::Frames, *time};
}

Outside readOutside(const Place& place) {
    for (const auto& [name, outside] : kOutsides) {
        if (place.value() == name) {
            return outside;
        }
    }
    place.expect("\"hold\", \"repeat\" or \"extend\"");
}

Key readKey(const Place& place, const Parameter& parameter, double time) {
    Key key{time, 0, isNumber(parameter) ? Ease{} : Ease{Ease::Kind::Hold}};
    if (!place.value().is_object()) {
        key.value = readValue(place, parameter, false);
        return key;
    }
    place.expectObject({"value", "to-next"});
    if (!place.value().contains("value")) {
        place.refuse("expected a value");
    }
    key.value = readValue(place.at("value"), parameter, false);
    if (place.value().contains("to-next")) {
        key.toNext = readEase(place.at("to-next"), parameter);
    }
    return key;
}

Keyframes readKeyframes(const Place& place, const Parameter& parameter) {
    place.expectObject({"keys", "before", "after"});
    if (!place.value().contains("keys") || !place.value()["keys"].is_object() || place.value()["keys"].empty()) {
        place.refuse("expected keys, such as {\"keys\": {\"1\": ..., \"24\": ...}}");
    }
    Keyframes frames;
    const Place keys = place.at("keys");
    std::vector<std::pair<Key, std::string>> read;
    for (const auto& [text, value] : keys.value().items()) {
        const Place at = keys.at(text);
        const auto [unit, time] = readTime(at, text);
        if (!read.empty() && unit != frames.unit) {
            at.refuse("expected keys of one kind, frames or times");
        }
        frames.unit = unit;
        read.emplace_back(readKey(at, parameter, time), text);
    }
    std::stable_sort(read.begin(), read.end(),
                     [](const auto& a, const auto& b) { return a.first.time < b.first.time; });
    for (auto& [key, text] : read) {
        if (!frames.keys.empty() && frames.keys.back().time == key.time) {
            keys.at(text).refuse("is given twice");
        }
        frames.keys.push_back(key);
    }
    if (place.value().contains("before")) {
        frames.before = readOutside(place.at("before"));
    }
    if (place.value().contains("after")) {
        frames.after = readOutside(place.at("after"));
    }
    return frames;
}

Value readParameter(const Place& place, const Parameter& parameter) {
    if (parameter.kind == ParameterKind::Layer) {
        if (!place.value().is_string() || place.value().get<std::string>().empty()) {
            place.expect(expectedText(parameter));
        }
        return place.value().get<std::string>();
    }
    if (place.value().is_object()) {
        return readKeyframes(place, parameter);
    }
    return readValue(place, parameter, true);
}

/// The file's JSON. Refuses what is given twice, of which the parser would keep the last, and nesting that no file of
/// this form has.
json parseJson(std::string_view text, const std::string& origin) {
    std::vector<std::set<std::string>> open;
    const auto check = [&](int depth, json::parse_event_t event, const json& parsed) {
        using Event = json::parse_event_t;
        if (depth > kDeepest && (event == Event::object_start || event == Event::array_start)) {
            throw SettingsError(origin + ": is nested too deeply");
        }
        if (event == Event::object_start) {
            open.emplace_back();
        } else if (event == Event::object_end) {
            open.pop_back();
        } else if (event == Event::key && !open.back().insert(parsed.get<std::string>()).second) {
            throw SettingsError(origin + ": " + shortened(parsed.get<std::string>()) + ": is given twice");
        }
        return true;
    };
    try {
        return json::parse(text, check);
    } catch (const json::exception& error) {
        // Without the library's own number of the error.
        const std::string_view what = error.what();
        throw SettingsError(origin + ": " + std::string(what.substr(std::min(what.find("] ") + 2, what.size()))));
    }
}

ordered_json numberJson(double value) {
    if (value == std::trunc(value) && std::abs(value) < 1e15) {
        return static_cast<std::int64_t>(value);
    }
    return value;
}

ordered_json valueJson(const Parameter& parameter, double value) {
    if (parameter.kind == ParameterKind::Choice) {
        return choiceNames(parameter)[static_cast<std::size_t>(value)];
    }
    return numberJson(value);
}

const char* outsideName(Outside outside) {
    return std::find_if(std::begin(kOutsides), std::end(kOutsides), [&](const auto& o) { return o.second == outside; })
        ->first;
}

ordered_json easeJson(const Ease& ease) {
    const auto* named =
        std::find_if(std::begin(kEases), std::end(kEases), [&](const auto& e) { return e.second == ease; });
    if (named != std::end(kEases)) {
        return named->first;
    }
    return {numberJson(ease.x1), numberJson(ease.y1), numberJson(ease.x2), numberJson(ease.y2)};
}

ordered_json keyframesJson(const Parameter& parameter, const Keyframes& frames) {
    ordered_json keys = ordered_json::object();
    const Ease usual = isNumber(parameter) ? Ease{} : Ease{Ease::Kind::Hold};
    for (const Key& key : frames.keys) {
        const std::string time = exactText(key.time) + (frames.unit == Keyframes::Unit::Seconds ? "s" : "");
        const ordered_json value = valueJson(parameter, key.value);
        keys[time] = key.toNext == usual ? value : ordered_json{{"value", value}, {"to-next", easeJson(key.toNext)}};
    }
    ordered_json object{{"keys", keys}};
    if (frames.before != Outside::Hold) {
        object["before"] = outsideName(frames.before);
    }
    if (frames.after != Outside::Hold) {
        object["after"] = outsideName(frames.after);
    }
    return object;
}

}  // namespace

std::optional<Rate> parseRate(std::string_view text) {
    const std::size_t slash = text.find('/');
    const auto frames = parseNumber(text.substr(0, slash));
    const auto seconds = slash == std::string_view::npos ? 1.0 : parseNumber(text.substr(slash + 1));
    if (!frames || !seconds || !(*frames > 0) || !(*seconds > 0) || !(*frames / *seconds <= kHighestRate) ||
        !(*frames / *seconds > 0)) {
        return std::nullopt;
    }
    return Rate{*frames, *seconds};
}

std::string rateText(const Rate& rate) {
    const std::string frames = exactText(rate.frames);
    return rate.seconds == 1 ? frames : frames + "/" + exactText(rate.seconds);
}

bool SettingsFile::moves() const {
    return std::any_of(values.begin(), values.end(),
                       [](const auto& entry) { return std::holds_alternative<Keyframes>(entry.second); });
}

bool SettingsFile::movesIn(Keyframes::Unit unit) const {
    return std::any_of(values.begin(), values.end(), [unit](const auto& entry) {
        const auto* const frames = std::get_if<Keyframes>(&entry.second);
        return frames != nullptr && frames->unit == unit;
    });
}

double SettingsFile::at(ParameterId id, const Moment& moment) const {
    const Parameter& described = parameter(id);
    const auto found = values.find(id);
    if (described.kind == ParameterKind::Layer) {
        return 0;
    }
    if (found == values.end()) {
        return described.defaultValue;
    }
    const auto* const frames = std::get_if<Keyframes>(&found->second);
    double value = frames == nullptr                         ? std::get<double>(found->second)
                   : frames->unit == Keyframes::Unit::Frames ? frames->at(moment.frame)
                                                             : frames->at(moment.seconds);
    const auto [lowest, highest] = rangeOf(described);
    value = std::clamp(value, lowest, highest);
    return described.kind == ParameterKind::Count ? std::trunc(value) : value;
}

Settings SettingsFile::at(const Moment& moment) const {
    const auto number = [&](ParameterId id) { return at(id, moment); };
    const auto whole = [&](ParameterId id) { return static_cast<std::int32_t>(number(id)); };
    Settings settings{};
    settings.channels = whole(ParameterId::Channels);
    settings.mosaicIntensity = number(ParameterId::MosaicIntensity);
    settings.gridWidth = whole(ParameterId::GridWidth);
    settings.gridHeight = whole(ParameterId::GridHeight);
    settings.maxIterations = whole(ParameterId::MaxIterations);
    settings.curveType = whole(ParameterId::Curve);
    settings.curvePhase = fixedDegrees(number(ParameterId::CurvePhase));
    settings.curveSmoothness = number(ParameterId::CurveSmoothness);
    settings.curvePhaseSplit = fixedDegrees(number(ParameterId::CurvePhaseSplit));
    return settings;
}

std::string SettingsFile::layer(ParameterId id) const {
    const auto found = values.find(id);
    const auto* const file = found == values.end() ? nullptr : std::get_if<std::string>(&found->second);
    return file == nullptr ? std::string() : *file;
}

SettingsFile parseSettings(std::string_view text, const std::string& origin) {
    const json whole = parseJson(text, origin);
    const Place top(whole, origin);
    top.expectObject({"$schema", "quorvel", "name", "rate", "values"});
    if (!whole.contains("quorvel")) {
        top.refuse("expected \"quorvel\": 1, the form's version");
    }
    if (whole["quorvel"] != kVersion) {
        top.at("quorvel").expect("1, the only version of the form");
    }
    SettingsFile file;
    if (whole.contains("name")) {
        if (!whole["name"].is_string()) {
            top.at("name").expect("a text");
        }
        file.name = whole["name"];
    }
    if (whole.contains("rate")) {
        const json& rate = whole["rate"];
        file.rate = parseRate(rate.is_string() ? rate.get<std::string>() : rate.dump());
        if (!file.rate) {
            top.at("rate").expect("frames a second, above 0 and at most 1000, such as 25 or \"30000/1001\"");
        }
    }
    if (!whole.contains("values")) {
        top.refuse("expected values");
    }
    std::vector<std::string> keys;
    for (const Parameter& parameter : parameters()) {
        keys.emplace_back(parameter.key);
    }
    const Place values = top.at("values");
    values.expectObject(keys);
    for (const auto& [key, value] : values.value().items()) {
        const Parameter& parameter = *findParameter(key);
        file.values.emplace(parameter.id, readParameter(values.at(key), parameter));
    }
    return file;
}

std::string settingsText(const SettingsFile& file) {
    ordered_json whole{{"quorvel", kVersion}};
    if (!file.name.empty()) {
        whole["name"] = file.name;
    }
    if (file.rate) {
        whole["rate"] = file.rate->seconds == 1 ? numberJson(file.rate->frames) : ordered_json(rateText(*file.rate));
    }
    ordered_json values = ordered_json::object();
    for (const Parameter& parameter : parameters()) {
        const auto found = file.values.find(parameter.id);
        if (found == file.values.end()) {
            continue;
        }
        if (const auto* const frames = std::get_if<Keyframes>(&found->second)) {
            values[parameter.key] = keyframesJson(parameter, *frames);
        } else if (const auto* const layer = std::get_if<std::string>(&found->second)) {
            values[parameter.key] = *layer;
        } else {
            values[parameter.key] = valueJson(parameter, std::get<double>(found->second));
        }
    }
    whole["values"] = values;
    return whole.dump(4) + "\n";
}

std::int32_t fixedDegrees(double degrees) {
    const auto [lowest, highest] = rangeOf(parameter(ParameterId::CurvePhase));
    return static_cast<std::int32_t>(std::lround(std::clamp(degrees, lowest, highest) * 65536));
}

}  // namespace quorvel::settings
