// SPDX-License-Identifier: MIT
#include "cli/moving_values.h"

#include <algorithm>
#include <variant>

#include "cli/exit_status.h"
#include "cli/parameter_text.h"

namespace quorvel::cli {

void checkMoving(const settings::SettingsFile& moving, const SettingsOption& given, const FramePlan& plan,
                 bool hasFrames, bool hasRate) {
    if (!moving.moves()) {
        return;
    }
    if (plan.inputName() == "-") {
        throw UsageError("--settings {}: its values move, so the input must be a file", given.text());
    }
    if (plan.isStill() && !hasFrames) {
        throw UsageError("--settings {}: its values move, so a picture needs --frames, such as 1-50", given.text());
    }
    if (plan.isStill() && plan.isVideoOutput() && !hasRate && !given.values().rate) {
        throw UsageError("--settings {}: its values move, so a video of a picture needs --rate", given.text());
    }
    if (!plan.isVideo() && !hasRate && !given.values().rate && moving.movesIn(settings::Keyframes::Unit::Seconds)) {
        throw Failure("{}: rate: missing; keys at times need the frames a second, such as 25", given.file().string());
    }
}

bool worksOnAlpha(const host::Host& host, const host::ParameterValues& values, const settings::SettingsFile& moving) {
    if (const auto channels = moving.values.find(ParameterId::Channels); channels != moving.values.end()) {
        const auto& keys = std::get<settings::Keyframes>(channels->second).keys;
        return std::any_of(keys.begin(), keys.end(),
                           [](const settings::Key& key) { return static_cast<int>(key.value) == kAlpha; });
    }
    return std::any_of(host.parameters().begin(), host.parameters().end(), [&](const host::Parameter& parameter) {
        const quorvel::Parameter* described = effectParameter(parameter);
        return described != nullptr && described->id == ParameterId::Channels &&
               values.at(parameter.index).u.pd.value == kAlpha + 1;
    });
}

}  // namespace quorvel::cli
