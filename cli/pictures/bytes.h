// SPDX-License-Identifier: MIT
// Numbers in the byte order of a file format, in files held in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quorvel::cli {

using Bytes = std::vector<unsigned char>;

/// The `count` lowest bytes of `value`, the highest first.
inline void appendBig(Bytes& to, std::uint64_t value, int count) {
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
        to.push_back(static_cast<unsigned char>(value >> shift));
    }
}

/// The `count` lowest bytes of `value`, the lowest first.
inline void appendLittle(Bytes& to, std::uint64_t value, int count) {
    for (int shift = 0; shift < 8 * count; shift += 8) {
        to.push_back(static_cast<unsigned char>(value >> shift));
    }
}

/// The number in `count` bytes from `at`; throws std::out_of_range beyond the end.
inline std::uint32_t readBig(const Bytes& from, std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        value = value << 8 | from.at(at + static_cast<std::size_t>(i));
    }
    return value;
}

inline std::uint32_t readLittle(const Bytes& from, std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i) {
        value = value << 8 | from.at(at + static_cast<std::size_t>(i));
    }
    return value;
}

inline void append(Bytes& to, const Bytes& from, std::size_t begin, std::size_t end) {
    to.insert(to.end(), from.begin() + static_cast<std::ptrdiff_t>(begin),
              from.begin() + static_cast<std::ptrdiff_t>(end));
}

}  // namespace quorvel::cli
