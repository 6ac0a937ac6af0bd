// SPDX-License-Identifier: MIT
#include "host/module_file.h"

#include <algorithm>
#include <fstream>

#include "host/byte_reader.h"
#include "host/error.h"

namespace quorvel::host {

void requireModuleFile(const std::filesystem::path& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) {
        throw HostError(file.string() + ": no such module");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw HostError(file.string() + ": not a module: not a regular file");
    }
}

namespace {

constexpr std::uintmax_t kMaximumFileSize = std::uintmax_t{1} << 28;

std::vector<std::byte> readFile(const std::filesystem::path& file) {
    requireModuleFile(file);
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (error) {
        throw HostError(file.string() + ": " + error.message());
    }
    if (size > kMaximumFileSize) {
        throw HostError(file.string() + ": too large for a module");
    }
    std::vector<std::byte> bytes(static_cast<std::size_t>(size));
    std::ifstream stream(file, std::ios::binary);
    if (!stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        throw HostError(file.string() + ": cannot be read");
    }
    return bytes;
}

bool startsWith(const std::vector<std::byte>& bytes, std::string_view magic) {
    return bytes.size() >= magic.size() &&
           std::equal(magic.begin(), magic.end(), bytes.begin(),
                      [](char letter, std::byte byte) { return static_cast<std::byte>(letter) == byte; });
}

}  // namespace

std::string_view formatName(ModuleFormat format) {
    return format == ModuleFormat::Elf ? "ELF" : "PE";
}

bool ModuleFile::runsHere() const {
#if defined(_WIN32)
    constexpr ModuleFormat kOwnFormat = ModuleFormat::PortableExecutable;
#else
    constexpr ModuleFormat kOwnFormat = ModuleFormat::Elf;
#endif
#if defined(__x86_64__) || defined(_M_X64)
    constexpr bool kX86_64 = true;
#else
    constexpr bool kX86_64 = false;
#endif
    return format == kOwnFormat && forX86_64 == kX86_64;
}

bool ModuleFile::exportsSymbol(std::string_view name) const {
    return std::binary_search(exports.begin(), exports.end(), name);
}

ModuleFile readModuleFile(const std::filesystem::path& file) {
    const std::vector<std::byte> bytes = readFile(file);
    const bool elf = startsWith(bytes,
                                "\x7F"
                                "ELF");
    if (!elf && !startsWith(bytes, "MZ")) {
        throw HostError(file.string() + ": not a module: neither ELF nor PE");
    }
    try {
        return elf ? parseElf(bytes) : parsePortableExecutable(bytes);
    } catch (const FormatError& error) {
        throw HostError(file.string() + ": not a sound " + (elf ? "ELF" : "PE") + " module: " + error.what());
    }
}

std::optional<ResourceDescription> readResourceDescription(const std::filesystem::path& moduleFile,
                                                           const ModuleFile& contents) {
    std::filesystem::path file = moduleFile;
    try {
        if (contents.pipl) {
            return decodePipl(*contents.pipl, std::endian::little);
        }
        file.replace_extension(".rsrc");
        std::error_code error;
        if (contents.format == ModuleFormat::PortableExecutable || !std::filesystem::exists(file, error)) {
            return std::nullopt;
        }
        const std::vector<std::byte> bytes = readFile(file);
        const auto pipl = findMacResource(bytes, kPiplType, kPiplId);
        return pipl ? std::optional(decodePipl(*pipl, std::endian::big)) : std::nullopt;
    } catch (const FormatError& error) {
        throw HostError(file.string() + ": not a sound resource description: " + error.what());
    }
}

std::optional<std::span<const std::byte>> findMacResource(std::span<const std::byte> bytes, std::string_view type,
                                                          int id) {
    const ByteReader file(bytes, std::endian::big);
    const std::uint64_t dataStart = file.u32(0, "the resource file's header");
    const std::uint64_t map = file.u32(4, "the resource file's header");
    const std::uint64_t types = map + file.u16(map + 24, "the resource map");
    // Counts are stored less one, so that 0xFFFF is none.
    const auto count = static_cast<std::uint16_t>(file.u16(types, "the type list") + 1);
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t entry = types + 2 + 8 * i;
        if (file.text(entry, 4, "the type list") != type) {
            continue;
        }
        const std::uint64_t references = types + file.u16(entry + 6, "the type list");
        const std::uint64_t last = file.u16(entry + 4, "the type list");
        for (std::uint64_t k = 0; k <= last; ++k) {
            const std::uint64_t reference = references + 12 * k;
            if (file.u16(reference, "a resource's reference") == id) {
                const std::uint64_t at = dataStart + (file.u32(reference + 4, "a resource's reference") & 0x00FFFFFFU);
                return file.range(at + 4, file.u32(at, "a resource"), "a resource");
            }
        }
    }
    return std::nullopt;
}

}  // namespace quorvel::host
