// SPDX-License-Identifier: MIT
// Where a picture's bytes come from: a regular file, or a pipe that is first read into memory.
#pragma once

#include <OpenImageIO/imageio.h>

#include <filesystem>
#include <memory>
#include <string>

#include "cli/pictures/formats.h"
#include "cli/pictures/packets.h"

namespace quorvel::cli {

/// An open file descriptor, closed at the end of its life.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    int number() const { return number_; }
    /// A name under which a library that insists on opening files itself can open it.
    std::string path() const;

private:
    int number_;
};

/// A file without a name, in memory, for reading and writing. Throws Failure naming `user`.
Descriptor memoryFile(const std::string& user);

/// Closing a damaged file may make the library complain once more.
struct QuietClose {
    void operator()(OIIO::ImageInput* input) const;
};
using OpenInput = std::unique_ptr<OIIO::ImageInput, QuietClose>;

/// A picture file that can be read.
struct Source {
    std::string name;     ///< as the user knows it
    Descriptor inMemory;  ///< what a pipe delivered
    const Format* format = nullptr;
    Packets packets;
    OpenInput input;  ///< at the file's first part
};

/// Whether a regular file's content, or for want of a mark its name, is that of a picture format. True for anything
/// else, which only reading can tell.
bool hasPictureContent(const std::filesystem::path& file);

/// Opens a regular file, a pipe, or the standard input when `file` is "-". The format is recognised by the content.
/// Throws Failure with the reason.
Source openSource(const std::filesystem::path& file);

}  // namespace quorvel::cli
