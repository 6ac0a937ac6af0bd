// SPDX-License-Identifier: MIT
// TIFF files compressed with zlib's method, strips side by side.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <map>
#include <stdexcept>

#include "cli/pictures/bytes.h"
#include "cli/pictures/deflate.h"
#include "cli/pictures/encode.h"
#include "cli/pictures/parallel.h"

namespace quorvel::cli {
namespace {

constexpr std::size_t kTiffStripBytes = std::size_t{1} << 20;
constexpr int kTiffDefaultLevel = 4;

// ---- Strips ----

/// Each sample less the one of the pixel to the left.
template <typename Integer>
void differences(Integer* row, std::size_t samples, std::size_t channels) {
    for (std::size_t i = samples; i-- > channels;) {
        row[i] = static_cast<Integer>(row[i] - row[i - channels]);
    }
}

/// Floats by planes: first all highest bytes, then all second ones and so on; then each byte less the one of the pixel
/// to the left.
void predictFloats(unsigned char* row, std::size_t samples, std::size_t channels) {
    static_assert(std::endian::native == std::endian::little);
    const Bytes interleaved(row, row + samples * sizeof(float));
    for (std::size_t plane = 0; plane < sizeof(float); ++plane) {
        for (std::size_t i = 0; i < samples; ++i) {
            row[plane * samples + i] = interleaved[i * sizeof(float) + (sizeof(float) - 1 - plane)];
        }
    }
    differences(row, samples * sizeof(float), channels);
}

template <typename Sample>
Bytes packStrip(const EncodeRequest& request, int top, int end) {
    const auto channels = static_cast<std::size_t>(request.spec.nchannels);
    const std::size_t rowSamples = channels * static_cast<std::size_t>(request.world.width());
    std::vector<Sample> row(rowSamples);
    Bytes strip(rowSamples * sizeof(Sample) * static_cast<std::size_t>(end - top));
    for (int y = top; y < end; ++y) {
        packRow(request.world, y, request.spec.nchannels, row.data());
        unsigned char* to = strip.data() + rowSamples * sizeof(Sample) * static_cast<std::size_t>(y - top);
        if constexpr (std::is_same_v<Sample, float>) {
            std::memcpy(to, row.data(), rowSamples * sizeof(Sample));
            predictFloats(to, rowSamples, channels);
        } else {
            differences(row.data(), rowSamples, channels);
            std::memcpy(to, row.data(), rowSamples * sizeof(Sample));
        }
    }
    return strip;
}

// ---- The file ----

enum Tag : std::uint16_t {
    kImageWidth = 256,
    kImageLength = 257,
    kCompression = 259,
    kStripOffsets = 273,
    kRowsPerStrip = 278,
    kStripByteCounts = 279,
    kPredictor = 317,
};
enum Type : std::uint16_t { kShort = 3, kLong = 4 };
constexpr std::size_t kEntryBytes = 12;
constexpr std::size_t kDirectoryOffsetAt = 4;

/// The entries of a file's directory by tag, each in the file's own bytes.
using Directory = std::map<std::uint16_t, Bytes>;

Directory readDirectory(const Bytes& file) {
    Directory directory;
    const std::size_t at = readLittle(file, kDirectoryOffsetAt, 4);
    const std::uint32_t count = readLittle(file, at, 2);
    for (std::uint32_t i = 0; i < count; ++i) {
        Bytes entry;
        const std::size_t begin = at + 2 + i * kEntryBytes;
        append(entry, file, begin, begin + kEntryBytes);
        directory[static_cast<std::uint16_t>(readLittle(entry, 0, 2))] = entry;
    }
    return directory;
}

void setEntry(Directory& directory, Tag tag, Type type, std::size_t count, std::size_t valueOrOffset) {
    Bytes entry;
    appendLittle(entry, tag, 2);
    appendLittle(entry, type, 2);
    appendLittle(entry, count, 4);
    appendLittle(entry, valueOrOffset, 4);
    directory[tag] = entry;
}

/// Appends the numbers as longs; returns what the entry says of them: the number itself, or where the numbers are.
std::size_t appendNumbers(Bytes& file, const std::vector<std::size_t>& numbers) {
    if (numbers.size() == 1) {
        return numbers.front();
    }
    const std::size_t at = file.size();
    for (const std::size_t number : numbers) {
        appendLittle(file, number, 4);
    }
    return at;
}

}  // namespace

std::vector<unsigned char> encodeTiff(const EncodeRequest& request) {
    const host::World& world = request.world;
    const std::size_t rowBytes = static_cast<std::size_t>(world.width()) *
                                 static_cast<std::size_t>(request.spec.nchannels) * sampleType(request.depth).size();
    const int stripRows = static_cast<int>(std::clamp<std::size_t>(kTiffStripBytes / rowBytes, 1, 65536));
    std::vector<Bytes> strips(static_cast<std::size_t>((world.height() + stripRows - 1) / stripRows));
    inParallel(strips.size(), [&](std::size_t i) {
        const int top = static_cast<int>(i) * stripRows;
        const int end = std::min(top + stripRows, world.height());
        withTypeOf(request.depth, [&](auto tag) {
            strips[i] = Deflater(request.compression.level.value_or(kTiffDefaultLevel))
                            .stream(packStrip<decltype(tag)>(request, top, end));
        });
    });

    // The library's small file stays as it is, so that its directory's offsets remain true; the strips follow, and a
    // new directory with the same entries but those that describe the pixels.
    Bytes file = encodeMetadata(request);
    Directory directory = readDirectory(file);
    std::vector<std::size_t> offsets, sizes;
    for (Bytes& strip : strips) {
        offsets.push_back(file.size());
        sizes.push_back(strip.size());
        append(file, strip, 0, strip.size());
        strip = {};
    }
    file.resize((file.size() + 1) / 2 * 2);  // what an offset points to begins at an even one
    constexpr std::size_t adobeDeflate = 8, horizontal = 2, floatingPoint = 3;
    setEntry(directory, kImageWidth, kLong, 1, static_cast<std::size_t>(world.width()));
    setEntry(directory, kImageLength, kLong, 1, static_cast<std::size_t>(world.height()));
    setEntry(directory, kCompression, kShort, 1, adobeDeflate);
    setEntry(directory, kPredictor, kShort, 1, request.depth == host::Depth::Float32 ? floatingPoint : horizontal);
    setEntry(directory, kRowsPerStrip, kLong, 1, static_cast<std::size_t>(stripRows));
    setEntry(directory, kStripOffsets, kLong, offsets.size(), appendNumbers(file, offsets));
    setEntry(directory, kStripByteCounts, kLong, sizes.size(), appendNumbers(file, sizes));

    Bytes position;
    appendLittle(position, file.size(), 4);
    std::copy(position.begin(), position.end(), file.begin() + kDirectoryOffsetAt);
    appendLittle(file, directory.size(), 2);
    for (const auto& [tag, entry] : directory) {
        append(file, entry, 0, entry.size());
    }
    appendLittle(file, 0, 4);  // no further directory
    return file;
}

}  // namespace quorvel::cli
