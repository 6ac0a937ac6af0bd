// SPDX-License-Identifier: MIT
#include "cli/video/completeness.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <fstream>
#include <iterator>
#include <numeric>
#include <optional>
#include <string>
#include <system_error>

namespace quorvel::cli {
namespace {

/// The first bytes of a part of the file; zeros after the file's end.
using Head = std::array<std::uint8_t, 27 + 255>;

std::uint64_t bigEndian(const Head& head, std::size_t from, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = from; i < from + count; ++i) {
        value = value << 8U | head[i];
    }
    return value;
}

std::uint64_t littleEndian(const Head& head, std::size_t from, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = from + count; i > from; --i) {
        value = value << 8U | head[i - 1];
    }
    return value;
}

/// The size of a box with its head; nothing when it reaches to the file's end or is no box.
std::optional<std::uint64_t> boxSize(const Head& head) {
    constexpr std::uint64_t headBytes = 8;
    const bool named = std::all_of(head.begin() + 4, head.begin() + headBytes,
                                   [](std::uint8_t letter) { return letter >= ' ' && letter <= '~'; });
    if (!named) {
        return std::nullopt;
    }
    const std::uint64_t size = bigEndian(head, 0, 4);
    const std::uint64_t whole = size == 1 ? bigEndian(head, headBytes, 8) : size;
    return whole < headBytes ? std::nullopt : std::optional(whole);
}

/// The size of an EBML element with its head; nothing when it is unknown.
std::optional<std::uint64_t> elementSize(const Head& head) {
    constexpr std::uint64_t header = 0x1A45DFA3;
    constexpr std::uint64_t segment = 0x18538067;
    constexpr std::size_t idBytes = 4;
    const std::uint64_t id = bigEndian(head, 0, idBytes);
    if (id != header && id != segment) {
        return std::nullopt;
    }
    // The size begins with as many zero bits as it has further bytes.
    const auto sizeBytes = static_cast<std::size_t>(std::countl_zero(head[idBytes])) + 1;
    if (sizeBytes > 8) {
        return std::nullopt;
    }
    const std::uint64_t unknown = (std::uint64_t{1} << (7 * sizeBytes)) - 1;
    const std::uint64_t size = bigEndian(head, idBytes, sizeBytes) & unknown;
    return size == unknown ? std::nullopt : std::optional(idBytes + sizeBytes + size);
}

/// The size of a RIFF chunk with its head; nothing when it is no such chunk or has no size yet.
std::optional<std::uint64_t> chunkSize(const Head& head) {
    constexpr std::uint64_t riff = 0x52494646;
    const std::uint64_t size = littleEndian(head, 4, 4);
    const bool known = size != 0 && size != 0xFFFFFFFF;
    return bigEndian(head, 0, 4) == riff && known ? std::optional(8 + size + size % 2) : std::nullopt;
}

/// The size of a page of Ogg with its head; nothing when it is none.
std::optional<std::uint64_t> pageSize(const Head& head) {
    constexpr std::uint64_t capture = 0x4F676753;
    constexpr std::size_t fixed = 27;
    if (bigEndian(head, 0, 4) != capture) {
        return std::nullopt;
    }
    const std::size_t segments = head[fixed - 1];
    const auto first = head.begin() + fixed;
    return std::accumulate(first, first + static_cast<std::ptrdiff_t>(segments), std::uint64_t{fixed + segments});
}

/// The size of the head or of a tag of Flash Video, with the size that follows it.
std::optional<std::uint64_t> tagSize(const Head& head) {
    constexpr std::uint64_t signature = 0x464C56;
    constexpr std::uint64_t tagHead = 11;
    constexpr std::uint64_t sizeAfter = 4;
    if (bigEndian(head, 0, 3) == signature) {
        return bigEndian(head, 5, 4) + sizeAfter;
    }
    constexpr std::uint8_t kinds = 0x1F;
    const std::uint8_t kind = head[0] & kinds;
    const bool known = kind == 8 || kind == 9 || kind == 18;  // sound, pictures and data
    return known ? std::optional(tagHead + bigEndian(head, 1, 3) + sizeAfter) : std::nullopt;
}

/// The size of an object of Windows Media with its head; nothing when it is unknown.
std::optional<std::uint64_t> objectSize(const Head& head) {
    const std::uint64_t size = littleEndian(head, 16, 8);
    return size < 24 ? std::nullopt : std::optional(size);
}

/// The size of a key, length and value of MXF; nothing when it is none.
std::optional<std::uint64_t> tripletSize(const Head& head) {
    constexpr std::uint64_t key = 0x060E2B34;
    constexpr std::size_t keyBytes = 16;
    constexpr std::uint8_t isLong = 0x80;
    if (bigEndian(head, 0, 4) != key) {
        return std::nullopt;
    }
    const std::uint8_t first = head[keyBytes];
    if (first < isLong) {
        return keyBytes + 1 + first;
    }
    const std::size_t bytes = first - isLong;
    return bytes == 0 || bytes > 8 ? std::nullopt
                                   : std::optional(keyBytes + 1 + bytes + bigEndian(head, keyBytes + 1, bytes));
}

/// The size of all whole packets of a transport stream; of the plain 188 bytes, or with a time before each.
std::optional<std::uint64_t> packetSize(const Head& head) {
    constexpr std::uint8_t sync = 0x47;
    constexpr std::uint64_t plain = 188;
    constexpr std::uint64_t timed = 192;
    if (head[0] == sync && head[plain] == sync) {
        return plain;
    }
    return head[4] == sync && head[timed + 4] == sync ? std::optional(timed) : std::nullopt;
}

struct Kind {
    std::string_view name;  ///< among those that FFmpeg gives the format
    std::optional<std::uint64_t> (*sizeOf)(const Head& head);
};
constexpr Kind kKinds[] = {{"mp4", boxSize}, {"matroska", elementSize}, {"avi", chunkSize},  {"ogg", pageSize},
                           {"flv", tagSize}, {"asf", objectSize},       {"mxf", tripletSize}};

bool names(std::string_view format, std::string_view name) {
    return fmt::format(",{},", format).find(fmt::format(",{},", name)) != std::string::npos;
}

Head headAt(std::ifstream& stream, std::uint64_t from) {
    Head head{};
    stream.clear();
    stream.seekg(static_cast<std::streamoff>(from));
    stream.read(reinterpret_cast<char*>(head.data()), head.size());
    return head;
}

/// What lacks of a row of packets that are all of one size.
std::uint64_t missingOfPackets(std::ifstream& stream, std::uint64_t bytes) {
    const auto size = packetSize(headAt(stream, 0));
    return size && bytes % *size != 0 ? *size - bytes % *size : 0;
}

}  // namespace

std::uint64_t missingBytes(const std::filesystem::path& file, std::string_view format) {
    const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                   [&](const Kind& candidate) { return names(format, candidate.name); });
    std::error_code error;
    const std::uint64_t bytes = std::filesystem::file_size(file, error);
    std::ifstream stream(file, std::ios::binary);
    if (error || !stream) {
        return 0;
    }
    if (format == "mpegts") {
        return missingOfPackets(stream, bytes);
    }
    if (format == "gif") {
        constexpr std::uint8_t trailer = 0x3B;
        return bytes > 0 && headAt(stream, bytes - 1)[0] != trailer ? 1 : 0;
    }
    if (kind == std::end(kKinds)) {
        return 0;
    }
    std::uint64_t end = 0;
    while (end < bytes) {
        const auto size = kind->sizeOf(headAt(stream, end));
        if (!size || *size > std::uint64_t{1} << 62U) {
            return 0;
        }
        end += *size;
    }
    return end - std::min(end, bytes);
}

}  // namespace quorvel::cli
