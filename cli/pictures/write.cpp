// SPDX-License-Identifier: MIT
#include "cli/pictures/write.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>

#include "cli/pictures/encode.h"
#include "cli/pictures/messages.h"
#include "cli/pictures/metadata.h"
#include "cli/pictures/webp.h"
#include "cli/staged_file.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

namespace fs = std::filesystem;
using host::Depth;

constexpr int kDefaultQuality = 95;
/// A TIFF file larger than this has offsets of 64 bits.
constexpr double kLargestTiff = 4e9;
/// The GIF writer overruns its memory on larger pictures.
constexpr double kLargestGif = 16777216;
/// The JPEG 2000 writer's number of resolutions needs as many pixels in either direction.
constexpr int kSmallestJpeg2000 = 32;

struct Encoded {
    std::vector<unsigned char> bytes;
    std::vector<std::string> notes;
};

void refuseSize(const Format& format, const std::string& name, const host::World& world) {
    const double pixels = static_cast<double>(world.width()) * world.height();
    const std::string size = std::to_string(world.width()) + " x " + std::to_string(world.height());
    if (format.name == "gif" && pixels > kLargestGif) {
        throw pictureFailure(name, "cannot be written",
                             "GIF files of more than 16.7 megapixels are unsupported, and this has " + size);
    }
    if (format.name == "jpeg2000" && std::min(world.width(), world.height()) < kSmallestJpeg2000) {
        throw pictureFailure(name, "cannot be written",
                             "JPEG 2000 files of less than " + std::to_string(kSmallestJpeg2000) +
                                 " pixels in either direction are unsupported, and this has " + size);
    }
}

/// About how many bytes a writer takes that does not notice when memory is short; 0 for the others.
std::size_t uncheckedMemory(const EncodeRequest& request) {
    if (request.format.name == "gif") {
        return 28 * request.spec.image_pixels();
    }
    if (request.format.name == "jpeg2000") {
        return 20 * request.spec.image_pixels() * static_cast<std::size_t>(request.spec.nchannels);
    }
    return 0;
}

/// A JPEG 2000 file ends with the end of its codestream, or the writer gave up without a word.
bool isWholeJpeg2000(const std::vector<unsigned char>& file) {
    return file.size() > 2 && file[file.size() - 2] == 0xFF && file.back() == 0xD9;
}

std::vector<unsigned char> encodeIn(const EncodeRequest& request) {
    const std::string_view format = request.format.name;
    if (format == "png") {
        return encodePng(request);
    }
    if (format == "jpeg") {
        return encodeJpeg(request);
    }
    if (format == "webp") {
        return encodeWebp(request);
    }
    if (format == "pnm") {
        return encodePnm(request);
    }
    ::operator delete(::operator new(uncheckedMemory(request)));
    const bool zip = lowerCase(request.spec.get_string_attribute("compression", "zip")).substr(0, 3) == "zip";
    const bool fits = static_cast<double>(request.spec.image_bytes()) < kLargestTiff;
    if (format == "tiff" && fits && zip) {
        return encodeTiff(request);
    }
    if (format == "openexr" && request.further == nullptr && zip) {
        return encodeOpenExr(request);
    }
    std::vector<unsigned char> bytes = encodeWithLibrary(request);
    if (format == "jpeg2000" && !isWholeJpeg2000(bytes)) {
        throw pictureFailure(request.name, "cannot be written", "the JPEG 2000 writer gave up");
    }
    return bytes;
}

Encoded encode(const Format& format, const std::string& name, const host::World& world, const PictureTraits& traits,
               WriteSettings settings) {
    refuseSize(format, name, world);
    Encoded encoded;
    std::vector<std::string>& notes = encoded.notes;
    if (settings.alpha && !format.alpha) {
        settings.alpha = false;
        notes.push_back(name + ": the format holds no alpha; written without it");
    }
    const Depth depth = format.floatOnly ? Depth::Float32 : std::min(world.depth(), format.deepest);
    if (depth < world.depth()) {
        notes.push_back(name + ": written with " + (depth == Depth::Bits8 ? "8" : "16") +
                        " bits a channel, the most that the format holds");
    }
    if (format.name == "gif") {
        notes.push_back(name + ": GIF holds at most 256 colours");
    }
    const std::vector<std::string> losses = notesOnLosses(name, format, traits);
    notes.insert(notes.end(), losses.begin(), losses.end());
    EncodeRequest request{world, format, name, outputSpec(format, world, traits, settings, depth), depth, notes};
    request.compression = parseCompression(format, settings.compression).value_or(Compression{});
    request.quality = settings.quality.value_or(kDefaultQuality);
    request.packets = traits.packets;
    dropUnfitting(request.packets, name, format, notes);
    correctXmp(request.packets.xmp, world.width(), world.height(), intAttribute(request.spec, "Orientation", 1));
    if (format.name == "openexr" && !traits.further.empty()) {
        request.further = &traits.further;
    }
    try {
        encoded.bytes = encodeIn(request);
    } catch (const std::bad_alloc&) {
        throw memoryFailure(name, world.width(), world.height(), static_cast<double>(request.spec.image_bytes()));
    }
    return encoded;
}

}  // namespace

std::vector<std::string> writePicture(const fs::path& file, const host::World& world, const PictureTraits& traits,
                                      const WriteSettings& settings) {
    const std::string name = file.string();
    const Format* format = formatOfEnding(file);
    if (format == nullptr) {
        throw pictureFailure(name, "cannot be written: expected " + formatEndings());
    }
    StagedFile staged(file, settings.clobber ? Existing::Replace : Existing::Keep);
    const Encoded encoded = encode(*format, name, world, traits, settings);
    staged.write(encoded.bytes);
    staged.commit();
    return encoded.notes;
}

std::vector<std::string> writePictureToStandardOutput(const host::World& world, const PictureTraits& traits,
                                                      const WriteSettings& settings) {
    const std::string name = "standard output";
    const Encoded encoded = encode(*formatNamed("png"), name, world, traits, settings);
    if (std::fwrite(encoded.bytes.data(), 1, encoded.bytes.size(), stdout) != encoded.bytes.size() ||
        std::fflush(stdout) != 0) {
        throw pictureFailure(name, "cannot be written", std::strerror(errno));
    }
    return encoded.notes;
}

bool isWritableFormat(const fs::path& file) {
    return formatOfEnding(file) != nullptr;
}

std::string writableFormats() {
    return formatEndings();
}

bool holdsFurtherChannels(const fs::path& file) {
    const Format* format = formatOfEnding(file);
    return format != nullptr && format->name == "openexr";
}

void checkCompression(const fs::path& file, const WriteSettings& settings) {
    const Format* format = file == "-" ? formatNamed("png") : formatOfEnding(file);
    if (format == nullptr) {
        return;
    }
    if (!settings.compression.empty() && !parseCompression(*format, settings.compression)) {
        const std::string choices = compressionChoices(*format);
        throw choices.empty()
            ? UsageError("--compression: " + std::string(format->title) + " has no choice of it")
            : badValue("--compression", settings.compression, choices + " for " + std::string(format->title));
    }
    if (settings.quality && !format->quality) {
        throw UsageError("--quality: " + std::string(format->title) + " has none");
    }
    if (settings.quality && settings.compression == "lossless") {
        throw UsageError("--quality: lossless compression has none");
    }
}

}  // namespace quorvel::cli
