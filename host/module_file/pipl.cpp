// SPDX-License-Identifier: MIT
#include "host/module_file/pipl.h"

#include "host/module_file/byte_reader.h"

namespace quorvel::host {
namespace {

constexpr std::uint32_t kMaximumProperties = 256;

/// Offsets within a property.
namespace property {
constexpr std::uint64_t kSignature = 0;
constexpr std::uint64_t kKey = 4;
constexpr std::uint64_t kLength = 12;
constexpr std::uint64_t kData = 16;
}  // namespace property

/// The letters of a four-character code, which has the first letter in the highest byte.
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

/// Puts one property where it belongs; ignores a key that says nothing about the effect.
void take(ResourceDescription& description, const std::string& key, const Data& data) {
    if (key == kPiPL_Kind) {
        description.kind = static_cast<A_long>(data.number());
    } else if (key == kPiPL_Name) {
        description.name = data.pascalString();
    } else if (key == kPiPL_Category) {
        description.category = data.pascalString();
    } else if (key == kPiPL_MatchName) {
        description.matchName = data.pascalString();
    } else if (key == kPiPL_EntryWindows || key == kPiPL_EntryMacIntel || key == kPiPL_EntryMacArm) {
        description.entryPoints[key] = data.zeroTerminated();
    } else if (key == kPiPL_ApiVersion) {
        description.apiVersion = data.twoShorts();
    } else if (key == kPiPL_EffectVersion) {
        description.version = data.number();
    } else if (key == kPiPL_OutFlags) {
        description.outFlags = static_cast<A_long>(data.number());
    } else if (key == kPiPL_OutFlags2) {
        description.outFlags2 = static_cast<A_long>(data.number());
    } else if (key == kPiPL_ReservedInfo) {
        description.reservedInfo = static_cast<A_long>(data.number());
    }
}

}  // namespace

ResourceDescription decodePipl(std::span<const std::byte> bytes, std::endian order) {
    const ByteReader reader(bytes, order);
    std::uint64_t at = order == std::endian::little ? sizeof(kPiPL_WindowsPrefix) : 0;
    const std::uint32_t version = reader.u32(at, "the resource's header");
    if (version != kPiPL_ListVersion) {
        throw FormatError("the resource has list version " + std::to_string(version) + ": expected " +
                          std::to_string(kPiPL_ListVersion));
    }
    const std::uint32_t count = reader.u32(at + 4, "the resource's header");
    if (count > kMaximumProperties) {
        throw FormatError("the resource has " + std::to_string(count) + " properties: expected at most " +
                          std::to_string(kMaximumProperties));
    }
    at += 8;

    ResourceDescription description;
    description.windows = order == std::endian::little;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string number = "property " + std::to_string(i + 1);
        if (letters(reader.u32(at + property::kSignature, number)) != kPiPL_Signature) {
            throw FormatError(number + " has no signature");
        }
        const std::string key = letters(reader.u32(at + property::kKey, number));
        const std::string what = "property '" + key + "'";
        const std::uint64_t length = reader.u32(at + property::kLength, what);
        const auto data = reader.range(at + property::kData, length, what);
        take(description, key, Data(ByteReader(data, order), what));
        description.keys.push_back(key);
        at += property::kData + (length + 3) / 4 * 4;
    }
    return description;
}

}  // namespace quorvel::host
