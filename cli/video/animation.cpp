// SPDX-License-Identifier: MIT
#include "cli/video/animation.h"

#include <cstdint>
#include <fstream>
#include <string_view>
#include <system_error>

namespace quorvel::cli {
namespace {

/// Reads a file's bytes; all that follow the end are 0.
class Bytes {
public:
    explicit Bytes(const std::filesystem::path& file) : stream_(file, std::ios::binary) {}
    bool good() const { return stream_.good(); }
    void skip(std::streamoff count) { stream_.seekg(count, std::ios::cur); }
    std::uint8_t next() {
        const int byte = stream_.get();
        return byte < 0 ? std::uint8_t{0} : static_cast<std::uint8_t>(byte);
    }
    std::uint32_t bigEndian() {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value = value << 8U | next();
        }
        return value;
    }
    bool begins(std::string_view text) {
        for (const char letter : text) {
            if (next() != static_cast<std::uint8_t>(letter)) {
                return false;
            }
        }
        return true;
    }

private:
    std::ifstream stream_;
};

/// Behind the flags of a colour table in a GIF.
void skipColourTable(Bytes& gif, std::uint8_t flags) {
    constexpr std::uint8_t present = 0x80;
    if ((flags & present) != 0) {
        gif.skip(std::streamoff{3} << ((flags & 7U) + 1));
    }
}

void skipSubBlocks(Bytes& gif) {
    for (std::uint8_t size = gif.next(); size != 0; size = gif.next()) {
        gif.skip(size);
    }
}

/// From after the signature on.
bool gifHasSeveralImages(Bytes& gif) {
    constexpr std::uint8_t image = 0x2C;
    constexpr std::uint8_t extension = 0x21;
    constexpr int sizeBytes = 4;
    constexpr int placeBytes = 8;
    gif.skip(sizeBytes);
    const std::uint8_t screen = gif.next();
    gif.skip(2);  // background and aspect
    skipColourTable(gif, screen);
    bool one = false;
    while (gif.good()) {
        const std::uint8_t block = gif.next();
        if (block == extension) {
            gif.skip(1);  // its kind
        } else if (block == image) {
            if (one) {
                return true;
            }
            one = true;
            gif.skip(placeBytes);
            skipColourTable(gif, gif.next());
            gif.skip(1);  // bits of a code
        } else {
            return false;
        }
        skipSubBlocks(gif);
    }
    return false;
}

/// From after the signature on.
bool pngHasSeveralFrames(Bytes& png) {
    constexpr std::uint32_t animation = 0x6163544C;  // acTL, which comes before the pixels
    constexpr std::uint32_t pixels = 0x49444154;
    constexpr int sumBytes = 4;
    while (png.good()) {
        const std::uint32_t size = png.bigEndian();
        const std::uint32_t kind = png.bigEndian();
        if (kind == animation) {
            return png.bigEndian() > 1;
        }
        if (kind == pixels) {
            return false;
        }
        png.skip(std::streamoff{size} + sumBytes);
    }
    return false;
}

}  // namespace

bool isAnimation(const std::filesystem::path& file) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        return false;
    }
    constexpr int signatureBytes = 6;  // GIF87a or GIF89a
    Bytes bytes(file);
    switch (bytes.next()) {
        case 'G':
            bytes.skip(signatureBytes - 1);
            return gifHasSeveralImages(bytes);
        case 0x89:
            return bytes.begins("PNG\r\n\x1a\n") && pngHasSeveralFrames(bytes);
        default:
            return false;
    }
}

}  // namespace quorvel::cli
