// SPDX-License-Identifier: MIT
// Portable Executable modules: 64-bit Windows libraries, with their resources.
#include <algorithm>

#include "host/byte_reader.h"
#include "host/module_file.h"

namespace quorvel::host {
namespace {

constexpr std::uint16_t kMachineX86_64 = 0x8664;
constexpr std::uint16_t kFlagLibrary = 0x2000;
constexpr std::uint16_t kMagic64 = 0x20B;
constexpr std::uint32_t kMaximumEntries = 65536;
constexpr std::uint32_t kHighBit = 0x80000000U;
constexpr std::uint32_t kResourceTypeVersion = 16;
constexpr std::uint32_t kVersionSignature = 0xFEEF04BDU;

enum Directory : std::uint32_t { kExports = 0, kImports = 1, kResources = 2, kDelayImports = 13 };

/// The file as it lies in memory once loaded: addresses relative to the image instead of file offsets.
class Image {
public:
    explicit Image(std::span<const std::byte> bytes) : file_(bytes, std::endian::little) {
        const std::uint64_t header = file_.u32(0x3C, "the DOS header");
        if (file_.text(header, 4, "the PE header") != std::string("PE\0\0", 4)) {
            throw FormatError("there is no PE header");
        }
        machine_ = file_.u16(header + 4, "the PE header");
        const unsigned sections = file_.u16(header + 6, "the PE header");
        const unsigned optionalSize = file_.u16(header + 20, "the PE header");
        if ((file_.u16(header + 22, "the PE header") & kFlagLibrary) == 0) {
            throw FormatError("it is a program, not a library");
        }
        optionalHeader_ = header + 24;
        if (file_.u16(optionalHeader_, "the optional header") != kMagic64) {
            throw FormatError("it is not for 64-bit Windows");
        }
        for (unsigned i = 0; i < sections; ++i) {
            const std::uint64_t at = optionalHeader_ + optionalSize + 40ULL * i;
            const Section section{file_.u32(at + 12, "the section table"), file_.u32(at + 16, "the section table"),
                                  file_.u32(at + 20, "the section table")};
            file_.range(section.fileOffset, section.size, "section " + std::to_string(i + 1));
            sections_.push_back(section);
        }
    }

    std::uint16_t machine() const { return machine_; }

    /// Where a data directory starts; 0 when the module has none.
    std::uint32_t directory(Directory which) const {
        const std::uint32_t count = file_.u32(optionalHeader_ + 108, "the optional header");
        return which < count ? file_.u32(optionalHeader_ + 112 + 8ULL * which, "the optional header") : 0;
    }

    std::uint16_t u16(std::uint64_t address, std::string_view what) const { return file_.u16(offset(address), what); }
    std::uint32_t u32(std::uint64_t address, std::string_view what) const { return file_.u32(offset(address), what); }
    std::string name(std::uint64_t address, std::string_view what) const {
        return file_.zeroTerminated(offset(address), what);
    }
    std::span<const std::byte> range(std::uint64_t address, std::uint64_t size, std::string_view what) const {
        return file_.range(offset(address), size, what);
    }

private:
    struct Section {
        std::uint32_t address;
        std::uint32_t size;  ///< of what is in the file
        std::uint32_t fileOffset;
    };

    std::uint64_t offset(std::uint64_t address) const {
        for (const Section& section : sections_) {
            if (address >= section.address && address - section.address < section.size) {
                return section.fileOffset + (address - section.address);
            }
        }
        throw FormatError("an address points outside the module's sections");
    }

    ByteReader file_;
    std::uint16_t machine_ = 0;
    std::uint64_t optionalHeader_ = 0;
    std::vector<Section> sections_;
};

void limit(std::uint64_t count, std::string_view what) {
    if (count > kMaximumEntries) {
        throw FormatError("it claims " + std::to_string(count) + " " + std::string(what));
    }
}

std::vector<std::string> readExports(const Image& image) {
    std::vector<std::string> names;
    if (const std::uint32_t table = image.directory(kExports); table != 0) {
        const std::uint32_t count = image.u32(table + 24ULL, "the export table");
        limit(count, "exports");
        const std::uint64_t addresses = image.u32(table + 32ULL, "the export table");
        for (std::uint32_t i = 0; i < count; ++i) {
            names.push_back(image.name(image.u32(addresses + 4ULL * i, "the export table"), "an export's name"));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Adds the libraries of one table, whose entries of `size` bytes have the name's address at `nameAt`; an entry without
/// a name ends it.
void readImports(const Image& image, Directory which, unsigned size, unsigned nameAt,
                 std::vector<std::string>& libraries) {
    if (const std::uint64_t table = image.directory(which); table != 0) {
        for (std::uint64_t at = table;; at += size) {
            const std::uint32_t name = image.u32(at + nameAt, "the import table");
            if (name == 0) {
                break;
            }
            limit(libraries.size() + 1, "imports");
            libraries.push_back(image.name(name, "an imported library's name"));
        }
    }
}

/// The tree of resources: type, then id, then language, each level a table of entries.
class Resources {
public:
    explicit Resources(const Image& image) : image_(image), root_(image.directory(kResources)) {}

    /// The data in whatever language comes first; nothing when there is no such resource.
    template <typename Type>
    std::optional<std::span<const std::byte>> find(const Type& type, std::uint32_t id) const {
        if (root_ == 0) {
            return std::nullopt;
        }
        const auto byId = child(0, [&](std::uint32_t name) { return matches(name, type); });
        const auto byLanguage = byId ? child(*byId, [&](std::uint32_t name) { return matches(name, id); }) : byId;
        const auto leaf = byLanguage ? child(*byLanguage, [](std::uint32_t) { return true; }) : byLanguage;
        if (!leaf) {
            return std::nullopt;
        }
        const std::uint64_t entry = std::uint64_t{root_} + *leaf;
        return image_.range(image_.u32(entry, "a resource"), image_.u32(entry + 4, "a resource"), "a resource");
    }

private:
    bool matches(std::uint32_t name, std::uint32_t id) const { return name == id; }

    /// Names are UTF-16 with their length before them.
    bool matches(std::uint32_t name, const std::string& text) const {
        if ((name & kHighBit) == 0) {
            return false;
        }
        const std::uint64_t at = std::uint64_t{root_} + (name & ~kHighBit);
        if (image_.u16(at, "a resource's name") != text.size()) {
            return false;
        }
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (image_.u16(at + 2 + 2 * i, "a resource's name") != static_cast<unsigned char>(text[i])) {
                return false;
            }
        }
        return true;
    }

    /// The offset, from the root, that the first wanted entry of the table at `table` points to.
    template <typename Wanted>
    std::optional<std::uint32_t> child(std::uint32_t table, Wanted wanted) const {
        const std::uint64_t at = std::uint64_t{root_} + table;
        const std::uint32_t entries =
            std::uint32_t{image_.u16(at + 12, "a resource table")} + image_.u16(at + 14, "a resource table");
        for (std::uint32_t i = 0; i < entries; ++i) {
            if (wanted(image_.u32(at + 16 + 8ULL * i, "a resource table"))) {
                return image_.u32(at + 20 + 8ULL * i, "a resource table") & ~kHighBit;
            }
        }
        return std::nullopt;
    }

    const Image& image_;
    std::uint32_t root_;
};

/// The fixed part of the version information stands behind its key, at 40 bytes.
std::optional<std::string> readFileVersion(const Resources& resources) {
    const auto data = resources.find(kResourceTypeVersion, 1);
    if (!data) {
        return std::nullopt;
    }
    const ByteReader version(*data, std::endian::little);
    if (version.u32(40, "the version information") != kVersionSignature) {
        throw FormatError("the version information has no signature");
    }
    const std::uint32_t high = version.u32(48, "the version information");
    const std::uint32_t low = version.u32(52, "the version information");
    return std::to_string(high >> 16) + "." + std::to_string(high & 0xFFFFU) + "." + std::to_string(low >> 16) + "." +
           std::to_string(low & 0xFFFFU);
}

}  // namespace

ModuleFile parsePortableExecutable(std::span<const std::byte> bytes) {
    const Image image(bytes);
    const Resources resources(image);
    ModuleFile module;
    module.format = ModuleFormat::PortableExecutable;
    module.forX86_64 = image.machine() == kMachineX86_64;
    module.exports = readExports(image);
    readImports(image, kImports, 20, 12, module.imports);
    readImports(image, kDelayImports, 32, 4, module.imports);  // loaded when they are first called
    module.fileVersion = readFileVersion(resources);
    if (const auto pipl = resources.find(std::string(kWindowsPiplType), kPiplId)) {
        module.pipl.emplace(pipl->begin(), pipl->end());
    }
    return module;
}

}  // namespace quorvel::host
