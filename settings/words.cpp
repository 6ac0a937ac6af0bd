// SPDX-License-Identifier: MIT
#include "settings/words.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>

namespace quorvel::settings {
namespace {

/// A leading plus sign, which std::from_chars does not take.
std::string_view withoutPlus(std::string_view text) {
    return text.size() > 1 && text[0] == '+' && text[1] != '-' ? text.substr(1) : text;
}

template <typename Number>
std::optional<Number> parseWhole(std::string_view text) {
    text = withoutPlus(text);
    Number value{};
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stopped != end) {
        return std::nullopt;
    }
    return value;
}

/// How many letters have to be changed, added, dropped or swapped with their neighbour to make `b` of `a`.
std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                steps[i][j] = i + j;
                continue;
            }
            const std::size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
            steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + change});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
            }
        }
    }
    return steps[a.size()][b.size()];
}

}  // namespace

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower) {
        if (letter >= 'A' && letter <= 'Z') {
            letter = static_cast<char>(letter - 'A' + 'a');
        }
    }
    return lower;
}

std::string kebabCase(std::string_view text) {
    std::string kebab;
    bool gap = false;
    for (const char letter : lowerCase(text)) {
        if ((letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9')) {
            if (gap && !kebab.empty()) {
                kebab += '-';
            }
            kebab += letter;
            gap = false;
        } else {
            gap = true;
        }
    }
    return kebab;
}

std::optional<double> parseNumber(std::string_view text) {
    const auto value = parseWhole<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<int> parseInteger(std::string_view text) {
    return parseWhole<int>(text);
}

std::string listText(const std::vector<std::string>& entries) {
    std::string list;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        list += i == 0 ? "" : i + 1 == entries.size() ? " or " : ", ";
        list += entries[i];
    }
    return list;
}

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
    constexpr std::size_t longest = 64;
    if (word.size() > longest) {
        return {};
    }
    std::string best;
    // At most one letter in three may differ.
    std::size_t bestDistance = word.size() / 3 + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t distance = editDistance(lowerCase(word), candidate);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = candidate;
        }
    }
    return best;
}

}  // namespace quorvel::settings
