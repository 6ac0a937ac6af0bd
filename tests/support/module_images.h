// SPDX-License-Identifier: MIT
// Module files with tables of a test's own choice and no code: the shortest that a reader of such files accepts.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace quorvel::test {

/// Little-endian numbers anywhere in a growing file.
class FileBytes {
public:
    std::size_t size() const { return bytes_.size(); }
    const std::string& bytes() const { return bytes_; }

    void put(std::size_t at, std::uint64_t value, std::size_t count) {
        bytes_.resize(std::max(bytes_.size(), at + count), '\0');
        for (std::size_t i = 0; i < count; ++i) {
            bytes_[at + i] = static_cast<char>(value >> (8 * i));
        }
    }
    void put(std::size_t at, const std::string& text) {
        bytes_.resize(std::max(bytes_.size(), at + text.size()), '\0');
        bytes_.replace(at, text.size(), text);
    }
    /// At the end, on a multiple of 8; returns where.
    std::size_t append(const std::string& text) {
        const std::size_t at = (bytes_.size() + 7) / 8 * 8;
        put(at, text);
        return at;
    }

private:
    std::string bytes_;
};

/// A library for 64-bit Windows.
struct PeImage {
    std::vector<std::string> exports, imports, delayedImports;
    std::uint32_t unnamedExports = 0;  ///< known by their numbers alone
    std::string resourceType;          ///< of the resource with the number 16000; empty for none
    std::string resource;
    std::vector<std::uint16_t> fileVersion;  ///< four numbers; empty for none
    std::uint32_t directories = 16;

    std::string bytes() const;

    static constexpr std::size_t kSectionOffset = 0x400;
    static constexpr std::size_t kSectionAddress = 0x3000;

private:
    /// The address of what lies at an offset of the file.
    static std::size_t address(std::size_t offset) { return offset - kSectionOffset + kSectionAddress; }
    static void addExports(FileBytes& file, const PeImage& image, std::size_t directory);
    static void addImports(FileBytes& file, const std::vector<std::string>& libraries, std::size_t directory,
                           std::size_t entryBytes, std::size_t nameAt);
    void addResources(FileBytes& file, std::size_t directory) const;
};

inline void PeImage::addExports(FileBytes& file, const PeImage& image, std::size_t directory) {
    const std::size_t table = file.append(std::string(40, '\0'));
    const std::size_t names = file.append(std::string(4 * image.exports.size(), '\0'));
    file.put(table + 20, image.exports.size() + image.unnamedExports, 4);
    file.put(table + 24, image.exports.size(), 4);
    file.put(table + 32, address(names), 4);
    for (std::size_t i = 0; i < image.exports.size(); ++i) {
        file.put(names + 4 * i, address(file.append(image.exports[i] + '\0')), 4);
    }
    file.put(directory, address(table), 4);
}

inline void PeImage::addImports(FileBytes& file, const std::vector<std::string>& libraries, std::size_t directory,
                                std::size_t entryBytes, std::size_t nameAt) {
    const std::size_t table = file.append(std::string(entryBytes * (libraries.size() + 1), '\0'));
    for (std::size_t i = 0; i < libraries.size(); ++i) {
        file.put(table + entryBytes * i + nameAt, address(file.append(libraries[i] + '\0')), 4);
    }
    file.put(directory, address(table), 4);
}

/// Three levels of tables, each with one entry, but for the first, which has one for each type.
inline void PeImage::addResources(FileBytes& file, std::size_t directory) const {
    constexpr std::uint32_t kFlag = 0x80000000U;
    const std::size_t root = file.append(std::string(16 + 2 * 8, '\0'));
    std::size_t entry = root + 16;
    const auto add = [&](std::uint64_t name, std::uint64_t id, const std::string& data) {
        const std::size_t ids = file.append(std::string(24, '\0'));
        const std::size_t languages = file.append(std::string(24, '\0'));
        const std::size_t leaf = file.append(std::string(16, '\0'));
        file.put(entry, name, 4);
        file.put(entry + 4, (ids - root) | kFlag, 4);
        file.put(ids + 14, 1, 2);
        file.put(ids + 16, id, 4);
        file.put(ids + 20, (languages - root) | kFlag, 4);
        file.put(languages + 14, 1, 2);
        file.put(languages + 16, 1033, 4);
        file.put(languages + 20, leaf - root, 4);
        file.put(leaf, address(file.append(data)), 4);
        file.put(leaf + 4, data.size(), 4);
        entry += 8;
    };
    if (!resourceType.empty()) {
        const std::size_t name = file.append(std::string(2 + 2 * resourceType.size(), '\0'));
        file.put(name, resourceType.size(), 2);
        for (std::size_t i = 0; i < resourceType.size(); ++i) {
            file.put(name + 2 + 2 * i, static_cast<unsigned char>(resourceType[i]), 2);
        }
        file.put(root + 12, 1, 2);
        add((name - root) | kFlag, 16000, resource);
    }
    if (!fileVersion.empty()) {
        FileBytes version;
        version.put(40, 0xFEEF04BDU, 4);
        version.put(48, std::uint64_t{fileVersion[0]} << 16U | fileVersion[1], 4);
        version.put(52, std::uint64_t{fileVersion[2]} << 16U | fileVersion[3], 4);
        file.put(root + 14, 1, 2);
        add(16, 1, version.bytes());
    }
    file.put(directory, address(root), 4);
}

inline std::string PeImage::bytes() const {
    constexpr std::size_t kPe = 0x80, kOptional = kPe + 24, kDirectories = kOptional + 112, kOptionalBytes = 112 + 128;
    FileBytes file;
    file.put(0, "MZ");
    file.put(0x3C, kPe, 4);
    file.put(kPe, "PE");
    file.put(kPe + 4, 0x8664, 2);
    file.put(kPe + 6, 1, 2);
    file.put(kPe + 20, kOptionalBytes, 2);
    file.put(kPe + 22, 0x2022, 2);
    file.put(kOptional, 0x20B, 2);
    file.put(kOptional + 108, directories, 4);
    file.put(kSectionOffset, 0, 8);
    addExports(file, *this, kDirectories);
    addImports(file, imports, kDirectories + 8, 20, 12);
    addImports(file, delayedImports, kDirectories + std::size_t{8} * 13, 32, 4);
    if (!resourceType.empty() || !fileVersion.empty()) {
        addResources(file, kDirectories + 16);
    }
    const std::size_t section = kOptional + kOptionalBytes;
    file.put(section + 12, kSectionAddress, 4);
    file.put(section + 16, file.size() - kSectionOffset, 4);
    file.put(section + 20, kSectionOffset, 4);
    return file.bytes();
}

/// A symbol of a shared object.
struct ElfSymbol {
    std::string name;
    unsigned binding = 1;     ///< 0 local, 1 global, 2 weak
    unsigned visibility = 0;  ///< 0 default, 2 hidden, 3 protected
    bool defined = true;
};

/// A file for x86-64 Linux of that type (3 is a shared object). `dynamic` are the entries of its dynamic section: a tag
/// and, for 1, the name of a library that it needs.
inline std::string elfImage(const std::vector<ElfSymbol>& symbols,
                            const std::vector<std::pair<unsigned, std::string>>& dynamic, unsigned type = 3) {
    FileBytes file;
    file.put(0,
             "\x7F"
             "ELF\2\1");
    file.put(16, type, 2);
    file.put(18, 62, 2);
    file.put(63, 0, 1);
    std::string strings(1, '\0');
    FileBytes symbolTable;
    symbolTable.put(0, std::string(24, '\0'));
    for (const ElfSymbol& symbol : symbols) {
        const std::size_t at = symbolTable.append(std::string(24, '\0'));
        symbolTable.put(at, strings.size(), 4);
        symbolTable.put(at + 4, symbol.binding << 4U | 2U, 1);
        symbolTable.put(at + 5, symbol.visibility, 1);
        symbolTable.put(at + 6, symbol.defined ? 1 : 0, 2);
        strings += symbol.name + '\0';
    }
    FileBytes dynamicTable;
    for (const auto& [tag, text] : dynamic) {
        const std::size_t at = dynamicTable.append(std::string(16, '\0'));
        dynamicTable.put(at, tag, 8);
        dynamicTable.put(at + 8, strings.size(), 8);
        strings += text + '\0';
    }
    const std::vector<std::pair<std::uint32_t, std::string>> sections{
        {0, ""}, {11, symbolTable.bytes()}, {6, dynamicTable.bytes()}, {3, strings}};
    FileBytes table;
    for (std::size_t i = 0; i < sections.size(); ++i) {
        table.put(64 * i + 4, sections[i].first, 4);
        table.put(64 * i + 24, file.append(sections[i].second), 8);
        table.put(64 * i + 32, sections[i].second.size(), 8);
        table.put(64 * i + 40, 3, 4);
        table.put(64 * i + 63, 0, 1);
    }
    file.put(40, file.append(table.bytes()), 8);
    file.put(58, 64, 2);
    file.put(60, sections.size(), 2);
    return file.bytes();
}

}  // namespace quorvel::test
