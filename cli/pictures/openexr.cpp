// SPDX-License-Identifier: MIT
// OpenEXR files of rows compressed with zlib's method, chunks side by side.
#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>
#include <cstring>
#include <map>
#include <numeric>
#include <string>

#include "cli/pictures/bytes.h"
#include "cli/pictures/deflate.h"
#include "cli/pictures/encode.h"
#include "cli/pictures/parallel.h"

namespace quorvel::cli {
namespace {

/// Takes about as many bytes as zlib's level 4, OpenImageIO's default, in much less time.
constexpr int kExrDefaultLevel = 2;

// ---- The header ----

enum ExrCompression : unsigned char { kZips = 2, kZip = 3 };
constexpr unsigned char kIncreasingY = 0;
constexpr int kExrZipRows = 16;  ///< of a chunk; zips has one

struct ExrHeader {
    Bytes bytes;
    std::map<std::string, std::size_t> values;  ///< where the value of each attribute begins

    unsigned char& value(const std::string& name) { return bytes.at(values.at(name)); }
};

/// The header alone of a file of one part.
ExrHeader readExrHeader(const Bytes& file) {
    ExrHeader header;
    constexpr std::size_t magicAndVersion = 8, sizeBytes = 4;
    std::size_t at = magicAndVersion;
    const auto readName = [&] {
        std::string name;
        while (const unsigned char letter = file.at(at++)) {
            name += static_cast<char>(letter);
        }
        return name;
    };
    for (std::string name = readName(); !name.empty(); name = readName()) {
        readName();  // the type
        header.values[name] = at + sizeBytes;
        at += sizeBytes + readLittle(file, at, sizeBytes);
    }
    append(header.bytes, file, 0, at);
    return header;
}

void setWindow(ExrHeader& header, const std::string& name, int x, int y, int width, int height) {
    Bytes corners;
    for (const int corner : {x, y, x + width - 1, y + height - 1}) {
        appendLittle(corners, static_cast<std::uint32_t>(corner), 4);
    }
    std::copy(corners.begin(), corners.end(), &header.value(name));
}

// ---- Chunks ----

/// Packs one chunk after another, in buffers that are used again.
class ChunkPacker {
public:
    /// The request stays the caller's.
    ChunkPacker(const EncodeRequest& request, int chunkRows)
        : request_(request),
          chunkRows_(chunkRows),
          channels_(request.spec.channelnames.size()),
          deflater_(request.compression.level.value_or(kExrDefaultLevel)) {
        std::iota(channels_.begin(), channels_.end(), std::size_t{0});
        const std::vector<std::string>& names = request.spec.channelnames;
        std::sort(channels_.begin(), channels_.end(), [&](auto one, auto other) { return names[one] < names[other]; });
    }

    /// The chunk's first row, its size and its bytes: the rows as they are if compression does not make them smaller.
    Bytes pack(std::size_t number) {
        const int top = static_cast<int>(number) * chunkRows_;
        const int end = std::min(top + chunkRows_, request_.spec.height);
        request_.spec.format == OIIO::TypeDesc::HALF ? packRows<std::uint16_t>(top, end)
                                                     : packRows<std::uint32_t>(top, end);
        predict();
        const Bytes compressed = deflater_.stream(predicted_);
        const Bytes& stored = compressed.size() < rows_.size() ? compressed : rows_;
        Bytes chunk;
        chunk.reserve(8 + stored.size());
        appendLittle(chunk, static_cast<std::uint32_t>(request_.spec.y + top), 4);
        appendLittle(chunk, stored.size(), 4);
        append(chunk, stored, 0, stored.size());
        return chunk;
    }

private:
    /// Rows as they are without compression: of each row all samples of the first channel, then of the next.
    template <typename Bits>
    void packRows(int top, int end) {
        static_assert(std::endian::native == std::endian::little);
        const auto width = static_cast<std::size_t>(request_.spec.width);
        const std::size_t samples = width * channels_.size();
        floats_.resize(samples);
        row_.resize(samples * sizeof(Bits));
        rows_.resize(samples * sizeof(Bits) * static_cast<std::size_t>(end - top));
        unsigned char* to = rows_.data();
        for (int y = top; y < end; ++y) {
            packRow(request_.world, y, request_.spec.nchannels, floats_.data());
            OIIO::convert_pixel_values(OIIO::TypeDesc::FLOAT, floats_.data(), request_.spec.format, row_.data(),
                                       static_cast<int>(samples));
            for (const std::size_t channel : channels_) {
                const unsigned char* from = row_.data() + channel * sizeof(Bits);
                for (std::size_t x = 0; x < width; ++x) {
                    std::memcpy(to, from, sizeof(Bits));
                    to += sizeof(Bits);
                    from += channels_.size() * sizeof(Bits);
                }
            }
        }
    }

    /// The bytes at even places, then those at odd ones; each but the first less the one before it, where 128 is none.
    void predict() {
        predicted_.resize(rows_.size());
        const std::size_t half = rows_.size() / 2;  // a sample takes 2 or 4 bytes
        const auto less = [](unsigned char value, unsigned char before) {
            return static_cast<unsigned char>(value - before + 128);
        };
        const unsigned char* from = rows_.data();
        unsigned char* even = predicted_.data();
        unsigned char* odd = even + half;
        even[0] = from[0];
        odd[0] = less(from[1], from[2 * half - 2]);
        for (std::size_t i = 1; i < half; ++i) {
            even[i] = less(from[2 * i], from[2 * i - 2]);
            odd[i] = less(from[2 * i + 1], from[2 * i - 1]);
        }
    }

    const EncodeRequest& request_;
    int chunkRows_;
    std::vector<std::size_t> channels_;  ///< in the order of their names, which is that of the file
    Deflater deflater_;
    std::vector<float> floats_;
    Bytes row_, rows_, predicted_;
};

}  // namespace

std::vector<unsigned char> encodeOpenExr(const EncodeRequest& request) {
    const OIIO::ImageSpec& spec = request.spec;
    // The library says of the small file what it says of every one; only the windows depend on the size.
    ExrHeader header = readExrHeader(encodeMetadata(request));
    setWindow(header, "dataWindow", spec.x, spec.y, spec.width, spec.height);
    setWindow(header, "displayWindow", spec.full_x, spec.full_y, spec.full_width > 0 ? spec.full_width : spec.width,
              spec.full_height > 0 ? spec.full_height : spec.height);
    const int chunkRows = header.value("compression") == kZip ? kExrZipRows : 1;
    header.value("lineOrder") = kIncreasingY;

    std::vector<Bytes> chunks(static_cast<std::size_t>((spec.height + chunkRows - 1) / chunkRows));
    std::atomic<std::size_t> next = 0;
    inParallel(parallelThreads(), [&](std::size_t) {
        ChunkPacker packer(request, chunkRows);
        for (std::size_t i = next++; i < chunks.size(); i = next++) {
            chunks[i] = packer.pack(i);
        }
    });

    Bytes file = std::move(header.bytes);
    std::size_t offset = file.size() + 8 * chunks.size();
    for (const Bytes& chunk : chunks) {
        appendLittle(file, offset, 8);
        offset += chunk.size();
    }
    file.reserve(offset);
    for (Bytes& chunk : chunks) {
        append(file, chunk, 0, chunk.size());
        chunk = {};
    }
    return file;
}

}  // namespace quorvel::cli
