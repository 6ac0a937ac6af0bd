// SPDX-License-Identifier: MIT
#include "cli/video/completeness.h"

#include <algorithm>
#include <array>
#include <bit>
#include <fstream>
#include <optional>
#include <system_error>

namespace quorvel::cli {
namespace {

/// The first bytes of a part of the file; zeros after the file's end.
using Head = std::array<std::uint8_t, 16>;

std::uint64_t bigEndian(const Head& head, std::size_t from, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = from; i < from + count; ++i) {
        value = value << 8U | head[i];
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
    const std::uint64_t size = std::uint64_t{head[4]} | std::uint64_t{head[5]} << 8U | std::uint64_t{head[6]} << 16U |
                               std::uint64_t{head[7]} << 24U;
    const bool known = size != 0 && size != 0xFFFFFFFF;
    return bigEndian(head, 0, 4) == riff && known ? std::optional(8 + size + size % 2) : std::nullopt;
}

}  // namespace

std::uint64_t missingBytes(const std::filesystem::path& file, std::string_view format) {
    const auto has = [&](std::string_view name) { return format.find(name) != std::string_view::npos; };
    const auto sizeOf = has("mp4") ? boxSize : has("matroska") ? elementSize : format == "avi" ? chunkSize : nullptr;
    std::error_code error;
    const std::uint64_t bytes = std::filesystem::file_size(file, error);
    std::ifstream stream(file, std::ios::binary);
    if (sizeOf == nullptr || error || !stream) {
        return 0;
    }
    std::uint64_t end = 0;
    while (end < bytes) {
        Head head{};
        stream.clear();
        stream.seekg(static_cast<std::streamoff>(end));
        stream.read(reinterpret_cast<char*>(head.data()), head.size());
        const auto size = sizeOf(head);
        if (!size || *size > std::uint64_t{1} << 62U) {
            return 0;
        }
        end += *size;
    }
    return end - std::min(end, bytes);
}

}  // namespace quorvel::cli
