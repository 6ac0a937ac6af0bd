// SPDX-License-Identifier: MIT
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <atomic>
#include <string>
#include <system_error>
#include <utility>

#include "host/error.h"
#include "host/loader.h"

namespace quorvel::host {

namespace {

std::string lastError() {
    std::string text = std::system_category().message(static_cast<int>(GetLastError()));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == '.')) {
        text.pop_back();  // the system ends its sentences, lines included
    }
    return text;
}

/// Owns its file as well: the system keeps a loaded file from being deleted.
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
    // The same name loaded twice shares its state; every load gets a copy under a name of its own.
    static std::atomic<unsigned> serial{0};
    const std::filesystem::path copy =
        std::filesystem::temp_directory_path() /
        ("module-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(serial.fetch_add(1)) + ".dll");
    std::error_code error;
    std::filesystem::copy_file(file, copy, std::filesystem::copy_options::overwrite_existing, error);
    if (error) {
        throw HostError(file.string() + ": cannot be copied for loading: " + error.message());
    }
    const HMODULE handle = LoadLibraryW(copy.c_str());
    if (handle == nullptr) {
        const std::string reason = lastError();
        std::filesystem::remove(copy, error);
        throw HostError(file.string() + ": not a loadable module: " + reason);
    }
    return std::make_unique<DynamicLibrary>(handle, copy);
}

}  // namespace quorvel::host
