// SPDX-License-Identifier: MIT
#include "host/module_file/mac_resource.h"

#include "host/module_file/byte_reader.h"

namespace quorvel::host {
namespace {

/// Offsets within the records of a resource file; all of its integers are big-endian.
namespace header {
constexpr std::uint64_t kDataStart = 0;
constexpr std::uint64_t kMapStart = 4;
}  // namespace header
namespace map {
constexpr std::uint64_t kTypeList = 24;
}  // namespace map
namespace type_list {
constexpr std::uint64_t kCount = 0;  // less one
constexpr std::uint64_t kEntries = 2;
constexpr std::uint64_t kEntrySize = 8;
}  // namespace type_list
namespace type_entry {
constexpr std::uint64_t kType = 0;
constexpr std::uint64_t kCount = 4;  // less one
constexpr std::uint64_t kReferenceList = 6;
}  // namespace type_entry
namespace reference {
constexpr std::uint64_t kId = 0;
constexpr std::uint64_t kDataOffset = 4;
constexpr std::uint32_t kDataOffsetMask = 0x00FFFFFFU;  // the highest byte holds attributes
constexpr std::uint64_t kSize = 12;
}  // namespace reference
namespace data {
constexpr std::uint64_t kLength = 0;
constexpr std::uint64_t kBytes = 4;
}  // namespace data

}  // namespace

std::optional<std::span<const std::byte>> findMacResource(std::span<const std::byte> bytes, std::string_view type,
                                                          int id) {
    const ByteReader file(bytes, std::endian::big);
    const std::uint64_t dataStart = file.u32(header::kDataStart, "the resource file's header");
    const std::uint64_t mapStart = file.u32(header::kMapStart, "the resource file's header");
    const std::uint64_t types = mapStart + file.u16(mapStart + map::kTypeList, "the resource map");
    // Counts are stored less one: 0xFFFF means none, and wraps to 0 in 16 bits.
    const auto count = static_cast<std::uint16_t>(file.u16(types + type_list::kCount, "the type list") + 1);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t entry = types + type_list::kEntries + type_list::kEntrySize * i;
        if (file.text(entry + type_entry::kType, type.size(), "the type list") != type) {
            continue;
        }
        const std::uint64_t references = types + file.u16(entry + type_entry::kReferenceList, "the type list");
        const std::uint64_t last = file.u16(entry + type_entry::kCount, "the type list");
        for (std::uint64_t k = 0; k <= last; ++k) {
            const std::uint64_t at = references + reference::kSize * k;
            if (file.u16(at + reference::kId, "a resource's reference") == id) {
                const std::uint32_t offset = file.u32(at + reference::kDataOffset, "a resource's reference");
                const std::uint64_t resource = dataStart + (offset & reference::kDataOffsetMask);
                return file.range(resource + data::kBytes, file.u32(resource + data::kLength, "a resource"),
                                  "a resource");
            }
        }
    }
    return std::nullopt;
}

}  // namespace quorvel::host
