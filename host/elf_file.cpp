// SPDX-License-Identifier: MIT
// ELF modules: 64-bit, little-endian, read through their section table.
#include <algorithm>

#include "host/byte_reader.h"
#include "host/module_file.h"

namespace quorvel::host {
namespace {

constexpr std::uint16_t kSharedObject = 3;
constexpr std::uint16_t kMachineX86_64 = 62;
constexpr std::uint32_t kSectionDynamic = 6;
constexpr std::uint32_t kSectionDynamicSymbols = 11;
constexpr std::uint64_t kTagNeeded = 1;
constexpr std::uint64_t kSymbolSize = 24;
constexpr std::uint64_t kDynamicEntrySize = 16;
constexpr std::size_t kMaximumNames = 65536;

void append(std::vector<std::string>& names, std::string name) {
    if (names.size() == kMaximumNames) {
        throw FormatError("it claims more names than any module has");
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
    const std::uint64_t table = file.u64(40, "the ELF header");
    const std::uint64_t entrySize = file.u16(58, "the ELF header");
    const unsigned count = file.u16(60, "the ELF header");
    if (count == 0 || entrySize < 64) {
        throw FormatError("there is no section table");
    }
    std::vector<Section> sections;
    for (unsigned i = 0; i < count; ++i) {
        const ByteReader entry(file.range(table + i * entrySize, entrySize, "the section table"), std::endian::little);
        sections.push_back({entry.u32(4, "a section"), entry.u64(24, "a section"), entry.u64(32, "a section"),
                            entry.u32(40, "a section")});
    }
    return sections;
}

ByteReader contents(const ByteReader& file, const Section& section, std::string_view what) {
    return {file.range(section.offset, section.size, what), std::endian::little};
}

ByteReader stringsOf(const ByteReader& file, const std::vector<Section>& sections, const Section& section) {
    if (section.link >= sections.size()) {
        throw FormatError("a string table is missing");
    }
    return contents(file, sections[section.link], "a string table");
}

/// Defined, visible functions and objects.
void readExports(const ByteReader& symbols, const ByteReader& strings, std::vector<std::string>& names) {
    for (std::uint64_t at = 0; at + kSymbolSize <= symbols.size(); at += kSymbolSize) {
        const unsigned info = symbols.u8(at + 4, "a symbol");
        const unsigned visibility = symbols.u8(at + 5, "a symbol") & 3U;
        const unsigned section = symbols.u16(at + 6, "a symbol");
        const unsigned binding = info >> 4;
        // Global, weak, or one for the whole process, as GCC makes of templates' static variables.
        const bool global = binding == 1 || binding == 2 || binding == 10;
        const bool shown = visibility == 0 || visibility == 3;
        if (section != 0 && global && shown) {
            append(names, strings.zeroTerminated(symbols.u32(at, "a symbol"), "a symbol's name"));
        }
    }
    std::sort(names.begin(), names.end());
}

void readImports(const ByteReader& entries, const ByteReader& strings, std::vector<std::string>& libraries) {
    for (std::uint64_t at = 0; at + kDynamicEntrySize <= entries.size(); at += kDynamicEntrySize) {
        const std::uint64_t tag = entries.u64(at, "a dynamic entry");
        if (tag == 0) {
            break;
        }
        if (tag == kTagNeeded) {
            append(libraries, strings.zeroTerminated(entries.u64(at + 8, "a dynamic entry"), "a library's name"));
        }
    }
}

}  // namespace

ModuleFile parseElf(std::span<const std::byte> bytes) {
    const ByteReader file(bytes, std::endian::little);
    if (file.u8(4, "the ELF header") != 2 || file.u8(5, "the ELF header") != 1) {
        throw FormatError("it is not for a 64-bit little-endian machine");
    }
    if (file.u16(16, "the ELF header") != kSharedObject) {
        throw FormatError("it is not a shared object");
    }
    ModuleFile module;
    module.format = ModuleFormat::Elf;
    module.forX86_64 = file.u16(18, "the ELF header") == kMachineX86_64;
    const std::vector<Section> sections = readSections(file);
    for (const Section& section : sections) {
        if (section.type == kSectionDynamicSymbols) {
            readExports(contents(file, section, "the symbol table"), stringsOf(file, sections, section),
                        module.exports);
        } else if (section.type == kSectionDynamic) {
            readImports(contents(file, section, "the dynamic section"), stringsOf(file, sections, section),
                        module.imports);
        }
    }
    return module;
}

}  // namespace quorvel::host
