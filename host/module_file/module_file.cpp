// SPDX-License-Identifier: MIT
#include "host/module_file/module_file.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string_view>

#include "host/base/error.h"
#include "host/base/path_text.h"
#include "host/module_file/byte_reader.h"
#include "host/module_file/elf_file.h"
#include "host/module_file/mac_resource.h"
#include "host/module_file/pe_file.h"
#include "sdk/pipl.h"

namespace quorvel::host {

void requireModuleFile(const std::filesystem::path& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) {
        throw HostError(pathText(file) + ": no such module");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw HostError(pathText(file) + ": not a module: not a regular file");
    }
}

namespace {

constexpr std::uintmax_t kMaximumFileSize = std::uintmax_t{1} << 28;

std::vector<std::byte> readFile(const std::filesystem::path& file) {
    requireModuleFile(file);
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    if (error) {
        throw HostError(pathText(file) + ": " + error.message());
    }
    if (size > kMaximumFileSize) {
        throw HostError(pathText(file) + ": " + std::to_string(size) + " bytes: expected at most " +
                        std::to_string(kMaximumFileSize) + " for a module");
    }
    std::vector<std::byte> bytes(static_cast<std::size_t>(size));
    std::ifstream stream(file, std::ios::binary);
    if (!stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        throw HostError(pathText(file) + ": cannot read it");
    }
    return bytes;
}

bool startsWith(const std::vector<std::byte>& bytes, std::string_view magic) {
    return bytes.size() >= magic.size() &&
           std::equal(magic.begin(), magic.end(), bytes.begin(),
                      [](char letter, std::byte byte) { return static_cast<std::byte>(letter) == byte; });
}

}  // namespace

ModuleFile readModuleFile(const std::filesystem::path& file) {
    const std::vector<std::byte> bytes = readFile(file);
    const bool elf = startsWith(bytes, kElfMagic);
    if (!elf && !startsWith(bytes, kDosMagic)) {
        throw HostError(pathText(file) + ": not a module: neither ELF nor PE");
    }
    try {
        return elf ? parseElf(bytes) : parsePortableExecutable(bytes);
    } catch (const FormatError& error) {
        throw HostError(pathText(file) + ": not a valid " + (elf ? "ELF" : "PE") + " module: " + error.what());
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
        const auto pipl = findMacResource(bytes, kPiPL_MacResourceType, kPiPL_ResourceId);
        return pipl ? std::optional(decodePipl(*pipl, std::endian::big)) : std::nullopt;
    } catch (const FormatError& error) {
        throw HostError(pathText(file) + ": not a valid resource description: " + error.what());
    }
}

}  // namespace quorvel::host
