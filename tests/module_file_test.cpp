// SPDX-License-Identifier: MIT
// What the built module shows to a host that only looks at the file, and how damaged files are met.
#include "host/module_file/module_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "cli/agreement.h"
#include "host/host.h"
#include "host/module_file/byte_reader.h"
#include "host/module_file/elf_file.h"
#include "host/module_file/mac_resource.h"
#include "host/module_file/pe_file.h"
#include "plugins/after_effects/description/pipl.h"
#include "tests/support/module_images.h"
#include "tests/support/temporary_folder.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

namespace quorvel::host {
namespace {

using Bytes = std::vector<std::byte>;

#if defined(_WIN32)
constexpr bool kWindows = true;
#else
constexpr bool kWindows = false;
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

Bytes bytesOf(const std::string& text) {
    const auto* data = reinterpret_cast<const std::byte*>(text.data());
    return {data, data + text.size()};
}

Bytes readBytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return bytesOf({std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()});
}

ModuleFile parse(std::span<const std::byte> bytes) {
    return kWindows ? parsePortableExecutable(bytes) : parseElf(bytes);
}

/// What the module says of itself when it runs.
struct Reported {
    Identity identity;
    Capabilities capabilities;
};

Reported askModule() {
    Host host(QUORVEL_MODULE, Profile::afterEffects());
    EXPECT_TRUE(host.globalSetup().ok());
    return {host.module().identity(), host.capabilities()};
}

/// One line for each property that differs.
std::string disagreements(const ResourceDescription& description, const Reported& reported) {
    std::string lines;
    for (const cli::Agreement& one : cli::compare(description, reported.identity, reported.capabilities)) {
        if (!one.agree()) {
            lines += one.what + ": " + one.described + ", not " + one.reported + "\n";
        }
    }
    return lines;
}

std::vector<std::string> keysOf(bool windows) {
    std::vector<std::string> keys{"kind", "name", "catg"};
    for (const char* entry : {"8664", "mi64", "ma64"}) {
        if ((std::string(entry) == "8664") == windows) {
            keys.emplace_back(entry);
        }
    }
    for (const char* key : {"ePVR", "eSVR", "eVER", "eINF", "eGLO", "eGL2", "eMNA", "aeFL"}) {
        keys.emplace_back(key);
    }
    return keys;
}

TEST(BuiltModule, ShowsTwoEntryPointsAndNeedsSystemLibrariesOnly) {
    const ModuleFile module = readModuleFile(QUORVEL_MODULE);
    EXPECT_TRUE(module.runsHere());
    EXPECT_EQ(module.exports, (std::vector<std::string>{"EffectMain", "PluginDataEntryFunction"}));
    if (kWindows) {
        EXPECT_EQ(module.imports, (std::vector<std::string>{"KERNEL32.dll", "msvcrt.dll"}));
        EXPECT_EQ(module.fileVersion, "1.3.0.1");
    } else if (!kSanitized) {
        const std::set<std::string> system{"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6",
                                           "ld-linux-x86-64.so.2"};
        EXPECT_FALSE(module.imports.empty());
        for (const std::string& library : module.imports) {
            EXPECT_TRUE(system.contains(library)) << library;
        }
    }
}

TEST(BuiltModule, IsDescribedByItsResourceAsItReportsItself) {
    const ModuleFile module = readModuleFile(QUORVEL_MODULE);
    const auto description = readResourceDescription(QUORVEL_MODULE, module);
    ASSERT_TRUE(description);
    EXPECT_EQ(disagreements(*description, askModule()), "");
    EXPECT_EQ(description->keys, keysOf(kWindows));
    for (const auto& [key, entryPoint] : description->entryPoints) {
        EXPECT_TRUE(module.exportsSymbol(entryPoint)) << key;
    }
}

TEST(BuiltModule, HasAResourceFileForMacOSBesideIt) {
    const Bytes file = readBytes(std::filesystem::path(QUORVEL_MODULE).replace_extension(".rsrc"));
    const auto resource = findMacResource(file, kPiPL_MacResourceType, kPiPL_ResourceId);
    ASSERT_TRUE(resource);
    const ResourceDescription description = decodePipl(*resource, std::endian::big);
    EXPECT_EQ(disagreements(description, askModule()), "");
    EXPECT_EQ(description.keys, keysOf(false));
    EXPECT_FALSE(findMacResource(file, "vers", kPiPL_ResourceId));
    EXPECT_FALSE(findMacResource(file, kPiPL_MacResourceType, 1));
}

#if defined(_WIN32)
TEST(BuiltModule, HandsItsResourceToTheSystem) {
    const Module loaded(QUORVEL_MODULE);
    HMODULE handle = nullptr;
    ASSERT_TRUE(
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<LPCWSTR>(reinterpret_cast<void*>(loaded.effectMain())), &handle));
    const HRSRC found = FindResourceA(handle, MAKEINTRESOURCEA(kPiPL_ResourceId), kPiPL_WindowsResourceType);
    ASSERT_NE(found, nullptr);
    const auto* data = static_cast<const std::byte*>(LockResource(LoadResource(handle, found)));
    ASSERT_NE(data, nullptr);
    const Bytes bytes(data, data + SizeofResource(handle, found));
    EXPECT_EQ(disagreements(decodePipl(bytes, std::endian::little), askModule()), "");
    EXPECT_EQ(readModuleFile(QUORVEL_MODULE).pipl, bytes);
}

TEST(BuiltModule, WouldShowLibrariesThatItLoadsLate) {
    Bytes bytes = readBytes(QUORVEL_MODULE);
    const ByteReader reader(bytes, std::endian::little);
    const std::size_t directories = reader.u32(0x3C, "the DOS header") + 24 + 112;
    // The import table read as one of delayed imports: 8 bytes on, the first name is where such a table has it, and
    // the table's end is where the second entry has it.
    const std::uint32_t table = reader.u32(directories + 8, "the imports' directory") + 8;
    ASSERT_EQ(reader.u32(directories + 8 * 13, "the delayed imports' directory"), 0u);
    for (unsigned i = 0; i < 4; ++i) {
        bytes[directories + 8 * 13 + i] = static_cast<std::byte>(table >> (8 * i));
    }
    EXPECT_EQ(parse(bytes).imports, (std::vector<std::string>{"KERNEL32.dll", "msvcrt.dll", "KERNEL32.dll"}));
}
#endif

TEST(ResourceDescription, IsAsHostsExpectIt) {
    // Byte by byte as hosts read it: signature and key backwards, id 0, padded length, data padded to 4 bytes.
    using namespace std::string_literals;
    EXPECT_EQ(resources::piplResource(std::endian::little),
              "\1\0"
              "\0\0\0\0"
              "\x0C\0\0\0"
              "MIB8dnik\0\0\0\0\x04\0\0\0TKFe"
              "MIB8eman\0\0\0\0\x08\0\0\0\7Quorvel"
              "MIB8gtac\0\0\0\0\x08\0\0\0\6Orvane\0"
              "MIB84668\0\0\0\0\x0C\0\0\0EffectMain\0\0"
              "MIB8RVPe\0\0\0\0\x04\0\0\0\2\0\0\0"
              "MIB8RVSe\0\0\0\0\x04\0\0\0\x0D\0\x1B\0"
              "MIB8REVe\0\0\0\0\x04\0\0\0\x01\x86\x09\0"
              "MIB8FNIe\0\0\0\0\x04\0\0\0\0\0\0\0"
              "MIB8OLGe\0\0\0\0\x04\0\0\0\0\x80\0\x06"
              "MIB82LGe\0\0\0\0\x04\0\0\0\x10\x14\x80\x08"
              "MIB8ANMe\0\0\0\0\x08\0\0\0\7Quorvel"
              "MIB8LFea\0\0\0\0\x04\0\0\0\x08\0\0\0"s);
    const std::string mac = resources::piplResource(std::endian::big);
    EXPECT_EQ(mac.substr(0, 28), std::string("\0\0\0\0\0\0\0\x0D"
                                             "8BIMkind\0\0\0\0\0\0\0\4eFKT",
                                             28));
}

TEST(ResourceDescription, EveryWrongOrMissingPropertyIsNoticed) {
    const Reported reported = askModule();
    const std::string sound = resources::piplResource(std::endian::little);
    for (const std::string& key : keysOf(true)) {
        if (key == "ePVR" || key == "eINF") {
            continue;  // hosts ignore these, and the effect reports nothing like them
        }
        const std::size_t at = sound.find("MIB8" + std::string(key.rbegin(), key.rend()));
        ASSERT_NE(at, std::string::npos) << key;
        std::string wrong = sound;
        wrong[at + 17] = static_cast<char>(wrong[at + 17] ^ 1);
        EXPECT_NE(disagreements(decodePipl(bytesOf(wrong), std::endian::little), reported), "") << key;
        std::string missing = sound;
        missing[at + 4] = 'X';
        EXPECT_NE(disagreements(decodePipl(bytesOf(missing), std::endian::little), reported), "") << key;
    }
}

TEST(ResourceDescription, NamesTheEntryPointOfItsOwnPlatform) {
    const Reported reported = askModule();
    std::string windows = resources::piplResource(std::endian::little);
    windows.replace(windows.find("4668"), 4, "46im");
    EXPECT_EQ(disagreements(decodePipl(bytesOf(windows), std::endian::little), reported),
              "entry point 8664: (missing), not EffectMain\n");
    std::string mac = resources::piplResource(std::endian::big);
    mac.replace(mac.find("mi64"), 4, "8664");
    EXPECT_EQ(disagreements(decodePipl(bytesOf(mac), std::endian::big), reported), "");
    mac.replace(mac.find("ma64"), 4, "none");
    EXPECT_EQ(disagreements(decodePipl(bytesOf(mac), std::endian::big), reported),
              "entry point: (missing), not EffectMain\n");
}

TEST(ResourceDescription, DamageIsNamed) {
    const std::string sound = resources::piplResource(std::endian::little);
    const auto complaint = [](const std::string& bytes) -> std::string {
        try {
            decodePipl(bytesOf(bytes), std::endian::little);
            return "";
        } catch (const FormatError& error) {
            return error.what();
        }
    };
    EXPECT_EQ(complaint(sound), "");
    for (std::size_t length = 0; length < sound.size(); ++length) {
        EXPECT_NE(complaint(sound.substr(0, length)), "") << length << " bytes";
    }
    std::string many = sound;
    many[8] = '\x7F';
    EXPECT_EQ(complaint(many), "the resource has 8323084 properties: expected at most 256");
    std::string unsignedProperty = sound;
    unsignedProperty[10] = 'X';
    EXPECT_EQ(complaint(unsignedProperty), "property 1 has no signature");
    std::string longName = sound;
    longName[sound.find("MIB8eman") + 16] = '\xFF';
    EXPECT_EQ(complaint(longName), "property 'name' lies outside the file");
}

TEST(DamagedModule, IsRefusedInOneLine) {
    const test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "damaged";
    const auto complaint = [&](const Bytes& bytes) -> std::string {
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        try {
            readModuleFile(file);
            return "";
        } catch (const HostError& error) {
            return error.what();
        }
    };
    EXPECT_EQ(complaint(bytesOf("plain text")), file.string() + ": not a module: neither ELF nor PE");
    EXPECT_EQ(complaint(bytesOf("\x7F"
                                "ELF")),
              file.string() +
                  ": not a valid ELF module: the ELF header lies outside "
                  "the file");
    EXPECT_EQ(complaint(bytesOf("MZ")),
              file.string() + ": not a valid PE module: the DOS header lies outside the file");
    EXPECT_NE(complaint({}), "");
}

// ---- Modules with tables of the test's own choice ----

TEST(WindowsModule, ShowsItsTablesOnEverySystem) {
    test::PeImage image;
    image.exports = {"Second", "First"};
    image.unnamedExports = 3;
    image.imports = {"KERNEL32.dll", "msvcrt.dll"};
    image.delayedImports = {"late.dll"};
    image.resourceType = "PIPL";
    image.resource = "any bytes";
    image.fileVersion = {1, 2, 3, 40};
    const ModuleFile module = parsePortableExecutable(bytesOf(image.bytes()));
    EXPECT_TRUE(module.forX86_64);
    EXPECT_EQ(module.exports, (std::vector<std::string>{"First", "Second"}));
    EXPECT_EQ(module.imports, (std::vector<std::string>{"KERNEL32.dll", "msvcrt.dll", "late.dll"}));
    EXPECT_EQ(module.fileVersion, "1.2.3.40");
    EXPECT_EQ(module.pipl, bytesOf("any bytes"));

    image.directories = 13;  // one too few for the delayed imports
    image.resourceType = "PIPLS";
    const ModuleFile other = parsePortableExecutable(bytesOf(image.bytes()));
    EXPECT_EQ(other.imports, (std::vector<std::string>{"KERNEL32.dll", "msvcrt.dll"}));
    EXPECT_FALSE(other.pipl) << "a resource of a longer name";
    image.fileVersion = {};
    EXPECT_FALSE(parsePortableExecutable(bytesOf(image.bytes())).fileVersion);
}

TEST(WindowsModule, AnAddressAfterTheLastSectionIsDamage) {
    test::PeImage image;
    const std::string sound = image.bytes();
    test::FileBytes wrong;
    wrong.put(0, sound);
    constexpr std::size_t kExportDirectory = 0x80 + 24 + 112;
    wrong.put(kExportDirectory, test::PeImage::kSectionAddress + sound.size() - test::PeImage::kSectionOffset, 4);
    try {
        parsePortableExecutable(bytesOf(wrong.bytes() + std::string(64, '\0')));
        FAIL();
    } catch (const FormatError& error) {
        EXPECT_STREQ(error.what(), "an address lies outside the module's sections");
    }
}

TEST(LinuxModule, ShowsWhatOthersCanLinkTo) {
    const std::vector<test::ElfSymbol> symbols{{"plain"},        {"weak", 2},  {"protected", 1, 3},
                                               {"hidden", 1, 2}, {"local", 0}, {"elsewhere", 1, 0, false}};
    const std::vector<std::pair<unsigned, std::string>> needed{
        {1, "libone.so"}, {14, "its own name"}, {1, "libtwo.so"}, {0, ""}, {1, "after the end"}};
    const ModuleFile module = parseElf(bytesOf(test::elfImage(symbols, needed)));
    EXPECT_EQ(module.exports, (std::vector<std::string>{"plain", "protected", "weak"}));
    EXPECT_EQ(module.imports, (std::vector<std::string>{"libone.so", "libtwo.so"}));
    constexpr unsigned kProgram = 2;
    try {
        parseElf(bytesOf(test::elfImage(symbols, needed, kProgram)));
        FAIL();
    } catch (const FormatError& error) {
        EXPECT_STREQ(error.what(), "it is not a shared object");
    }
}

TEST(LinuxModule, OffsetsThatWrapAroundLieOutsideTheFile) {
    const Bytes bytes(16);
    const ByteReader reader(bytes, std::endian::little);
    EXPECT_EQ(reader.range(16, 0, "it").size(), 0U);
    EXPECT_THROW(reader.range(17, 0, "it"), FormatError);
    EXPECT_THROW(reader.range(~std::uint64_t{0}, 1, "it"), FormatError);
    EXPECT_THROW(reader.range(8, ~std::uint64_t{0} - 6, "it"), FormatError);
}

TEST(ResourceFile, AttributesAreNoPartOfTheOffset) {
    Bytes file = readBytes(std::filesystem::path(QUORVEL_MODULE).replace_extension(".rsrc"));
    const auto sound = findMacResource(file, kPiPL_MacResourceType, kPiPL_ResourceId);
    ASSERT_TRUE(sound);
    const Bytes before(sound->begin(), sound->end());
    const ByteReader reader(file, std::endian::big);
    const std::size_t types = reader.u32(4, "the map") + reader.u16(reader.u32(4, "the map") + 24, "the map");
    const std::size_t reference = types + reader.u16(types + 2 + 6, "the type list");
    file[reference + 4] = std::byte{0x20};  // purgeable
    const auto marked = findMacResource(file, kPiPL_MacResourceType, kPiPL_ResourceId);
    ASSERT_TRUE(marked);
    EXPECT_EQ(Bytes(marked->begin(), marked->end()), before);
}

TEST(ResourceDescription, HoldsUpTo256Properties) {
    const auto keysOfList = [](unsigned count) {
        test::FileBytes list;
        list.put(0, 1, 2);
        list.put(2, 0, 4);
        list.put(6, count, 4);
        for (std::size_t i = 0; i < count; ++i) {
            list.put(10 + 16 * i, "MIB8enon");
            list.put(10 + 16 * i + 8, 0, 8);
        }
        return decodePipl(bytesOf(list.bytes()), std::endian::little).keys;
    };
    EXPECT_EQ(keysOfList(256), std::vector<std::string>(256, "none"));
    EXPECT_THROW(keysOfList(257), FormatError);
}

TEST(ResourceDescription, PropertiesBeginAtMultiplesOfFourBytes) {
    test::FileBytes list;
    list.put(0, 1, 2);
    list.put(2, 0, 4);
    list.put(6, 2, 4);
    list.put(10, "MIB8enon");
    list.put(18, 0, 4);
    list.put(22, 5, 4);
    list.put(26, std::string("other") + std::string(3, '\0'));
    list.put(34, "MIB8eman");
    list.put(42, 0, 4);
    list.put(46, 8, 4);
    list.put(50, "\7Quorvel");
    EXPECT_EQ(decodePipl(bytesOf(list.bytes()), std::endian::little).name, "Quorvel");
}

TEST(DamagedModule, OfAnUnlikelySizeIsNotRead) {
    const test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "large";
    std::ofstream(file) << "MZ";
    std::filesystem::resize_file(file, (std::uintmax_t{1} << 28) + 1);  // a hole: it takes no room
    try {
        readModuleFile(file);
        ADD_FAILURE();
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(), file.string() + ": 268435457 bytes: expected at most 268435456 for a module");
    }
}

/// Damage anywhere is either harmless or a FormatError; the sanitizers watch for everything else.
TEST(DamagedModule, NeverLeadsOutsideTheFile) {
    const Bytes sound = readBytes(QUORVEL_MODULE);
    const auto parseAnyway = [](const Bytes& bytes) {
        try {
            parse(bytes);
        } catch (const FormatError&) {
        }
    };
    for (std::size_t length = 0; length < sound.size(); length += length < 1024 ? 1 : 1021) {
        EXPECT_THROW(parse(std::span(sound).first(length)), FormatError) << length << " bytes";
    }
    // Single bytes set to values that make offsets and counts extreme: each of the headers, which are within the first
    // 2048, and samples of the tables they lead to.
    Bytes damaged = sound;
    for (std::size_t at = 4; at < damaged.size(); at += at < 2048 ? 1 : 257) {
        for (const int value : {0x00, 0x7F, 0x80, 0xFF}) {
            damaged[at] = static_cast<std::byte>(value);
            EXPECT_NO_THROW(parseAnyway(damaged));
        }
        damaged[at] = sound[at];
    }
}

}  // namespace
}  // namespace quorvel::host
