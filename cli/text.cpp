// SPDX-License-Identifier: MIT
#include "cli/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace quorvel::cli {
namespace {

/// The code point that begins at `text[0]` and its length in bytes.
struct CodePoint {
    char32_t value;
    std::size_t length;
};

/// Nothing when the bytes are not UTF-8: cut short, longer than necessary, a surrogate, or beyond the last code point.
std::optional<CodePoint> firstCodePoint(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    if (first < 0x80) {
        return CodePoint{first, 1};
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) {
        return std::nullopt;
    }
    char32_t value = first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) {
            return std::nullopt;
        }
        value = value << 6U | (byte(i) & 0x3FU);
    }
    const bool tooLong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return tooLong || surrogate || value > 0x10FFFF ? std::nullopt : std::optional(CodePoint{value, length});
}

/// Control characters, line and paragraph separators, and the marks that turn the direction of writing.
bool steersTerminal(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x200E || c == 0x200F || (c >= 0x2028 && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

std::string numberText(double value) {
    std::string shown = fmt::format("{:.5f}", value);
    shown.erase(shown.find_last_not_of('0') + 1);
    if (shown.back() == '.') {
        shown.pop_back();
    }
    return shown == "-0" ? "0" : shown;
}

std::string hexText(std::uint32_t word) {
    return fmt::format("0x{:08X}", word);
}

std::string printable(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const auto next = firstCodePoint(text);
        const std::size_t length = next ? next->length : 1;
        if (!next || (next->value < 0x80 && steersTerminal(next->value))) {
            shown += fmt::format("\\x{:02X}", static_cast<unsigned char>(text[0]));
        } else if (steersTerminal(next->value)) {
            shown += fmt::format("\\u{:04X}", static_cast<std::uint32_t>(next->value));
        } else {
            shown += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return shown;
}

std::string wrapped(std::string_view text, std::size_t width) {
    std::string result;
    for (bool more = true; more;) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string line(text.substr(0, end));
        more = end < text.size();
        text.remove_prefix(more ? end + 1 : end);
        const std::size_t indent = std::min(line.find_first_not_of(' '), line.size());
        while (line.size() > width) {
            std::size_t space = line.rfind(' ', width);
            if (space == std::string::npos || space <= indent) {
                space = line.find(' ', std::max(width, indent));
            }
            if (space == std::string::npos) {
                break;
            }
            result += line.substr(0, space) + '\n';
            line = std::string(indent, ' ') + line.substr(space + 1);
        }
        result += line;
        result += more ? "\n" : "";
    }
    return result;
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
