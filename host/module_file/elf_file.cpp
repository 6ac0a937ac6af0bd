// SPDX-License-Identifier: MIT
// Reads ELF modules through their section table.
#include "host/module_file/elf_file.h"

#include <algorithm>

#include "host/module_file/byte_reader.h"

namespace quorvel::host {
namespace {

/// Offsets within the file's records, and values of their fields.
namespace header {
constexpr std::uint64_t kClass = 4;
constexpr std::uint64_t kByteOrder = 5;
constexpr std::uint64_t kType = 16;
constexpr std::uint64_t kMachine = 18;
constexpr std::uint64_t kSectionTable = 40;
constexpr std::uint64_t kSectionEntrySize = 58;
constexpr std::uint64_t kSectionCount = 60;

constexpr std::uint8_t kClass64 = 2;
constexpr std::uint8_t kLittleEndian = 1;
constexpr std::uint16_t kSharedObject = 3;
constexpr std::uint16_t kMachineX86_64 = 62;
}  // namespace header
namespace section {
constexpr std::uint64_t kType = 4;
constexpr std::uint64_t kOffset = 24;
constexpr std::uint64_t kSize = 32;
constexpr std::uint64_t kLink = 40;
constexpr std::uint64_t kMinimumEntrySize = 64;

constexpr std::uint32_t kTypeDynamic = 6;
constexpr std::uint32_t kTypeDynamicSymbols = 11;
}  // namespace section
namespace symbol {
constexpr std::uint64_t kName = 0;
constexpr std::uint64_t kInfo = 4;   // the binding in the high four bits
constexpr std::uint64_t kOther = 5;  // the visibility in the low two bits
constexpr std::uint64_t kSection = 6;
constexpr std::uint64_t kSize = 24;

constexpr unsigned kUndefined = 0;
constexpr unsigned kGlobal = 1;
constexpr unsigned kWeak = 2;
constexpr unsigned kUnique = 10;  // one for the whole process: GCC's choice for static variables of templates
constexpr unsigned kDefault = 0;
constexpr unsigned kProtected = 3;
}  // namespace symbol
namespace dynamic_entry {
constexpr std::uint64_t kTag = 0;
constexpr std::uint64_t kValue = 8;
constexpr std::uint64_t kSize = 16;

constexpr std::uint64_t kTagEnd = 0;
constexpr std::uint64_t kTagNeeded = 1;
}  // namespace dynamic_entry

constexpr std::size_t kMaximumNames = 65536;

void append(std::vector<std::string>& names, std::string name) {
    if (names.size() == kMaximumNames) {
        throw FormatError("it has more than " + std::to_string(kMaximumNames) + " names");
    }
    names.push_back(std::move(name));
}

struct Section {
    std::uint32_t type;
    std::uint64_t offset;
    std::uint64_t size;
    std::uint32_t link;  ///< of a symbol or dynamic section: the index of its string table
};

std::vector<Section> readSections(const ByteReader& file) {
    const std::uint64_t table = file.u64(header::kSectionTable, "the ELF header");
    const std::uint64_t entrySize = file.u16(header::kSectionEntrySize, "the ELF header");
    const unsigned count = file.u16(header::kSectionCount, "the ELF header");
    if (count == 0 || entrySize < section::kMinimumEntrySize) {
        throw FormatError("there is no section table");
    }
    std::vector<Section> sections;
    for (unsigned i = 0; i < count; ++i) {
        const ByteReader entry(file.range(table + i * entrySize, entrySize, "the section table"), std::endian::little);
        sections.push_back({entry.u32(section::kType, "a section"), entry.u64(section::kOffset, "a section"),
                            entry.u64(section::kSize, "a section"), entry.u32(section::kLink, "a section")});
    }
    return sections;
}

ByteReader contents(const ByteReader& file, const Section& one, std::string_view what) {
    return {file.range(one.offset, one.size, what), std::endian::little};
}

ByteReader stringsOf(const ByteReader& file, const std::vector<Section>& sections, const Section& one) {
    if (one.link >= sections.size()) {
        throw FormatError("a string table is missing");
    }
    return contents(file, sections[one.link], "a string table");
}

/// Adds the names of the symbols that the module defines and shows to others.
void readExports(const ByteReader& symbols, const ByteReader& strings, std::vector<std::string>& names) {
    for (std::uint64_t at = 0; at + symbol::kSize <= symbols.size(); at += symbol::kSize) {
        const unsigned binding = symbols.u8(at + symbol::kInfo, "a symbol") >> 4;
        const unsigned visibility = symbols.u8(at + symbol::kOther, "a symbol") & 3U;
        const bool defined = symbols.u16(at + symbol::kSection, "a symbol") != symbol::kUndefined;
        const bool global = binding == symbol::kGlobal || binding == symbol::kWeak || binding == symbol::kUnique;
        const bool visible = visibility == symbol::kDefault || visibility == symbol::kProtected;
        if (defined && global && visible) {
            append(names, strings.zeroTerminated(symbols.u32(at + symbol::kName, "a symbol"), "a symbol's name"));
        }
    }
    std::sort(names.begin(), names.end());
}

/// Adds the names of the libraries that the module needs.
void readImports(const ByteReader& entries, const ByteReader& strings, std::vector<std::string>& libraries) {
    for (std::uint64_t at = 0; at + dynamic_entry::kSize <= entries.size(); at += dynamic_entry::kSize) {
        const std::uint64_t tag = entries.u64(at + dynamic_entry::kTag, "a dynamic entry");
        if (tag == dynamic_entry::kTagEnd) {
            break;
        }
        if (tag == dynamic_entry::kTagNeeded) {
            const std::uint64_t name = entries.u64(at + dynamic_entry::kValue, "a dynamic entry");
            append(libraries, strings.zeroTerminated(name, "a library's name"));
        }
    }
}

}  // namespace

ModuleFile parseElf(std::span<const std::byte> bytes) {
    const ByteReader file(bytes, std::endian::little);
    if (file.u8(header::kClass, "the ELF header") != header::kClass64 ||
        file.u8(header::kByteOrder, "the ELF header") != header::kLittleEndian) {
        throw FormatError("it is not for a 64-bit little-endian machine");
    }
    if (file.u16(header::kType, "the ELF header") != header::kSharedObject) {
        throw FormatError("it is not a shared object");
    }
    ModuleFile module;
    module.format = ModuleFormat::Elf;
    module.forX86_64 = file.u16(header::kMachine, "the ELF header") == header::kMachineX86_64;
    const std::vector<Section> sections = readSections(file);
    for (const Section& one : sections) {
        if (one.type == section::kTypeDynamicSymbols) {
            readExports(contents(file, one, "the symbol table"), stringsOf(file, sections, one), module.exports);
        } else if (one.type == section::kTypeDynamic) {
            readImports(contents(file, one, "the dynamic section"), stringsOf(file, sections, one), module.imports);
        }
    }
    return module;
}

}  // namespace quorvel::host
