// SPDX-License-Identifier: MIT
#include "cli/video/video_settings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "cli/exit_status.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

constexpr std::array<std::string_view, 7> kEndings{".mp4", ".m4v", ".mov", ".mkv", ".webm", ".nut", ".y4m"};
constexpr double kHighestRate = 1000;
/// Of a rate written with a decimal point.
constexpr int kRateDenominator = 1000;

}  // namespace

FrameRate parseFrameRate(const std::string& option, const std::string& text) {
    const auto slash = text.find('/');
    FrameRate rate{0, 1};
    if (slash != std::string::npos) {
        rate.numerator = parseInteger(text.substr(0, slash)).value_or(0);
        rate.denominator = parseInteger(text.substr(slash + 1)).value_or(0);
    } else if (const auto number = parseNumber(text); number && *number > 0 && *number <= kHighestRate) {
        const bool whole = *number == std::floor(*number);
        rate.denominator = whole ? 1 : kRateDenominator;
        rate.numerator = static_cast<int>(std::lround(*number * rate.denominator));
    }
    if (rate.numerator <= 0 || rate.denominator <= 0 || rate.numerator / kHighestRate > rate.denominator) {
        throw badValue(option, text, "frames a second above 0 and at most 1000, such as 25 or 30000/1001");
    }
    return rate;
}

const std::vector<std::string>& videoCodecs() {
    static const std::vector<std::string> names{"h264", "h265", "prores4444", "ffv1", "png", "qtrle", "vp9"};
    return names;
}

bool isVideoName(const std::filesystem::path& file) {
    const std::string ending = lowerCase(file.extension().string());
    return std::find(kEndings.begin(), kEndings.end(), ending) != kEndings.end();
}

std::string videoEndings() {
    std::string list;
    for (const std::string_view ending : kEndings) {
        list += (list.empty() ? "" : ", ") + std::string(ending);
    }
    return list;
}

}  // namespace quorvel::cli
