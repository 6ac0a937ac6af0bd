// SPDX-License-Identifier: MIT
// Reads from untrusted files: every access is checked against the end of the file.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace quorvel::host {

/// A damaged file. The message names the damaged part, not the file.
class FormatError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Integers, strings and ranges at offsets into borrowed bytes, in one byte order.
class ByteReader {
public:
    ByteReader(std::span<const std::byte> bytes, std::endian order) : bytes_(bytes), order_(order) {}

    std::uint64_t size() const { return bytes_.size(); }

    /// `size` bytes at `offset`. Throws FormatError naming `what` when they extend past the end of the file.
    std::span<const std::byte> range(std::uint64_t offset, std::uint64_t size, std::string_view what) const {
        if (offset > bytes_.size() || size > bytes_.size() - offset) {
            throw FormatError(std::string(what) + " lies outside the file");
        }
        return bytes_.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size));
    }

    /// One integer at `offset`. Throws like `range`.
    template <std::unsigned_integral Integer>
    Integer at(std::uint64_t offset, std::string_view what) const {
        const auto bytes = range(offset, sizeof(Integer), what);
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < sizeof(Integer); ++i) {
            const std::size_t shift = 8 * (order_ == std::endian::little ? i : sizeof(Integer) - 1 - i);
            value |= std::to_integer<std::uint64_t>(bytes[i]) << shift;
        }
        return static_cast<Integer>(value);
    }
    std::uint8_t u8(std::uint64_t offset, std::string_view what) const { return at<std::uint8_t>(offset, what); }
    std::uint16_t u16(std::uint64_t offset, std::string_view what) const { return at<std::uint16_t>(offset, what); }
    std::uint32_t u32(std::uint64_t offset, std::string_view what) const { return at<std::uint32_t>(offset, what); }
    std::uint64_t u64(std::uint64_t offset, std::string_view what) const { return at<std::uint64_t>(offset, what); }

    /// `length` characters.
    std::string text(std::uint64_t offset, std::uint64_t length, std::string_view what) const {
        const auto bytes = range(offset, length, what);
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }

    /// Characters up to a zero byte. Throws FormatError for more than kMaximumName of them.
    std::string zeroTerminated(std::uint64_t offset, std::string_view what) const {
        std::string result;
        for (char letter; (letter = static_cast<char>(u8(offset, what))) != '\0'; ++offset) {
            if (result.size() == kMaximumName) {
                throw FormatError(std::string(what) + " is longer than " + std::to_string(kMaximumName) + " bytes");
            }
            result += letter;
        }
        return result;
    }

private:
    static constexpr std::size_t kMaximumName = 4096;
    std::span<const std::byte> bytes_;
    std::endian order_;
};

}  // namespace quorvel::host
