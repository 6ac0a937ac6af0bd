// SPDX-License-Identifier: MIT
#include "settings/after_effects_text.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <utility>

#include "settings/parameter_words.h"
#include "settings/words.h"

namespace quorvel::settings {
namespace {

constexpr char kFirstLine[] = "Adobe After Effects 8.0 Keyframe Data";
constexpr char kLastLine[] = "End of Keyframe Data";
constexpr char kRate[] = "Units Per Second";
/// Of one text.
constexpr double kMostFrames = 1'000'000;

std::vector<std::string> cellsOf(std::string_view line) {
    std::vector<std::string> cells;
    for (bool more = true; more;) {
        const std::size_t end = std::min(line.find('\t'), line.size());
        cells.emplace_back(line.substr(0, end));
        more = end < line.size();
        line.remove_prefix(more ? end + 1 : end);
    }
    return cells;
}

/// "Grid Width #6" -> "Grid Width".
std::string withoutNumber(const std::string& name) {
    const std::size_t sign = name.rfind(" #");
    return sign != std::string::npos && parseInteger(name.substr(sign + 2)) ? name.substr(0, sign) : name;
}

const Parameter* parameterNamed(const std::string& name) {
    const auto all = parameters();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const Parameter& one) { return kebabCase(one.name) == kebabCase(name); });
    return found != all.end() ? &*found : nullptr;
}

/// Reads one text.
class Reader {
public:
    Reader(std::string origin, std::string effect, int start)
        : origin_(std::move(origin)), effect_(std::move(effect)), start_(start) {}

    ImportedKeyframes read(std::string_view text);

private:
    /// The rows of one property.
    struct Rows {
        const Parameter* parameter = nullptr;  ///< null where the property is none of the effect's
        std::map<int, double> keys;
        std::optional<double> still;  ///< the value of a property without keys
        bool percent = false;         ///< the values are hundredths
    };

    [[noreturn]] void refuse(const std::string& why) const {
        throw SettingsError(origin_ + ": line " + std::to_string(line_) + ": " + why);
    }
    void readLine(const std::string& line);
    void begin(const std::vector<std::string>& cells);
    void readRow(const std::vector<std::string>& cells);
    void store();
    double checked(double value) const;
    void note(const std::string& text);

    std::string origin_, effect_;
    int start_;
    int line_ = 0;
    bool inExpression_ = false;
    bool ended_ = false;
    std::string instance_;         ///< the effect that is read, with its number
    std::set<std::string> noted_;  ///< each once
    Rows rows_;
    ImportedKeyframes result_;
};

void Reader::note(const std::string& text) {
    if (noted_.insert(text).second) {
        result_.notes.push_back(origin_ + ": " + text);
    }
}

ImportedKeyframes Reader::read(std::string_view text) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    if (text.starts_with(mark)) {
        text.remove_prefix(mark.size());
    }
    while (!text.empty() && !ended_) {
        const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
        const std::string line(text.substr(0, end));
        const bool both = text.substr(end).starts_with("\r\n");
        text.remove_prefix(std::min(end + (both ? 2 : 1), text.size()));
        ++line_;
        if (line_ == 1 && (!line.starts_with("Adobe After Effects ") || !line.ends_with(" Keyframe Data"))) {
            throw SettingsError(origin_ + ": expected keyframes from After Effects, beginning with \"" + kFirstLine +
                                "\"");
        }
        if (line_ > 1) {
            readLine(line);
        }
    }
    if (!ended_) {
        throw SettingsError(origin_ + ": is cut off; expected \"" + kLastLine + "\" at its end");
    }
    if (instance_.empty()) {
        throw SettingsError(origin_ + ": has no keyframes of the effect " + effect_);
    }
    return std::move(result_);
}

void Reader::readLine(const std::string& line) {
    if (inExpression_ || line == "Expression Data") {
        inExpression_ = line != "End of Expression Data";
        return;
    }
    if (line.find_first_not_of("\t ") == std::string::npos) {
        return;
    }
    const std::vector<std::string> cells = cellsOf(line);
    if (!cells[0].empty()) {
        store();
        ended_ = line.starts_with(kLastLine);
        if (!ended_) {
            begin(cells);
        }
    } else if (cells.size() > 2 && cells[1] == kRate) {
        result_.settings.rate = parseRate(cells[2]);
        if (!result_.settings.rate) {
            refuse(std::string(kRate) + ": " + cells[2] + ": expected frames a second, above 0 and at most 1000");
        }
    } else if (rows_.parameter != nullptr && cells.size() > 1 && cells[1] != "Frame") {
        readRow(cells);
    }
}

void Reader::begin(const std::vector<std::string>& cells) {
    if (cells[0] != "Effects" || cells.size() < 3 || withoutNumber(cells[1]) != effect_) {
        note("left out: " + (cells[0] == "Effects" && cells.size() > 1 ? cells[1] : cells[0]));
        return;
    }
    if (instance_.empty()) {
        instance_ = cells[1];
    }
    if (cells[1] != instance_) {
        note("left out: " + cells[1] + ", after " + instance_);
        return;
    }
    const Parameter* const parameter = parameterNamed(withoutNumber(cells[2]));
    if (parameter == nullptr || parameter->kind == ParameterKind::Layer) {
        note("left out: " + withoutNumber(cells[2]) +
             (parameter == nullptr ? ", which is no parameter of the effect" : ", since the text names no file"));
        return;
    }
    rows_.parameter = parameter;
}

void Reader::readRow(const std::vector<std::string>& cells) {
    const std::string given = cells.size() > 2 ? cells[2] : "";
    const auto value = parseNumber(given);
    if (!value) {
        refuse(std::string(rows_.parameter->name) + ": \"" + given + "\": expected a number");
    }
    // A fraction may be written as it is shown, in per cent.
    rows_.percent = rows_.percent || (rows_.parameter->unit == ParameterUnit::Fraction && *value > 1);
    const double plain = checked(*value);
    if (cells[1].empty()) {
        rows_.still = plain;
        return;
    }
    const auto frame = parseNumber(cells[1]);
    if (!frame || std::abs(*frame) > kMostFrames * 10) {
        refuse(cells[1] + ": expected a frame's number");
    }
    if (*frame != std::floor(*frame)) {
        note("keys between two frames are moved to the nearest");
    }
    rows_.keys[start_ + static_cast<int>(std::lround(*frame))] = plain;
}

/// The value in a file's units, choices from 0.
double Reader::checked(double value) const {
    const Parameter& parameter = *rows_.parameter;
    const bool choice = parameter.kind == ParameterKind::Choice;
    auto [lowest, highest] = rangeOf(parameter);
    if (choice) {
        lowest += 1;
        highest += 1;
    } else if (rows_.percent) {
        highest *= 100;
    }
    if (!(value >= lowest && value <= highest) || (choice && value != std::floor(value))) {
        refuse(std::string(parameter.name) + ": " + exactText(value) + ": expected " + exactText(lowest) + " to " +
               exactText(highest));
    }
    return choice ? value - 1 : value;
}

void Reader::store() {
    if (rows_.parameter != nullptr) {
        const Parameter& parameter = *rows_.parameter;
        const double unit = rows_.percent ? 100 : 1;
        if (!rows_.keys.empty()) {
            Keyframes keyframes;
            const Ease ease = isNumber(parameter) ? Ease{} : Ease{Ease::Kind::Hold};
            for (const auto& [frame, value] : rows_.keys) {
                keyframes.keys.push_back({static_cast<double>(frame), value / unit, ease});
            }
            result_.settings.values[parameter.id] = keyframes;
        } else if (rows_.still) {
            const double value = *rows_.still / unit;
            result_.settings.values[parameter.id] = parameter.kind == ParameterKind::Count ? std::trunc(value) : value;
        }
    }
    rows_ = {};
}

/// The frames at which After Effects needs a key to show the same value at each frame.
std::vector<int> framesNeeded(const Keyframes& keyframes, const std::vector<double>& at) {
    std::set<int> frames;
    for (std::size_t i = 0; i < at.size(); ++i) {
        const int first = static_cast<int>(std::floor(at[i]));
        const bool whole = at[i] == first && (i + 1 == at.size() || at[i + 1] == std::floor(at[i + 1]));
        const int last = i + 1 == at.size() ? static_cast<int>(std::ceil(at[i])) : static_cast<int>(at[i + 1]);
        const Ease::Kind kind = keyframes.keys[i].toNext.kind;
        frames.insert(first);
        if (whole && kind == Ease::Kind::Hold && i + 1 < at.size()) {
            frames.insert(last - 1);
        } else if (!whole || kind == Ease::Kind::Curve) {
            for (int frame = first; frame <= last; ++frame) {
                frames.insert(frame);
            }
        }
    }
    return {frames.begin(), frames.end()};
}

}  // namespace

ImportedKeyframes parseAfterEffectsKeyframes(std::string_view text, const std::string& origin,
                                             const std::string& effect, int start) {
    return Reader(origin, effect, start).read(text);
}

std::string afterEffectsKeyframes(const SettingsFile& file, const AfterEffectsNames& names, const Rate& rate, int start,
                                  const std::vector<int>& frames) {
    // The sizes matter to positions alone.
    std::string text = std::string(kFirstLine) + "\n\n\t" + kRate + "\t" + exactText(rate.frames / rate.seconds) +
                       "\n\tSource Width\t100\n\tSource Height\t100\n\tSource Pixel Aspect Ratio\t1\n\tComp Pixel "
                       "Aspect Ratio\t1\n\n";
    for (const Parameter& parameter : parameters()) {
        const auto found = file.values.find(parameter.id);
        const auto number = names.numbers.find(parameter.id);
        if (found == file.values.end() || number == names.numbers.end() || parameter.kind == ParameterKind::Layer) {
            continue;
        }
        text += "Effects\t" + names.effect + " #1\t" + parameter.name + " #" + std::to_string(number->second) +
                "\n\tFrame\t\n";
        const double first = parameter.kind == ParameterKind::Choice ? 1 : 0;
        const auto [lowest, highest] = rangeOf(parameter);
        const auto row = [&, low = lowest, high = highest](const std::string& frame, double value) {
            text += "\t" + frame + "\t" + exactText(std::clamp(value, low, high) + first) + "\n";
        };
        const auto* const keyframes = std::get_if<Keyframes>(&found->second);
        if (keyframes == nullptr) {
            row("", std::get<double>(found->second));
        } else {
            const bool seconds = keyframes->unit == Keyframes::Unit::Seconds;
            std::vector<double> at;
            for (const Key& key : keyframes->keys) {
                // Times begin at the first frame.
                at.push_back(seconds ? start + key.time * rate.frames / rate.seconds : key.time);
            }
            const bool endless = keyframes->before != Outside::Hold || keyframes->after != Outside::Hold;
            if (endless && frames.empty()) {
                throw SettingsError(std::string("values.") + parameter.key +
                                    ": repeats or extends; expected the frames to write");
            }
            if (frames.empty() && at.back() - at.front() > kMostFrames) {
                throw SettingsError(std::string("values.") + parameter.key + ": spans more than 1000000 frames");
            }
            for (const int frame : frames.empty() ? framesNeeded(*keyframes, at) : frames) {
                row(std::to_string(frame - start), keyframes->at(seconds ? rate.secondsOf(frame - start) : frame));
            }
        }
        text += "\n";
    }
    return text + kLastLine + "\n";
}

}  // namespace quorvel::settings
