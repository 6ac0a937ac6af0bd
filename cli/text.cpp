// SPDX-License-Identifier: MIT
#include "cli/text.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace quorvel::cli {
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

std::string numberText(double value) {
    char text[64];
    (void)std::snprintf(text, sizeof text, "%.5f", value);
    std::string shown = text;
    shown.erase(shown.find_last_not_of('0') + 1);
    if (shown.back() == '.') {
        shown.pop_back();
    }
    return shown == "-0" ? "0" : shown;
}

std::string hexText(std::uint32_t word) {
    char text[16];
    (void)std::snprintf(text, sizeof text, "0x%08X", word);
    return text;
}

std::string codeText(std::int32_t code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char letter = static_cast<char>((static_cast<std::uint32_t>(code) >> shift) & 0xFFU);
        text += letter >= ' ' && letter <= '~' ? letter : '?';
    }
    return text;
}

}  // namespace quorvel::cli
