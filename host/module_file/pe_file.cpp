// SPDX-License-Identifier: MIT
// Reads Portable Executable modules and their resources.
#include "host/module_file/pe_file.h"

#include <algorithm>

#include "host/module_file/byte_reader.h"
#include "sdk/pipl.h"

namespace quorvel::host {
namespace {

/// Offsets within the file's records, and values of their fields.
namespace dos_header {
constexpr std::uint64_t kPeHeader = 0x3C;
}
namespace pe_header {
constexpr std::uint64_t kSignature = 0;
constexpr std::uint64_t kMachine = 4;
constexpr std::uint64_t kSectionCount = 6;
constexpr std::uint64_t kOptionalHeaderSize = 20;
constexpr std::uint64_t kFlags = 22;
constexpr std::uint64_t kSize = 24;  // the optional header follows, then the section table

constexpr std::string_view kSignatureText{"PE\0\0", 4};
constexpr std::uint16_t kMachineX86_64 = 0x8664;
constexpr std::uint16_t kFlagLibrary = 0x2000;
}  // namespace pe_header
namespace optional_header {
constexpr std::uint64_t kMagic = 0;
constexpr std::uint64_t kDirectoryCount = 108;
constexpr std::uint64_t kDirectories = 112;
constexpr std::uint64_t kDirectorySize = 8;

constexpr std::uint16_t kMagic64 = 0x20B;
}  // namespace optional_header
namespace section_entry {
constexpr std::uint64_t kAddress = 12;
constexpr std::uint64_t kFileSize = 16;
constexpr std::uint64_t kFileOffset = 20;
constexpr std::uint64_t kSize = 40;
}  // namespace section_entry
namespace export_table {
constexpr std::uint64_t kNameCount = 24;
constexpr std::uint64_t kNameAddresses = 32;
constexpr std::uint64_t kNameAddressSize = 4;
}  // namespace export_table
namespace resource_table {
constexpr std::uint64_t kNamedCount = 12;
constexpr std::uint64_t kNumberedCount = 14;
constexpr std::uint64_t kEntries = 16;
constexpr std::uint64_t kEntrySize = 8;
}  // namespace resource_table
namespace resource_entry {
constexpr std::uint64_t kName = 0;
constexpr std::uint64_t kTarget = 4;
constexpr std::uint32_t kFlag = 0x80000000U;  // of kName: a string's offset, not a number; of kTarget: a table
}  // namespace resource_entry
namespace resource_data {
constexpr std::uint64_t kAddress = 0;
constexpr std::uint64_t kSize = 4;
}  // namespace resource_data
namespace version_information {
constexpr std::uint32_t kResourceType = 16;
constexpr std::uint32_t kResourceId = 1;
constexpr std::uint64_t kSignature = 40;  // the fixed part follows the block's header, key and padding
constexpr std::uint64_t kFileVersionHigh = 48;
constexpr std::uint64_t kFileVersionLow = 52;

constexpr std::uint32_t kSignatureValue = 0xFEEF04BDU;
}  // namespace version_information

constexpr std::uint32_t kMaximumEntries = 65536;

enum Directory : std::uint32_t { kExports = 0, kImports = 1, kResources = 2, kDelayedImports = 13 };

/// An import table's records.
struct ImportLayout {
    Directory directory;
    std::uint64_t entrySize;
    std::uint64_t name;  ///< offset of the address of the library's name
};
constexpr ImportLayout kImportLayout{kImports, 20, 12};
constexpr ImportLayout kDelayedImportLayout{kDelayedImports, 32, 4};  // loaded at the first call

/// The file as loading lays it out in memory: reads take addresses relative to the image, not offsets into the file.
class Image {
public:
    explicit Image(std::span<const std::byte> bytes) : file_(bytes, std::endian::little) {
        const std::uint64_t header = file_.u32(dos_header::kPeHeader, "the DOS header");
        if (file_.text(header + pe_header::kSignature, pe_header::kSignatureText.size(), "the PE header") !=
            pe_header::kSignatureText) {
            throw FormatError("there is no PE header");
        }
        machine_ = file_.u16(header + pe_header::kMachine, "the PE header");
        const unsigned sections = file_.u16(header + pe_header::kSectionCount, "the PE header");
        const unsigned optionalSize = file_.u16(header + pe_header::kOptionalHeaderSize, "the PE header");
        if ((file_.u16(header + pe_header::kFlags, "the PE header") & pe_header::kFlagLibrary) == 0) {
            throw FormatError("it is a program, not a library");
        }
        optionalHeader_ = header + pe_header::kSize;
        if (file_.u16(optionalHeader_ + optional_header::kMagic, "the optional header") != optional_header::kMagic64) {
            throw FormatError("it is not for 64-bit Windows");
        }
        for (unsigned i = 0; i < sections; ++i) {
            const std::uint64_t at = optionalHeader_ + optionalSize + section_entry::kSize * i;
            const Section section{file_.u32(at + section_entry::kAddress, "the section table"),
                                  file_.u32(at + section_entry::kFileSize, "the section table"),
                                  file_.u32(at + section_entry::kFileOffset, "the section table")};
            file_.range(section.fileOffset, section.size, "section " + std::to_string(i + 1));
            sections_.push_back(section);
        }
    }

    std::uint16_t machine() const { return machine_; }

    /// The address of a data directory's table; 0 when the module has none.
    std::uint32_t directory(Directory which) const {
        const std::uint32_t count =
            file_.u32(optionalHeader_ + optional_header::kDirectoryCount, "the optional header");
        const std::uint64_t at =
            optionalHeader_ + optional_header::kDirectories + optional_header::kDirectorySize * which;
        return which < count ? file_.u32(at, "the optional header") : 0;
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
        std::uint32_t size;  ///< bytes in the file
        std::uint32_t fileOffset;
    };

    std::uint64_t offset(std::uint64_t address) const {
        for (const Section& section : sections_) {
            if (address >= section.address && address - section.address < section.size) {
                return section.fileOffset + (address - section.address);
            }
        }
        throw FormatError("an address lies outside the module's sections");
    }

    ByteReader file_;
    std::uint16_t machine_ = 0;
    std::uint64_t optionalHeader_ = 0;
    std::vector<Section> sections_;
};

void limit(std::uint64_t count, std::string_view what) {
    if (count > kMaximumEntries) {
        throw FormatError("it has " + std::to_string(count) + " " + std::string(what) + ": expected at most " +
                          std::to_string(kMaximumEntries));
    }
}

std::vector<std::string> readExports(const Image& image) {
    std::vector<std::string> names;
    if (const std::uint32_t table = image.directory(kExports); table != 0) {
        const std::uint32_t count = image.u32(table + export_table::kNameCount, "the export table");
        limit(count, "exports");
        const std::uint64_t addresses = image.u32(table + export_table::kNameAddresses, "the export table");
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint64_t at = addresses + export_table::kNameAddressSize * i;
            names.push_back(image.name(image.u32(at, "the export table"), "an export's name"));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Adds the libraries of one import table. An entry without a name ends the table.
void readImports(const Image& image, const ImportLayout& layout, std::vector<std::string>& libraries) {
    if (const std::uint64_t table = image.directory(layout.directory); table != 0) {
        for (std::uint64_t at = table;; at += layout.entrySize) {
            const std::uint32_t name = image.u32(at + layout.name, "the import table");
            if (name == 0) {
                break;
            }
            limit(libraries.size() + 1, "imports");
            libraries.push_back(image.name(name, "an imported library's name"));
        }
    }
}

/// The tree of resources, three levels of tables: type, id, language. Offsets count from the root.
class Resources {
public:
    explicit Resources(const Image& image) : image_(image), root_(image.directory(kResources)) {}

    /// The data in the first language; nothing when there is no such resource. `type` is a number or a name.
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
        return image_.range(image_.u32(entry + resource_data::kAddress, "a resource"),
                            image_.u32(entry + resource_data::kSize, "a resource"), "a resource");
    }

private:
    bool matches(std::uint32_t name, std::uint32_t id) const { return name == id; }

    /// A name is its length in 16 bits, then UTF-16.
    bool matches(std::uint32_t name, std::string_view text) const {
        if ((name & resource_entry::kFlag) == 0) {
            return false;
        }
        const std::uint64_t at = std::uint64_t{root_} + (name & ~resource_entry::kFlag);
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

    /// The target of the first entry whose name is `wanted`, in the table at offset `table`.
    template <typename Wanted>
    std::optional<std::uint32_t> child(std::uint32_t table, Wanted wanted) const {
        const std::uint64_t at = std::uint64_t{root_} + table;
        const std::uint32_t entries = std::uint32_t{image_.u16(at + resource_table::kNamedCount, "a resource table")} +
                                      image_.u16(at + resource_table::kNumberedCount, "a resource table");
        for (std::uint32_t i = 0; i < entries; ++i) {
            const std::uint64_t entry = at + resource_table::kEntries + resource_table::kEntrySize * i;
            if (wanted(image_.u32(entry + resource_entry::kName, "a resource table"))) {
                return image_.u32(entry + resource_entry::kTarget, "a resource table") & ~resource_entry::kFlag;
            }
        }
        return std::nullopt;
    }

    const Image& image_;
    std::uint32_t root_;
};

std::optional<std::string> readFileVersion(const Resources& resources) {
    namespace info = version_information;
    const auto data = resources.find(info::kResourceType, info::kResourceId);
    if (!data) {
        return std::nullopt;
    }
    const ByteReader version(*data, std::endian::little);
    if (version.u32(info::kSignature, "the version information") != info::kSignatureValue) {
        throw FormatError("the version information has no signature");
    }
    const std::uint32_t high = version.u32(info::kFileVersionHigh, "the version information");
    const std::uint32_t low = version.u32(info::kFileVersionLow, "the version information");
    return std::to_string(high >> 16) + "." + std::to_string(high & 0xFFFFU) + "." + std::to_string(low >> 16) + "." +
           std::to_string(low & 0xFFFFU);
}

}  // namespace

ModuleFile parsePortableExecutable(std::span<const std::byte> bytes) {
    const Image image(bytes);
    const Resources resources(image);
    ModuleFile module;
    module.format = ModuleFormat::PortableExecutable;
    module.forX86_64 = image.machine() == pe_header::kMachineX86_64;
    module.exports = readExports(image);
    readImports(image, kImportLayout, module.imports);
    readImports(image, kDelayedImportLayout, module.imports);
    module.fileVersion = readFileVersion(resources);
    if (const auto pipl = resources.find(std::string_view(kPiPL_WindowsResourceType), kPiPL_ResourceId)) {
        module.pipl.emplace(pipl->begin(), pipl->end());
    }
    return module;
}

}  // namespace quorvel::host
