// SPDX-License-Identifier: MIT
// PNG files. Strips of rows are filtered and compressed side by side; put one after another they are the one zlib
// stream that PNG asks for.
#include <OpenImageIO/tiffutils.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "cli/pictures/bytes.h"
#include "cli/pictures/deflate.h"
#include "cli/pictures/encode.h"
#include "cli/pictures/parallel.h"

namespace quorvel::cli {
namespace {

constexpr std::size_t kPngStripBytes = std::size_t{1} << 20;
constexpr int kPngDefaultLevel = 4;
constexpr std::size_t kSignatureBytes = 8;
/// A chunk's length, name and checksum.
constexpr std::size_t kLengthBytes = 4, kNameBytes = 4, kChecksumBytes = 4;

void appendChunk(Bytes& file, std::string_view name, const Bytes& data) {
    appendBig(file, data.size(), 4);
    const std::size_t begin = file.size();
    file.insert(file.end(), name.begin(), name.end());
    file.insert(file.end(), data.begin(), data.end());
    appendBig(file, libdeflate_crc32(0, file.data() + begin, file.size() - begin), 4);
}

/// The filter named Paeth: each byte less the nearest of those to the left, above, and above left. `left` is the number
/// of bytes from one pixel to the next; `above` is the row above, zeros for the first.
void filterRow(const unsigned char* row, const unsigned char* above, std::size_t bytes, std::size_t left,
               unsigned char* to) {
    constexpr unsigned char paeth = 4;
    *to++ = paeth;
    for (std::size_t i = 0; i < left; ++i) {
        to[i] = static_cast<unsigned char>(row[i] - above[i]);
    }
    for (std::size_t i = left; i < bytes; ++i) {
        const int a = row[i - left];
        const int b = above[i];
        const int c = above[i - left];
        const int fromA = std::abs(b - c);
        const int fromB = std::abs(a - c);
        const int fromC = std::abs(a + b - 2 * c);
        const int aboves = fromB <= fromC ? b : c;
        const int nearest = fromA <= fromB && fromA <= fromC ? a : aboves;
        to[i] = static_cast<unsigned char>(row[i] - nearest);
    }
}

struct Strip {
    Bytes chunk;               ///< a whole IDAT chunk but for what the first and the last one add
    std::uint32_t adler = 1;   ///< of the filtered bytes
    std::size_t filtered = 0;  ///< their number
};

class Strips {
public:
    explicit Strips(const EncodeRequest& request)
        : request_(request),
          sampleBytes_(request.depth == host::Depth::Bits8 ? 1 : 2),
          pixelBytes_(sampleBytes_ * static_cast<std::size_t>(request.spec.nchannels)),
          rowBytes_(pixelBytes_ * static_cast<std::size_t>(request.world.width())),
          stripRows_(static_cast<int>(std::clamp<std::size_t>(kPngStripBytes / rowBytes_, 1, 65536))),
          count_(static_cast<std::size_t>((request.world.height() + stripRows_ - 1) / stripRows_)) {}

    std::size_t count() const { return count_; }
    /// The filtered and compressed rows of a strip.
    Strip compressed(std::size_t index) const;

private:
    void packRowBytes(int y, unsigned char* to) const;

    const EncodeRequest& request_;
    std::size_t sampleBytes_, pixelBytes_, rowBytes_;
    int stripRows_;
    std::size_t count_;
};

void Strips::packRowBytes(int y, unsigned char* to) const {
    if (sampleBytes_ == 1) {
        packRow(request_.world, y, request_.spec.nchannels, to);
        return;
    }
    std::vector<std::uint16_t> samples(rowBytes_ / 2);
    packRow(request_.world, y, request_.spec.nchannels, samples.data());
    for (const std::uint16_t sample : samples) {
        *to++ = static_cast<unsigned char>(sample >> 8);
        *to++ = static_cast<unsigned char>(sample);
    }
}

Strip Strips::compressed(std::size_t index) const {
    const int top = static_cast<int>(index) * stripRows_;
    const int end = std::min(top + stripRows_, request_.world.height());
    Bytes above(rowBytes_, 0);
    Bytes row(rowBytes_);
    if (top > 0) {
        packRowBytes(top - 1, above.data());
    }
    Bytes filtered((rowBytes_ + 1) * static_cast<std::size_t>(end - top));
    for (int y = top; y < end; ++y) {
        packRowBytes(y, row.data());
        filterRow(row.data(), above.data(), rowBytes_, pixelBytes_,
                  filtered.data() + (rowBytes_ + 1) * static_cast<std::size_t>(y - top));
        std::swap(row, above);
    }
    Strip strip;
    strip.adler = libdeflate_adler32(1, filtered.data(), filtered.size());
    strip.filtered = filtered.size();
    strip.chunk = Deflater(request_.compression.level.value_or(kPngDefaultLevel)).piece(filtered, index + 1 == count_);
    return strip;
}

/// The chunks of the library's file but its pixels, and where among them the pixels belong.
struct Frame {
    Bytes before;  ///< the signature, IHDR and what follows up to the pixels
    Bytes after;
};

Frame makeFrame(const EncodeRequest& request) {
    const Bytes metadata = encodeMetadata(request);
    Frame frame;
    append(frame.before, metadata, 0, kSignatureBytes);
    Bytes* part = &frame.before;
    for (std::size_t at = kSignatureBytes; at < metadata.size();) {
        const std::size_t end = at + kLengthBytes + kNameBytes + readBig(metadata, at, 4) + kChecksumBytes;
        const std::string name(metadata.begin() + static_cast<std::ptrdiff_t>(at + kLengthBytes),
                               metadata.begin() + static_cast<std::ptrdiff_t>(at + kLengthBytes + kNameBytes));
        if (name == "IHDR") {
            Bytes header;
            appendBig(header, static_cast<std::uint64_t>(request.world.width()), 4);
            appendBig(header, static_cast<std::uint64_t>(request.world.height()), 4);
            append(header, metadata, at + kLengthBytes + kNameBytes + 8, end - kChecksumBytes);
            appendChunk(frame.before, name, header);
        } else if (name == "IDAT") {
            part = &frame.after;
        } else {
            append(*part, metadata, at, end);
        }
        at = end;
    }
    std::vector<char> exif;
    OIIO::encode_exif(request.spec, exif);
    if (!exif.empty()) {
        appendChunk(frame.before, "eXIf", Bytes(exif.begin(), exif.end()));
    }
    if (!request.packets.xmp.empty()) {
        appendChunk(frame.before, "iTXt", pngXmpChunk(request.packets.xmp));
    }
    return frame;
}

}  // namespace

std::vector<unsigned char> encodePng(const EncodeRequest& request) {
    const Strips strips(request);
    std::vector<Strip> done(strips.count());
    inParallel(done.size(), [&](std::size_t i) { done[i] = strips.compressed(i); });

    const Frame frame = makeFrame(request);
    Bytes file = frame.before;
    std::uint32_t adler = 1;
    for (std::size_t i = 0; i < done.size(); ++i) {
        Strip& strip = done[i];
        adler = static_cast<std::uint32_t>(adler32_combine(adler, strip.adler, static_cast<z_off_t>(strip.filtered)));
        if (i == 0) {
            constexpr unsigned char zlibHeader[] = {0x78, 0x9C};  // deflate with a window of 32 KiB
            strip.chunk.insert(strip.chunk.begin(), std::begin(zlibHeader), std::end(zlibHeader));
        }
        if (i + 1 == done.size()) {
            appendBig(strip.chunk, adler, 4);
        }
        appendChunk(file, "IDAT", strip.chunk);
        strip.chunk = {};
    }
    append(file, frame.after, 0, frame.after.size());
    return file;
}

}  // namespace quorvel::cli
