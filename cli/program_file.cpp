// SPDX-License-Identifier: MIT
#include "cli/program_file.h"

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After windows.h, which it needs.
#include <shellapi.h>
#else
#include <sys/auxv.h>
#endif

#include "cli/exit_status.h"

namespace quorvel::cli {

namespace fs = std::filesystem;

#if defined(_WIN32)

fs::path programFile() {
    std::wstring name(32768, L'\0');  // the longest path there is
    name.resize(GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size())));
    return name;
}

std::vector<std::string> programArguments(int /*count*/, char** /*arguments*/) {
    // What main() gets has lost every letter that the code page lacks.
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        const int size = WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
        std::string& text = arguments.emplace_back(static_cast<std::size_t>(size), '\0');
        WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), size, nullptr, nullptr);
        text.pop_back();  // the terminating zero
    }
    LocalFree(wide);
    return arguments;
}

Utf8Console::Utf8Console() : codePageBefore_(GetConsoleOutputCP()) {
    SetConsoleOutputCP(CP_UTF8);
}

Utf8Console::~Utf8Console() {
    SetConsoleOutputCP(codePageBefore_);
}

#else

fs::path programFile() {
    std::error_code error;
    fs::path file = fs::read_symlink("/proc/self/exe", error);
    if (!error) {
        return file;
    }
    // Without /proc the kernel still provides the name under which it started the program.
    const auto* started = reinterpret_cast<const char*>(getauxval(AT_EXECFN));  // NOLINT(performance-no-int-to-ptr)
    if (started != nullptr) {
        file = fs::canonical(started, error);
    }
    if (started == nullptr || error) {
        throw Failure("cannot find the program's own file; name the module with --module");
    }
    return file;
}

std::vector<std::string> programArguments(int count, char** arguments) {
    return {arguments + 1, arguments + count};
}

#endif

fs::path pathFrom(const std::string& argument) {
    return std::u8string(argument.begin(), argument.end());
}

fs::path companionFile(const std::string& name) {
    std::error_code error;
    const fs::path folder = programFile().parent_path();
    const fs::path beside = folder / name;
    const fs::path installed = folder.parent_path() / "lib" / "quorvel" / name;
    return !fs::exists(beside, error) && fs::exists(installed, error) ? installed : beside;
}

}  // namespace quorvel::cli
