// SPDX-License-Identifier: MIT
#include "cli/frames/file_pattern.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "cli/exit_status.h"
#include "cli/frames/frame_numbers.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;

/// A place for a number within a name.
struct Place {
    std::size_t begin, end;
    int digits;
};

constexpr int kMostDigits = 16;

/// `%d`, `%4d` or `%04d` that begins at `at`.
std::optional<Place> percentPlace(std::string_view name, std::size_t at) {
    const std::size_t end = std::min(name.find_first_not_of("0123456789", at + 1), name.size());
    const std::string_view width = name.substr(at + 1, end - at - 1);
    const int digits = width.empty() ? 1 : std::max(parseInteger(width).value_or(kMostDigits + 1), 1);
    if (end == name.size() || name[end] != 'd' || digits > kMostDigits) {
        return std::nullopt;
    }
    return Place{at, end + 1, digits};
}

std::optional<Place> lastPlace(std::string_view name) {
    std::optional<Place> last;
    for (std::size_t i = 0; i < name.size();) {
        std::optional<Place> place;
        if (name[i] == '#' || name[i] == '@') {
            const std::size_t end = std::min(name.find_first_not_of(name[i], i), name.size());
            if (end - i <= std::size_t{kMostDigits}) {
                place = Place{i, end, static_cast<int>(end - i)};
            }
        } else if (name[i] == '%') {
            place = percentPlace(name, i);
        }
        last = place ? place : last;
        i = place ? place->end : i + 1;
    }
    return last;
}

}  // namespace

std::optional<FilePattern> FilePattern::parse(const fs::path& file) {
    const std::string name = file.filename().string();
    const auto place = lastPlace(name);
    if (!place) {
        return std::nullopt;
    }
    FilePattern pattern;
    pattern.text_ = file;
    pattern.folder_ = file.parent_path();
    pattern.before_ = name.substr(0, place->begin);
    pattern.after_ = name.substr(place->end);
    pattern.digits_ = place->digits;
    return pattern;
}

fs::path FilePattern::file(int frame) const {
    // A minus sign takes the place of no digit: -5 with four digits is -0005.
    const std::string digits = fmt::format("{:0{}}", std::abs(frame), digits_);
    return folder_ / (before_ + (frame < 0 ? "-" : "") + digits + after_);
}

std::vector<int> FilePattern::existing() const {
    std::vector<int> frames;
    std::error_code error;
    const fs::path folder = folder_.empty() ? fs::path(".") : folder_;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.size() <= before_.size() + after_.size() || !name.starts_with(before_) || !name.ends_with(after_)) {
            continue;
        }
        const auto frame =
            parseInteger(std::string_view(name).substr(before_.size(), name.size() - before_.size() - after_.size()));
        // The same number may be spelled in several ways, of which one is this pattern's.
        if (frame && *frame >= kLowestFrame && *frame <= kHighestFrame && file(*frame).filename() == name) {
            frames.push_back(*frame);
        }
    }
    if (error) {
        throw Failure("{}: {}", text_.string(), error.message());
    }
    std::sort(frames.begin(), frames.end());
    return frames;
}

}  // namespace quorvel::cli
