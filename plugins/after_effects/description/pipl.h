// SPDX-License-Identifier: MIT
// The resource description (PiPL) that hosts read before they load the module: the effect's identity, version and
// capability flags as a list of properties. Made from the same constants that global set-up reports.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "plugins/after_effects/description/identity.h"
#include "sdk/pipl.h"

namespace quorvel::resources {

/// Bytes in one order. A four-character code is an integer with its first letter in the highest byte, so it reads
/// backwards in a little-endian file.
class ByteWriter {
public:
    explicit ByteWriter(std::endian order) : order_(order) {}

    void u8(std::uint32_t value) { bytes_.push_back(static_cast<char>(value & 0xFFU)); }
    void u16(std::uint32_t value) { integer(value, 2); }
    void u32(std::uint32_t value) { integer(value, 4); }
    void code(const char (&fourLetters)[5]) { u32(static_cast<std::uint32_t>(PF_FourCharCode(fourLetters))); }
    void text(std::string_view bytes) { bytes_ += bytes; }
    void zeros(std::size_t count) { bytes_.append(count, '\0'); }
    void padTo4() { zeros((4 - bytes_.size() % 4) % 4); }

    const std::string& bytes() const { return bytes_; }

private:
    void integer(std::uint32_t value, unsigned size) {
        for (unsigned i = 0; i < size; ++i) {
            u8(value >> (8 * (order_ == std::endian::little ? i : size - 1 - i)));
        }
    }

    std::endian order_;
    std::string bytes_;
};

/// Collects properties; each is a signature, a key, an id, the padded length, and the data padded to 4 bytes.
class PropertyList {
public:
    explicit PropertyList(std::endian order) : order_(order), records_(order) {}

    void number(const char (&key)[5], std::uint32_t value) {
        ByteWriter data(order_);
        data.u32(value);
        add(key, data);
    }
    void twoShorts(const char (&key)[5], std::uint32_t first, std::uint32_t second) {
        ByteWriter data(order_);
        data.u16(first);
        data.u16(second);
        add(key, data);
    }
    void shortNumber(const char (&key)[5], std::uint32_t value) {
        ByteWriter data(order_);
        data.u16(value);
        add(key, data);
    }
    /// Length byte, then the characters.
    void pascalString(const char (&key)[5], std::string_view text) {
        ByteWriter data(order_);
        data.u8(static_cast<std::uint32_t>(text.size()));
        data.text(text);
        add(key, data);
    }
    void zeroTerminated(const char (&key)[5], std::string_view text) {
        ByteWriter data(order_);
        data.text(text);
        data.u8(0);
        add(key, data);
    }

    std::uint32_t count() const { return count_; }
    const std::string& records() const { return records_.bytes(); }

private:
    void add(const char (&key)[5], ByteWriter& data) {
        data.padTo4();
        records_.code(kPiPL_Signature);
        records_.code(key);
        records_.u32(0);
        records_.u32(static_cast<std::uint32_t>(data.bytes().size()));
        records_.text(data.bytes());
        ++count_;
    }

    std::endian order_;
    ByteWriter records_;
    std::uint32_t count_ = 0;
};

/// The raw resource: little-endian for the Windows module, big-endian for a macOS bundle. They differ in byte order,
/// in the entry points they name, and in a leading word that only the Windows form has.
inline std::string piplResource(std::endian order) {
    const bool windows = order == std::endian::little;
    static_assert(sizeof(identity::kName) <= 48 && sizeof(identity::kMatchName) <= 48,
                  "the host cuts names at 47 characters");

    PropertyList list(order);
    list.number(kPiPL_Kind, static_cast<std::uint32_t>(identity::kKind));
    list.pascalString(kPiPL_Name, identity::kName);
    list.pascalString(kPiPL_Category, identity::kCategory);
    if (windows) {
        list.zeroTerminated(kPiPL_EntryWindows, identity::kEntryPoint);
    } else {
        list.zeroTerminated(kPiPL_EntryMacIntel, identity::kEntryPoint);
        list.zeroTerminated(kPiPL_EntryMacArm, identity::kEntryPoint);
    }
    list.twoShorts(kPiPL_PiplVersion, 2, 0);
    list.twoShorts(kPiPL_ApiVersion, static_cast<std::uint32_t>(identity::kApiMajor),
                   static_cast<std::uint32_t>(identity::kApiMinor));
    list.number(kPiPL_EffectVersion, identity::kVersion);
    list.shortNumber(kPiPL_InfoFlags, 0);
    list.number(kPiPL_OutFlags, static_cast<std::uint32_t>(identity::kOutFlags));
    list.number(kPiPL_OutFlags2, static_cast<std::uint32_t>(identity::kOutFlags2));
    list.pascalString(kPiPL_MatchName, identity::kMatchName);
    list.number(kPiPL_ReservedInfo, static_cast<std::uint32_t>(identity::kReservedInfo));

    ByteWriter resource(order);
    if (windows) {
        resource.u16(kPiPL_WindowsPrefix);
    }
    resource.u32(kPiPL_ListVersion);
    resource.u32(list.count());
    resource.text(list.records());
    return resource.bytes();
}

/// A macOS resource file with that one resource, for a bundle's Contents/Resources folder: a header, the data,
/// and a map from type and id to the data.
inline std::string macResourceFile() {
    constexpr std::uint32_t kDataStart = 256;
    constexpr std::uint32_t kTypeListStart = 28;
    constexpr std::uint32_t kReferenceListStart = 10;
    constexpr std::uint32_t kMapLength = kTypeListStart + kReferenceListStart + 12;
    const std::string pipl = piplResource(std::endian::big);
    const auto dataLength = static_cast<std::uint32_t>(4 + pipl.size());

    ByteWriter header(std::endian::big);
    header.u32(kDataStart);
    header.u32(kDataStart + dataLength);
    header.u32(dataLength);
    header.u32(kMapLength);

    ByteWriter file(std::endian::big);
    file.text(header.bytes());
    file.zeros(kDataStart - header.bytes().size());
    file.u32(dataLength - 4);
    file.text(pipl);

    file.text(header.bytes());
    file.zeros(4 + 2 + 2);  // next map, file reference and attributes: filled in by the system
    file.u16(kTypeListStart);
    file.u16(kMapLength);  // no names
    file.u16(0);           // one type, counted from 0
    file.code(kPiPL_MacResourceType);
    file.u16(0);  // one resource of it
    file.u16(kReferenceListStart);
    file.u16(kPiPL_ResourceId);
    file.u16(0xFFFF);  // without a name
    file.u32(0);       // attributes, and the offset into the data
    file.u32(0);
    return file.bytes();
}

}  // namespace quorvel::resources
