// SPDX-License-Identifier: MIT
// JPEG files. Strips are encoded side by side, each as a picture of its own; their data become the intervals of one
// picture, between which the format has restart marks.
#include <turbojpeg.h>

#include <algorithm>
#include <memory>
#include <string>

#include "cli/pictures/bytes.h"
#include "cli/pictures/encode.h"
#include "cli/pictures/messages.h"
#include "cli/pictures/parallel.h"

namespace quorvel::cli {
namespace {

enum Marker : std::uint16_t {
    kStartOfImage = 0xFFD8,
    kEndOfImage = 0xFFD9,
    kBaselineFrame = 0xFFC0,
    kStartOfScan = 0xFFDA,
    kRestartInterval = 0xFFDD,
    kFirstRestart = 0xFFD0,
    kFirstApplication = 0xFFE0,
    kLastApplication = 0xFFEF,
    kComment = 0xFFFE,
};
constexpr int kRestarts = 8;  ///< restart marks are numbered in turn
constexpr std::size_t kMarkerBytes = 2;
constexpr int kLongestInterval = 65535;

struct Chroma {
    const char* name;  ///< OpenImageIO's
    TJSAMP sampling;
};
constexpr Chroma kChroma[] = {
    {"4:4:4", TJSAMP_444}, {"4:2:2", TJSAMP_422}, {"4:2:0", TJSAMP_420}, {"4:1:1", TJSAMP_411}, {"4:2:1", TJSAMP_440}};

/// As the input had it when that was a JPEG file too.
TJSAMP samplingOf(const OIIO::ImageSpec& spec) {
    const std::string name = spec.get_string_attribute("jpeg:subsampling");
    const auto* found =
        std::find_if(std::begin(kChroma), std::end(kChroma), [&](const Chroma& chroma) { return name == chroma.name; });
    return found == std::end(kChroma) ? TJSAMP_420 : found->sampling;
}

struct CloseCompressor {
    void operator()(void* handle) const { tjDestroy(handle); }
};

/// Rows `top` up to `end` as a whole JPEG file.
Bytes encodeStrip(const EncodeRequest& request, TJSAMP sampling, int top, int end) {
    const int width = request.world.width();
    const std::size_t rowBytes = static_cast<std::size_t>(width) * 3;
    Bytes pixels(rowBytes * static_cast<std::size_t>(end - top));
    for (int y = top; y < end; ++y) {
        packRow(request.world, y, 3, pixels.data() + rowBytes * static_cast<std::size_t>(y - top));
    }
    const std::unique_ptr<void, CloseCompressor> compressor(tjInitCompress());
    Bytes file(tjBufSize(width, end - top, sampling));
    unsigned char* to = file.data();
    unsigned long size = file.size();
    if (!compressor || tjCompress2(compressor.get(), pixels.data(), width, 0, end - top, TJPF_RGB, &to, &size, sampling,
                                   request.quality, TJFLAG_NOREALLOC | TJFLAG_ACCURATEDCT) != 0) {
        throw pictureFailure(request.name, "cannot be written", tjGetErrorStr2(compressor.get()));
    }
    file.resize(size);
    return file;
}

/// Calls `use(marker, begin, end)` for each segment between a file's start and its first scan; returns where the scan's
/// data begin.
template <typename Use>
std::size_t forEachSegment(const Bytes& file, const Use& use) {
    for (std::size_t at = kMarkerBytes;;) {
        const std::uint32_t marker = readBig(file, at, 2);
        const std::size_t end = at + kMarkerBytes + readBig(file, at + kMarkerBytes, 2);
        use(marker, at, end);
        if (marker == kStartOfScan) {
            return end;
        }
        at = end;
    }
}

/// Metadata segments of the library's file; those of the strips say nothing about the picture. What the library makes
/// of XMP and IPTC data is left out.
void appendMetadata(Bytes& file, const Bytes& from) {
    forEachSegment(from, [&](std::uint32_t marker, std::size_t begin, std::size_t end) {
        const bool application = marker >= kFirstApplication && marker <= kLastApplication;
        if ((application && !isJpegPacket(from, begin, end)) || marker == kComment) {
            append(file, from, begin, end);
        }
    });
}

/// The tables and the frame of the first strip, made true of the whole picture.
void appendHeaders(Bytes& file, const Bytes& strip, int height, int interval) {
    forEachSegment(strip, [&](std::uint32_t marker, std::size_t begin, std::size_t end) {
        if (marker >= kFirstApplication && marker <= kLastApplication) {
            return;
        }
        if (marker == kStartOfScan) {
            appendBig(file, kRestartInterval, 2);
            appendBig(file, 4, 2);  // the segment's length
            appendBig(file, static_cast<std::uint64_t>(interval), 2);
        }
        if (marker == kBaselineFrame) {
            constexpr std::size_t heightAt = 5;  // after the marker, the length and the precision
            append(file, strip, begin, begin + heightAt);
            appendBig(file, static_cast<std::uint64_t>(height), 2);
            append(file, strip, begin + heightAt + 2, end);
            return;
        }
        append(file, strip, begin, end);
    });
}

}  // namespace

std::vector<unsigned char> encodeJpeg(const EncodeRequest& request) {
    const TJSAMP sampling = samplingOf(request.spec);
    const int width = request.world.width();
    const int height = request.world.height();
    // The picture is coded in units of some pixels; a strip is a whole number of rows of them.
    const int unitsAcross = (width + tjMCUWidth[sampling] - 1) / tjMCUWidth[sampling];
    const int unitRows = std::clamp(kLongestInterval / unitsAcross, 1, 16);
    const int stripRows = unitRows * tjMCUHeight[sampling];
    std::vector<Bytes> strips(static_cast<std::size_t>((height + stripRows - 1) / stripRows));
    inParallel(strips.size(), [&](std::size_t i) {
        const int top = static_cast<int>(i) * stripRows;
        strips[i] = encodeStrip(request, sampling, top, std::min(top + stripRows, height));
    });

    Bytes file;
    appendBig(file, kStartOfImage, 2);
    appendMetadata(file, encodeMetadata(request));
    appendJpegPackets(file, request.packets);
    appendHeaders(file, strips.front(), height, unitRows * unitsAcross);
    for (std::size_t i = 0; i < strips.size(); ++i) {
        if (i > 0) {
            appendBig(file, kFirstRestart + (i - 1) % kRestarts, 2);
        }
        const std::size_t data = forEachSegment(strips[i], [](std::uint32_t, std::size_t, std::size_t) {});
        append(file, strips[i], data, strips[i].size() - kMarkerBytes);
        strips[i] = {};
    }
    appendBig(file, kEndOfImage, 2);
    return file;
}

}  // namespace quorvel::cli
