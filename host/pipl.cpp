// SPDX-License-Identifier: MIT
#include "host/pipl.h"

#include <cstdio>

#include "host/byte_reader.h"
#include "host/host.h"

namespace quorvel::host {
namespace {

constexpr std::uint32_t kMaximumProperties = 256;

/// A four-character code read as an integer of its file's byte order: the first letter is in the highest byte.
std::string letters(std::uint32_t code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += static_cast<char>((code >> shift) & 0xFFU);
    }
    return text;
}

/// One property's data.
class Data {
public:
    Data(ByteReader bytes, std::string what) : bytes_(bytes), what_(std::move(what)) {}

    std::uint32_t number() const { return bytes_.u32(0, what_); }
    std::pair<A_long, A_long> twoShorts() const { return {bytes_.u16(0, what_), bytes_.u16(2, what_)}; }
    std::string pascalString() const { return bytes_.text(1, bytes_.u8(0, what_), what_); }
    std::string zeroTerminated() const { return bytes_.zeroTerminated(0, what_); }

private:
    ByteReader bytes_;
    std::string what_;
};

void take(ResourceDescription& description, const std::string& key, const Data& data) {
    if (key == "kind") {
        description.kind = static_cast<A_long>(data.number());
    } else if (key == "name") {
        description.name = data.pascalString();
    } else if (key == "catg") {
        description.category = data.pascalString();
    } else if (key == "eMNA") {
        description.matchName = data.pascalString();
    } else if (key == "8664" || key == "mi64" || key == "ma64") {
        description.entryPoints[key] = data.zeroTerminated();
    } else if (key == "eSVR") {
        description.apiVersion = data.twoShorts();
    } else if (key == "eVER") {
        description.version = data.number();
    } else if (key == "eGLO") {
        description.outFlags = static_cast<A_long>(data.number());
    } else if (key == "eGL2") {
        description.outFlags2 = static_cast<A_long>(data.number());
    } else if (key == "aeFL") {
        description.reservedInfo = static_cast<A_long>(data.number());
    }
}

std::string hex(A_u_long word) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08X", word);
    return text;
}

std::string kindText(A_long kind) {
    return letters(static_cast<std::uint32_t>(kind));
}

std::string flagsText(A_long word) {
    return hex(static_cast<A_u_long>(word));
}

std::string decimal(A_long value) {
    return std::to_string(value);
}

std::string apiText(const std::pair<A_long, A_long>& version) {
    return std::to_string(version.first) + "." + std::to_string(version.second);
}

std::string same(const std::string& text) {
    return text;
}

template <typename Value, typename Format>
Agreement agreement(std::string what, const std::optional<Value>& described, const Value& reported, Format format) {
    return {std::move(what), described ? format(*described) : "(missing)", format(reported)};
}

}  // namespace

ResourceDescription decodePipl(std::span<const std::byte> bytes, std::endian order) {
    const ByteReader reader(bytes, order);
    // The Windows form starts with a word for the host; then come the list's version and the number of properties.
    std::uint64_t at = order == std::endian::little ? 2 : 0;
    if (reader.u32(at, "the resource's header") != 0) {
        throw FormatError("the resource's list version is not 0");
    }
    const std::uint32_t count = reader.u32(at + 4, "the resource's header");
    if (count > kMaximumProperties) {
        throw FormatError("the resource claims " + std::to_string(count) + " properties");
    }
    at += 8;

    ResourceDescription description;
    description.windows = order == std::endian::little;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string number = "property " + std::to_string(i + 1);
        if (letters(reader.u32(at, number)) != "8BIM") {
            throw FormatError(number + " has no signature");
        }
        const std::string key = letters(reader.u32(at + 4, number));
        const std::string what = "property '" + key + "'";
        const std::uint64_t length = reader.u32(at + 12, what);
        take(description, key, Data(ByteReader(reader.range(at + 16, length, what), order), what));
        description.keys.push_back(key);
        at += 16 + (length + 3) / 4 * 4;
    }
    return description;
}

std::vector<Agreement> compare(const ResourceDescription& description, const Identity& identity,
                               const Capabilities& capabilities) {
    std::vector<Agreement> all;
    all.push_back(agreement("kind", description.kind, identity.kind, kindText));
    all.push_back(agreement("name", description.name, identity.name, same));
    all.push_back(agreement("match name", description.matchName, identity.matchName, same));
    all.push_back(agreement("category", description.category, identity.category, same));
    // A host looks for the entry point of its own platform.
    const auto& entryPoints = description.entryPoints;
    const bool found = description.windows ? entryPoints.contains("8664")
                                           : entryPoints.contains("mi64") || entryPoints.contains("ma64");
    if (!found) {
        all.push_back(agreement(description.windows ? "entry point 8664" : "entry point", std::optional<std::string>{},
                                identity.entryPoint, same));
    }
    for (const auto& [key, entryPoint] : entryPoints) {
        all.push_back(agreement("entry point " + key, std::optional(entryPoint), identity.entryPoint, same));
    }
    all.push_back(
        agreement("API version", description.apiVersion, std::pair(identity.apiMajor, identity.apiMinor), apiText));
    all.push_back(agreement("reserved info", description.reservedInfo, identity.reservedInfo, decimal));
    all.push_back(agreement("version", description.version, capabilities.version, hex));
    all.push_back(agreement("out flags", description.outFlags, capabilities.outFlags, flagsText));
    all.push_back(agreement("out flags 2", description.outFlags2, capabilities.outFlags2, flagsText));
    return all;
}

}  // namespace quorvel::host
