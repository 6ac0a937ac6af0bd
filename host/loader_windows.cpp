// SPDX-License-Identifier: MIT
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <atomic>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/base/error.h"
#include "host/base/path_text.h"
#include "host/loader.h"

namespace quorvel::host {

namespace {

std::string toUtf8(std::wstring_view text) {
    return pathText(std::filesystem::path(text));
}

/// The system's text for an error code, without line breaks and the final full stop.
std::string systemText(DWORD code) {
    wchar_t buffer[512];
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                       nullptr, code, 0, buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
    std::string text = toUtf8({buffer, length});
    while (!text.empty() && (text.back() == ' ' || text.back() == '.')) {
        text.pop_back();
    }
    return (text.empty() ? "" : text + ", ") + "error " + std::to_string(code);
}

/// Why a library was not loaded. The system's own texts for the two usual reasons have a gap for the file's name.
std::string loadingReason(DWORD code) {
    switch (code) {
        case ERROR_BAD_EXE_FORMAT:
            return "damaged, or not a 64-bit Windows library";
        case ERROR_MOD_NOT_FOUND:
            return "a library that it needs is missing";
        default:
            return systemText(code);
    }
}

/// Owns the copy that it was loaded from; the system does not let a loaded file be deleted.
class DynamicLibrary : public LoadedLibrary {
public:
    DynamicLibrary(HMODULE handle, std::filesystem::path copy) : handle_(handle), copy_(std::move(copy)) {}
    ~DynamicLibrary() override {
        FreeLibrary(handle_);
        std::error_code ignored;
        std::filesystem::remove(copy_, ignored);
    }
    DynamicLibrary(const DynamicLibrary&) = delete;
    DynamicLibrary& operator=(const DynamicLibrary&) = delete;
    void* symbol(const char* name) const override { return reinterpret_cast<void*>(GetProcAddress(handle_, name)); }

private:
    HMODULE handle_;
    std::filesystem::path copy_;
};

}  // namespace

std::unique_ptr<LoadedLibrary> loadFresh(const std::filesystem::path& file) {
    // A file loaded twice shares its state, so every load gets a copy under a name of its own.
    static std::atomic<unsigned> serial{0};
    const std::filesystem::path copy =
        std::filesystem::temp_directory_path() /
        ("module-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(serial.fetch_add(1)) + ".dll");
    std::error_code error;
    std::filesystem::copy_file(file, copy, std::filesystem::copy_options::overwrite_existing, error);
    if (error) {
        throw HostError(pathText(copy) + ": cannot copy " + pathText(file) + ": " + error.message());
    }
    const HMODULE handle = LoadLibraryW(copy.c_str());
    if (handle == nullptr) {
        const std::string reason = loadingReason(GetLastError());
        std::filesystem::remove(copy, error);
        throw HostError(pathText(file) + ": not a loadable module: " + reason);
    }
    return std::make_unique<DynamicLibrary>(handle, copy);
}

}  // namespace quorvel::host
