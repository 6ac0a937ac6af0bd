// SPDX-License-Identifier: MIT
#include "cli/pictures/source.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "cli/pictures/bytes.h"
#include "cli/pictures/messages.h"
#include "cli/pictures/webp.h"
#include "cli/quiet_libraries.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;

/// More than this is not taken from a pipe.
constexpr std::size_t kPipeLimit = std::size_t{2} << 30;

Failure systemFailure(const std::string& name, const std::string& what) {
    return pictureFailure(name, what, std::strerror(errno));
}

/// Everything that can be read from `from`, as a file.
Descriptor readAll(int from, const std::string& name) {
    Descriptor file = memoryFile(name);
    std::vector<char> block(std::size_t{1} << 20);
    for (std::size_t total = 0;;) {
        const ssize_t got = ::read(from, block.data(), block.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            throw systemFailure(name, "cannot be read");
        }
        if (got == 0) {
            return file;
        }
        total += static_cast<std::size_t>(got);
        if (total > kPipeLimit) {
            throw pictureFailure(name, "delivers more than " + std::to_string(kPipeLimit >> 30) +
                                           " GiB, the most that is read from a pipe");
        }
        for (ssize_t written = 0; written < got;) {
            const ssize_t step =
                ::write(file.number(), block.data() + written, static_cast<std::size_t>(got - written));
            if (step < 0 && errno != EINTR) {
                throw systemFailure(name, "not enough memory for what the pipe delivers");
            }
            written += std::max<ssize_t>(step, 0);
        }
    }
}

std::string bytesAt(int file, off_t offset, std::size_t count) {
    std::string bytes(count, '\0');
    const ssize_t got = offset < 0 ? 0 : ::pread(file, bytes.data(), count, offset);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return bytes;
}

/// Null when nothing recognises it.
const Format* formatOf(int file, off_t size, const fs::path& path) {
    const Format* format = formatOfContent(bytesAt(file, 0, kFirstBytes),
                                           bytesAt(file, size - static_cast<off_t>(kLastBytes), kLastBytes));
    if (format == nullptr) {
        // A TGA file of the first version has no mark at all.
        const Format* named = formatOfEnding(path);
        format = named != nullptr && named->name == "targa" ? named : nullptr;
    }
    return format;
}

const Format& recognise(int file, const std::string& name, const fs::path& path) {
    struct stat status {};
    if (::fstat(file, &status) != 0) {
        throw systemFailure(name, "cannot be read");
    }
    if (status.st_size == 0) {
        throw pictureFailure(name, "is empty");
    }
    const Format* format = formatOf(file, status.st_size, path);
    if (format == nullptr) {
        const char* const asVideo = path == "-" ? "; a video must be a file" : "";
        throw pictureFailure(name, "not a readable picture: is not " + formatTitles() + asVideo);
    }
    return *format;
}

/// The library reads an interlaced PNG file as a whole, so the size that a file claims must be one that it can hold:
/// deflate makes at most 1032 bytes of one.
void refuseImpossibleSize(int file, const std::string& name) {
    constexpr std::size_t widthAt = 16, heightAt = 20, bitsAt = 24, kindAt = 25, end = 29;
    constexpr std::array<int, 7> channelsOfKind{1, 0, 3, 1, 2, 0, 4};
    const std::string text = bytesAt(file, 0, end);
    const Bytes header(text.begin(), text.end());
    struct stat status {};
    if (header.size() < end || header[kindAt] >= channelsOfKind.size() || ::fstat(file, &status) != 0) {
        return;  // the library says what is wrong
    }
    const std::uint32_t width = readBig(header, widthAt, 4);
    const std::uint32_t height = readBig(header, heightAt, 4);
    const double bytes = static_cast<double>(width) * height * channelsOfKind[header[kindAt]] * header[bitsAt] / 8;
    if (bytes > 1032.0 * static_cast<double>(status.st_size)) {
        throw pictureFailure(name, "damaged or cut short",
                             fmt::format("{} bytes cannot hold {} x {} pixels", status.st_size, width, height));
    }
}

/// The file for reading. A regular file is opened, a pipe is read to its end.
Descriptor openFile(const fs::path& file, Source& source) {
    if (file == "-") {
        if (::isatty(STDIN_FILENO) != 0) {
            throw pictureFailure(source.name, "is a terminal, not a picture");
        }
        source.inMemory = readAll(STDIN_FILENO, source.name);
        return Descriptor(::dup(source.inMemory.number()));
    }
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (!fs::exists(status)) {
        throw pictureFailure(source.name,
                             error && status.type() == fs::file_type::none ? error.message() : "no such file");
    }
    if (fs::is_directory(status)) {
        throw pictureFailure(source.name, "is a folder, not a picture");
    }
    if (!fs::is_regular_file(status) && !fs::is_fifo(status)) {
        throw pictureFailure(source.name, "is neither a regular file nor a pipe");
    }
    Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (opened.number() < 0) {
        throw systemFailure(source.name, "cannot be read");
    }
    if (fs::is_fifo(status)) {
        source.inMemory = readAll(opened.number(), source.name);
        return Descriptor(::dup(source.inMemory.number()));
    }
    return opened;
}

}  // namespace

Descriptor::~Descriptor() {
    if (number_ >= 0) {
        ::close(number_);
    }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
}

std::string Descriptor::path() const {
    return "/proc/self/fd/" + std::to_string(number_);
}

Descriptor memoryFile(const std::string& user) {
    Descriptor file(::memfd_create("quorvel", MFD_CLOEXEC));
    if (file.number() < 0) {
        throw systemFailure(user, "no file in memory");
    }
    return file;
}

void QuietClose::operator()(OIIO::ImageInput* input) const {
    const QuietLibraries quiet;
    delete input;
}

bool hasPictureContent(const fs::path& file) {
    std::error_code error;
    if (file == "-" || !fs::is_regular_file(file, error)) {
        return true;
    }
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    const auto size = static_cast<off_t>(fs::file_size(file, error));
    return opened.number() < 0 || size == 0 || formatOf(opened.number(), size, file) != nullptr;
}

Source openSource(const fs::path& file) {
    Source source;
    source.name = file == "-" ? "standard input" : file.string();
    const Descriptor opened = openFile(file, source);
    source.format = &recognise(opened.number(), source.name, file);
    if (source.format->name == "png") {
        refuseImpossibleSize(opened.number(), source.name);
    }
    const std::string path = source.inMemory.number() >= 0 ? source.inMemory.path() : file.string();

    source.packets = readPackets(opened.number(), *source.format);

    OIIO::ImageSpec configuration;
    configuration.attribute("oiio:UnassociatedAlpha", 1);  // leave the colours of translucent pixels alone
    OIIO::ImageSpec ignored;
    const QuietLibraries quiet;
    source.input = source.format->name == "webp"
                       ? OpenInput(createWebpInput().release())
                       : OpenInput(OIIO::ImageInput::create(std::string(source.format->name)).release());
    if (!source.input || !source.input->open(path, ignored, configuration)) {
        std::string reason = source.input ? source.input->geterror() : OIIO::geterror();
        if (reason.empty()) {
            reason = "the library gives no reason";
        }
        throw pictureFailure(
            source.name, "not a readable picture: a damaged " + std::string(source.format->title) + " file", reason);
    }
    return source;
}

}  // namespace quorvel::cli
