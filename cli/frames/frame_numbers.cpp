// SPDX-License-Identifier: MIT
#include "cli/frames/frame_numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "cli/exit_status.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

/// The number at the beginning of `text`, which is taken off it. Nothing when there is none or it is out of range.
std::optional<int> takeNumber(std::string_view& text, int lowest) {
    const std::size_t sign = text.starts_with('-') ? 1 : 0;
    const std::size_t end = std::min(text.find_first_not_of("0123456789", sign), text.size());
    const auto number = parseInteger(text.substr(0, end));
    text.remove_prefix(end);
    return number && *number >= lowest && *number <= kHighestFrame ? number : std::nullopt;
}

}  // namespace

FrameNumbers FrameNumbers::parse(const std::string& option, const std::string& text) {
    const auto refused = [&] { return badValue(option, text, "frames such as 7, 1-10, 1-10x3 or 1-5,8"); };
    FrameNumbers numbers;
    numbers.option_ = option;
    numbers.text_ = text;
    for (std::string_view rest = text;; rest.remove_prefix(1)) {
        Range range{0, 0, 1};
        const auto first = takeNumber(rest, kLowestFrame);
        if (!first) {
            throw refused();
        }
        range.first = range.last = *first;
        if (rest.starts_with('-')) {
            rest.remove_prefix(1);
            const auto last = takeNumber(rest, kLowestFrame);
            if (!last || *last < *first) {
                throw refused();
            }
            range.last = *last;
            if (rest.starts_with('x') || rest.starts_with(':')) {
                rest.remove_prefix(1);
                const auto step = takeNumber(rest, 1);
                if (!step) {
                    throw refused();
                }
                range.step = *step;
            }
        }
        numbers.ranges_.push_back(range);
        if (rest.empty()) {
            return numbers;
        }
        if (rest[0] != ',') {
            throw refused();
        }
    }
}

FrameNumbers FrameNumbers::all() {
    FrameNumbers numbers;
    numbers.ranges_.push_back({kLowestFrame, kHighestFrame, 1});
    return numbers;
}

std::vector<int> FrameNumbers::within(int first, int last, std::size_t most) const {
    std::vector<int> frames;
    for (const Range& range : ranges_) {
        // The first frame of the range that is not before `first`.
        const int skipped = first > range.first ? (first - range.first + range.step - 1) / range.step : 0;
        for (std::int64_t frame = range.first + std::int64_t{skipped} * range.step; frame <= std::min(range.last, last);
             frame += range.step) {
            if (frames.size() == most) {
                throw badValue(option_, text_, fmt::format("at most {} frames", most));
            }
            frames.push_back(static_cast<int>(frame));
        }
    }
    std::sort(frames.begin(), frames.end());
    frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
    return frames;
}

bool FrameNumbers::contains(int frame) const {
    return std::any_of(ranges_.begin(), ranges_.end(), [&](const Range& range) {
        return frame >= range.first && frame <= range.last && (frame - range.first) % range.step == 0;
    });
}

int FrameNumbers::last() const {
    return std::max_element(ranges_.begin(), ranges_.end(),
                            [](const Range& one, const Range& other) { return one.last < other.last; })
        ->last;
}

std::string framesText(const std::vector<int>& frames) {
    std::string text;
    for (std::size_t i = 0; i < frames.size();) {
        std::size_t end = i + 1;
        while (end < frames.size() && frames[end] == frames[end - 1] + 1) {
            ++end;
        }
        text += text.empty() ? "" : ", ";
        text += end - i == 1 ? fmt::format("{}", frames[i]) : fmt::format("{}-{}", frames[i], frames[end - 1]);
        i = end;
    }
    return text;
}

}  // namespace quorvel::cli
