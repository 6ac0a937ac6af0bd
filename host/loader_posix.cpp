// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <unistd.h>

#include <mutex>
#include <string>

#include "host/base/error.h"
#include "host/base/path_text.h"
#include "host/loader.h"

namespace quorvel::host {

namespace {

class DynamicLibrary : public LoadedLibrary {
public:
    explicit DynamicLibrary(void* handle) : handle_(handle) {}
    ~DynamicLibrary() override { dlclose(handle_); }
    void* symbol(const char* name) const override { return dlsym(handle_, name); }

private:
    void* handle_;
};

/// A copy under a name of its own, deleted by the destructor; a loaded library stays mapped.
class TemporaryCopy {
public:
    explicit TemporaryCopy(const std::filesystem::path& file) {
        std::string pattern = (std::filesystem::temp_directory_path() / "module-XXXXXX").string();
        const int descriptor = mkstemp(pattern.data());
        if (descriptor < 0) {
            throw HostError(pattern + ": cannot make a temporary copy of " + pathText(file));
        }
        close(descriptor);
        path_ = pattern;
        std::error_code error;
        std::filesystem::copy_file(file, path_, std::filesystem::copy_options::overwrite_existing, error);
        if (error) {
            std::filesystem::remove(path_);
            throw HostError(pathText(path_) + ": cannot copy " + pathText(file) + ": " + error.message());
        }
    }
    ~TemporaryCopy() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    TemporaryCopy(const TemporaryCopy&) = delete;
    TemporaryCopy& operator=(const TemporaryCopy&) = delete;
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// Loads `file`; an error names `shownAs`.
void* open(const std::filesystem::path& file, const std::filesystem::path& shownAs) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* text = dlerror();
        std::string reason = text != nullptr ? text : "unknown";
        // The loader's text starts with the file it was given, which may be a copy; the message names the file already.
        if (const std::string prefix = file.string() + ": "; reason.starts_with(prefix)) {
            reason.erase(0, prefix.size());
        }
        throw HostError(pathText(shownAs) + ": not a loadable module: " + reason);
    }
    return handle;
}

}  // namespace

std::unique_ptr<LoadedLibrary> loadFresh(const std::filesystem::path& file) {
    // A second dlopen of the same file shares the first one's state, so the second load gets a copy. The lock makes
    // sure that of two threads only one finds the file not loaded yet.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    const std::filesystem::path path = std::filesystem::absolute(file);
    if (void* loaded = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD)) {
        dlclose(loaded);
        const TemporaryCopy copy(path);
        return std::make_unique<DynamicLibrary>(open(copy.path(), file));
    }
    return std::make_unique<DynamicLibrary>(open(path, file));
}

}  // namespace quorvel::host
