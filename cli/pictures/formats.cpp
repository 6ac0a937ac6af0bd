// SPDX-License-Identifier: MIT
#include "cli/pictures/formats.h"

#include <algorithm>
#include <array>

#include "cli/text.h"

namespace quorvel::cli {
namespace {

using host::Depth;

constexpr std::string_view kPng[] = {".png"};
constexpr std::string_view kTiff[] = {".tif", ".tiff"};
constexpr std::string_view kExr[] = {".exr"};
constexpr std::string_view kJpeg[] = {".jpg", ".jpeg", ".jpe"};
constexpr std::string_view kDpx[] = {".dpx"};
constexpr std::string_view kHdr[] = {".hdr"};
constexpr std::string_view kJpeg2000[] = {".jp2", ".j2k", ".j2c"};
constexpr std::string_view kWebp[] = {".webp"};
constexpr std::string_view kTarga[] = {".tga"};
constexpr std::string_view kBmp[] = {".bmp"};
constexpr std::string_view kGif[] = {".gif"};
constexpr std::string_view kPnm[] = {".ppm", ".pgm", ".pnm"};

constexpr std::string_view kTiffCompressions[] = {"none", "lzw", "packbits", "zip"};
constexpr std::string_view kExrCompressions[] = {"none",  "rle", "zip",  "zips", "piz",
                                                 "pxr24", "b44", "b44a", "dwaa", "dwab"};
constexpr std::string_view kWebpCompressions[] = {"lossy", "lossless"};

constexpr std::array kFormats{
    Format{.name = "png",
           .title = "PNG",
           .endings = kPng,
           .deepest = Depth::Bits16,
           .exif = true,
           .orientation = true,
           .profile = true,
           .xmp = true,
           .maximumLevel = 9},
    Format{.name = "tiff",
           .title = "TIFF",
           .endings = kTiff,
           .deepest = Depth::Float32,
           .exif = true,
           .orientation = true,
           .profile = true,
           .xmp = true,
           .iptc = true,
           .compressions = kTiffCompressions},
    Format{.name = "openexr",
           .title = "OpenEXR",
           .endings = kExr,
           .deepest = Depth::Float32,
           .floatOnly = true,
           .exif = true,
           .orientation = true,
           .compressions = kExrCompressions},
    Format{.name = "jpeg",
           .title = "JPEG",
           .endings = kJpeg,
           .deepest = Depth::Bits8,
           .alpha = false,
           .exif = true,
           .orientation = true,
           .profile = true,
           .xmp = true,
           .iptc = true,
           .quality = true},
    Format{.name = "dpx", .title = "DPX", .endings = kDpx, .deepest = Depth::Float32, .orientation = true},
    Format{
        .name = "hdr", .title = "HDR", .endings = kHdr, .deepest = Depth::Float32, .floatOnly = true, .alpha = false},
    Format{.name = "jpeg2000", .title = "JPEG 2000", .endings = kJpeg2000, .deepest = Depth::Bits16},
    Format{.name = "webp",
           .title = "WebP",
           .endings = kWebp,
           .deepest = Depth::Bits8,
           .exif = true,
           .orientation = true,
           .profile = true,
           .xmp = true,
           .quality = true,
           .compressions = kWebpCompressions},
    Format{.name = "targa", .title = "TGA", .endings = kTarga, .deepest = Depth::Bits8},
    Format{.name = "bmp", .title = "BMP", .endings = kBmp, .deepest = Depth::Bits8},
    Format{.name = "gif", .title = "GIF", .endings = kGif, .deepest = Depth::Bits8},
    Format{.name = "pnm", .title = "PNM", .endings = kPnm, .deepest = Depth::Bits16, .alpha = false},
};

/// How the files of a format begin.
struct Mark {
    std::string_view bytes;
    std::string_view format;
};
using namespace std::string_view_literals;
constexpr std::array kMarks{
    Mark{"\x89PNG\r\n\x1A\n"sv, "png"},
    Mark{"II*\0"sv, "tiff"},
    Mark{"MM\0*"sv, "tiff"},
    Mark{"II+\0"sv, "tiff"},
    Mark{"MM\0+"sv, "tiff"},
    Mark{"\x76\x2F\x31\x01"sv, "openexr"},
    Mark{"\xFF\xD8\xFF"sv, "jpeg"},
    Mark{"SDPX"sv, "dpx"},
    Mark{"XPDS"sv, "dpx"},
    Mark{"#?"sv, "hdr"},
    Mark{"\0\0\0\x0CjP  \r\n\x87\n"sv, "jpeg2000"},
    Mark{"\xFF\x4F\xFF\x51"sv, "jpeg2000"},
    Mark{"BM"sv, "bmp"},
    Mark{"GIF87a"sv, "gif"},
    Mark{"GIF89a"sv, "gif"},
};

/// The parts of `list` as "a, b or c".
template <typename List, typename Text>
std::string enumerate(const List& list, const Text& text) {
    std::string all;
    std::size_t i = 0;
    for (const auto& part : list) {
        all += i == 0 ? "" : i + 1 == std::size(list) ? " or " : ", ";
        all += text(part);
        ++i;
    }
    return all;
}

bool takesLevel(const Format& format, std::string_view compression) {
    return (format.name == "tiff" || format.name == "openexr") && compression == "zip";
}

constexpr int kMaximumZipLevel = 9;

}  // namespace

const Format* formatNamed(std::string_view name) {
    const auto* found = std::find_if(kFormats.begin(), kFormats.end(), [&](const Format& f) { return f.name == name; });
    return found == kFormats.end() ? nullptr : found;
}

const Format* formatOfEnding(const std::filesystem::path& file) {
    const std::string ending = lowerCase(file.extension().string());
    const auto* found = std::find_if(kFormats.begin(), kFormats.end(), [&](const Format& format) {
        return std::find(format.endings.begin(), format.endings.end(), ending) != format.endings.end();
    });
    return found == kFormats.end() ? nullptr : found;
}

const Format* formatOfContent(std::string_view first, std::string_view last) {
    for (const Mark& mark : kMarks) {
        if (first.substr(0, mark.bytes.size()) == mark.bytes) {
            return formatNamed(mark.format);
        }
    }
    if (first.size() >= 12 && first.substr(0, 4) == "RIFF" && first.substr(8, 4) == "WEBP") {
        return formatNamed("webp");
    }
    constexpr std::string_view pnmKinds = "123456Ff";
    constexpr std::string_view gaps = " \t\r\n#";
    if (first.size() >= 3 && first[0] == 'P' && pnmKinds.find(first[1]) != std::string_view::npos &&
        gaps.find(first[2]) != std::string_view::npos) {
        return formatNamed("pnm");
    }
    return last == "TRUEVISION-XFILE.\0"sv ? formatNamed("targa") : nullptr;
}

std::string formatTitles() {
    return enumerate(kFormats, [](const Format& format) { return format.title; });
}

std::string formatEndings() {
    return "a name ending in " + enumerate(kFormats, [](const Format& format) { return format.endings.front(); });
}

std::string compressionChoices(const Format& format) {
    if (format.maximumLevel >= format.minimumLevel) {
        return std::to_string(format.minimumLevel) + " to " + std::to_string(format.maximumLevel);
    }
    std::string list = enumerate(format.compressions, [](std::string_view name) { return name; });
    if (takesLevel(format, "zip")) {
        list += ", zip also as zip:1 to zip:" + std::to_string(kMaximumZipLevel);
    }
    return list;
}

std::optional<Compression> parseCompression(const Format& format, std::string_view text) {
    const std::string lower = lowerCase(text);
    if (format.maximumLevel >= format.minimumLevel) {
        const auto level = parseInteger(lower);
        if (!level || *level < format.minimumLevel || *level > format.maximumLevel) {
            return std::nullopt;
        }
        return Compression{{}, level};
    }
    const std::size_t colon = lower.find(':');
    Compression compression{lower.substr(0, colon), std::nullopt};
    if (std::find(format.compressions.begin(), format.compressions.end(), compression.name) ==
        format.compressions.end()) {
        return std::nullopt;
    }
    if (colon != std::string::npos) {
        compression.level = parseInteger(std::string_view(lower).substr(colon + 1));
        if (!takesLevel(format, compression.name) || !compression.level || *compression.level < 1 ||
            *compression.level > kMaximumZipLevel) {
            return std::nullopt;
        }
    }
    return compression;
}

}  // namespace quorvel::cli
