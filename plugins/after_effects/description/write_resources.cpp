// SPDX-License-Identifier: MIT
// Runs at build time, on the building machine: writes the module's resources into a directory.
//   Quorvel.pipl   the Windows form of the resource description
//   Quorvel.rc     that and the version information, for the Windows resource compiler
//   Quorvel.rsrc   a macOS resource file
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "plugins/after_effects/description/pipl.h"

namespace {

namespace identity = quorvel::identity;
using namespace quorvel::resources;

std::string dotted() {
    std::ostringstream text;
    text << identity::kVersionMajor << '.' << identity::kVersionMinor << '.' << identity::kVersionBugfix;
    return text.str();
}

std::string resourceScript() {
    std::ostringstream numbers;
    numbers << identity::kVersionMajor << ',' << identity::kVersionMinor << ',' << identity::kVersionBugfix << ','
            << identity::kBuild;
    std::ostringstream script;
    script << "LANGUAGE 9, 1\n"
           << kPiPL_ResourceId << ' ' << kPiPL_WindowsResourceType << " \"" << identity::kName << ".pipl\"\n"
           << "1 VERSIONINFO\n"
           << "FILEVERSION " << numbers.str() << "\n"
           << "PRODUCTVERSION " << numbers.str() << "\n"
           << "FILEOS 0x40004\n"  // 32-bit and 64-bit Windows NT
           << "FILETYPE 2\n"      // a dynamic library
           << "BEGIN\n"
           << "  BLOCK \"StringFileInfo\"\n  BEGIN\n    BLOCK \"040904B0\"\n    BEGIN\n"
           << "      VALUE \"FileDescription\", \"" << identity::kDescription << "\"\n"
           << "      VALUE \"FileVersion\", \"" << dotted() << "\"\n"
           << "      VALUE \"InternalName\", \"" << identity::kName << "\"\n"
           << "      VALUE \"OriginalFilename\", \"" << identity::kName << ".aex\"\n"
           << "      VALUE \"ProductName\", \"" << identity::kName << "\"\n"
           << "      VALUE \"ProductVersion\", \"" << dotted() << "\"\n"
           << "    END\n  END\n"
           << "  BLOCK \"VarFileInfo\"\n  BEGIN\n    VALUE \"Translation\", 0x0409, 0x04B0\n  END\n"
           << "END\n";
    return script.str();
}

void write(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream stream;
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream.open(file, std::ios::binary);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: write_resources DIRECTORY\n");
        return 2;
    }
    try {
        const std::filesystem::path directory = argv[1];
        const std::string name = identity::kName;
        write(directory / (name + ".pipl"), piplResource(std::endian::little));
        write(directory / (name + ".rc"), resourceScript());
        write(directory / (name + ".rsrc"), macResourceFile());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "write_resources: cannot write into %s: %s\n", argv[1], error.what());
        return 1;
    }
    return 0;
}
