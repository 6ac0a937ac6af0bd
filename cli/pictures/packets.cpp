// SPDX-License-Identifier: MIT
#include "cli/pictures/packets.h"

#include <tiffio.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace quorvel::cli {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kJpegXmp = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view kJpegResources = "Photoshop 3.0\0"sv;
constexpr std::string_view kPngXmp = "XML:com.adobe.xmp\0"sv;
constexpr std::string_view kResource = "8BIM"sv;
constexpr std::uint32_t kIptcResource = 0x0404;
/// Of a JPEG segment, after its length.
constexpr std::size_t kLongestSegment = 65533;
/// Larger packets count as damaged.
constexpr std::size_t kLongestPacket = std::size_t{16} << 20;

/// `count` bytes of a file. Throws std::out_of_range when there are fewer, or too many are asked for.
Bytes bytesOf(int file, std::uint64_t at, std::size_t count) {
    if (count > kLongestPacket) {
        throw std::out_of_range("a packet");
    }
    Bytes bytes(count);
    for (std::size_t done = 0; done < count;) {
        const ssize_t got = ::pread(file, bytes.data() + done, count - done, static_cast<off_t>(at + done));
        if (got <= 0) {
            throw std::out_of_range("a file");
        }
        done += static_cast<std::size_t>(got);
    }
    return bytes;
}

std::string textOf(const Bytes& bytes, std::size_t begin = 0) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(std::min(begin, bytes.size())), bytes.end()};
}

/// The IPTC data among Photoshop's resources, each of which has a mark, a number, a name and its data; the name with
/// its length, and the data, take an even number of bytes.
std::string iptcAmong(const Bytes& resources) {
    const auto isResource = [&](std::size_t at) {
        return std::equal(kResource.begin(), kResource.end(), resources.begin() + static_cast<std::ptrdiff_t>(at));
    };
    for (std::size_t at = 0; at + kResource.size() <= resources.size() && isResource(at);) {
        const std::uint32_t number = readBig(resources, at + 4, 2);
        const std::size_t sizeAt = at + 6 + (resources.at(at + 6) + 2u) / 2 * 2;
        const std::size_t size = readBig(resources, sizeAt, 4);
        if (number == kIptcResource) {
            return textOf(resources, sizeAt + 4).substr(0, size);
        }
        at = sizeAt + 4 + (size + 1) / 2 * 2;
    }
    return {};
}

void readJpeg(int file, Packets& packets) {
    constexpr std::uint32_t startOfScan = 0xFFDA, application1 = 0xFFE1, application13 = 0xFFED;
    Bytes resources;
    for (std::uint64_t at = 2;;) {
        const Bytes head = bytesOf(file, at, 4);
        const std::uint32_t marker = readBig(head, 0, 2);
        const std::uint32_t size = readBig(head, 2, 2);
        if (marker == 0xFFFF) {  // a byte that fills
            ++at;
            continue;
        }
        if (marker == startOfScan || marker < 0xFF00 || size < 2) {
            break;
        }
        if (marker == application1 || marker == application13) {
            const Bytes data = bytesOf(file, at + 4, size - 2);
            const std::string text = textOf(data);
            if (marker == application1 && text.starts_with(kJpegXmp) && packets.xmp.empty()) {
                packets.xmp = text.substr(kJpegXmp.size());
            } else if (marker == application13 && text.starts_with(kJpegResources)) {
                append(resources, data, kJpegResources.size(), data.size());
            }
        }
        at += 2 + size;
    }
    packets.iptc = iptcAmong(resources);
}

std::string inflated(const std::string& text) {
    Bytes bytes(std::size_t{1} << 16);
    for (; bytes.size() <= kLongestPacket; bytes.resize(bytes.size() * 4)) {
        uLongf size = bytes.size();
        const int result = uncompress(bytes.data(), &size, reinterpret_cast<const Bytef*>(text.data()), text.size());
        if (result != Z_BUF_ERROR) {
            bytes.resize(result == Z_OK ? size : 0);
            return textOf(bytes);
        }
    }
    return {};
}

void readPng(int file, Packets& packets) {
    constexpr std::size_t signature = 8, lengthAndName = 8, checksum = 4;
    for (std::uint64_t at = signature; packets.xmp.empty();) {
        const Bytes head = bytesOf(file, at, lengthAndName);
        const std::size_t size = readBig(head, 0, 4);
        if (textOf(head, 4) == "iTXt" && size <= kLongestPacket) {
            // The keyword, whether the text is compressed, the method, a language, the translated keyword, the text.
            const std::string data = textOf(bytesOf(file, at + lengthAndName, size));
            const std::size_t flags = kPngXmp.size();
            const std::size_t language = data.starts_with(kPngXmp) ? data.find('\0', flags + 2) : std::string::npos;
            const std::size_t translated = language == std::string::npos ? language : data.find('\0', language + 1);
            if (translated != std::string::npos) {
                const std::string text = data.substr(translated + 1);
                packets.xmp = data[flags] == 0 ? text : inflated(text);
            }
        }
        at += lengthAndName + size + checksum;
    }
}

void readWebp(int file, Packets& packets) {
    for (std::uint64_t at = 12; packets.xmp.empty();) {
        const Bytes head = bytesOf(file, at, 8);
        const std::size_t size = readLittle(head, 4, 4);
        if (textOf(head).starts_with("XMP ")) {
            packets.xmp = textOf(bytesOf(file, at + 8, size));
        }
        at += 8 + (size + 1) / 2 * 2;
    }
}

/// Reads the numbers of a TIFF file, in either order of bytes.
struct TiffNumbers {
    bool bigEndian;

    std::uint64_t at(const Bytes& bytes, std::size_t place, int count) const {
        if (count == 8) {
            const std::uint64_t first = at(bytes, place, 4);
            const std::uint64_t second = at(bytes, place + 4, 4);
            return bigEndian ? first << 32 | second : second << 32 | first;
        }
        return bigEndian ? readBig(bytes, place, count) : readLittle(bytes, place, count);
    }
};

std::size_t tiffTypeBytes(std::uint64_t type) {
    constexpr std::array<std::size_t, 14> bytes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    return type < bytes.size() ? bytes[type] : 0;
}

/// From the first directory. Not with the library, which takes IPTC data of one type alone.
void readTiff(int file, Packets& packets) {
    const Bytes head = bytesOf(file, 0, 16);
    const TiffNumbers numbers{head[0] == 'M'};
    const bool wide = numbers.at(head, 2, 2) == 43;
    const int offsetBytes = wide ? 8 : 4;
    const int countBytes = wide ? 8 : 2;
    const std::size_t entryBytes = wide ? 20 : 12;
    const std::uint64_t directory = numbers.at(head, wide ? 8 : 4, offsetBytes);
    const std::uint64_t count = numbers.at(bytesOf(file, directory, 8), 0, countBytes);
    const Bytes entries = bytesOf(file, directory + static_cast<std::uint64_t>(countBytes),
                                  static_cast<std::size_t>(std::min<std::uint64_t>(count, 65535)) * entryBytes);
    for (std::size_t entry = 0; entry < entries.size(); entry += entryBytes) {
        const std::uint64_t tag = numbers.at(entries, entry, 2);
        if (tag != TIFFTAG_XMLPACKET && tag != TIFFTAG_RICHTIFFIPTC) {
            continue;
        }
        const std::uint64_t items = numbers.at(entries, entry + 4, offsetBytes);
        const std::size_t bytes = static_cast<std::size_t>(std::min<std::uint64_t>(items, kLongestPacket + 1)) *
                                  tiffTypeBytes(numbers.at(entries, entry + 2, 2));
        if (bytes > static_cast<std::size_t>(offsetBytes)) {  // fewer stand in the entry itself, and say nothing
            const std::uint64_t place =
                numbers.at(entries, entry + entryBytes - static_cast<std::size_t>(offsetBytes), offsetBytes);
            (tag == TIFFTAG_XMLPACKET ? packets.xmp : packets.iptc) = textOf(bytesOf(file, place, bytes));
        }
    }
}

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using OpenTiff = std::unique_ptr<TIFF, CloseTiff>;

/// Sets a number wherever XMP has it: name="6" or <name>6</name>.
void setProperty(std::string& xmp, std::string_view name, int value) {
    for (std::size_t at = 0; (at = xmp.find(name, at)) != std::string::npos;) {
        const bool closes = at > 0 && xmp[at - 1] == '/';
        at += name.size();
        std::size_t begin = xmp.find_first_not_of(" \t\r\n", at);
        if (begin != std::string::npos && xmp[begin] == '=') {
            begin = xmp.find_first_of("'\"", begin);
        } else if (closes || (begin != std::string::npos && xmp[begin] != '>')) {
            continue;
        }
        const std::size_t end = begin == std::string::npos ? begin : xmp.find_first_of("'\"<", begin + 1);
        if (end == std::string::npos) {
            return;
        }
        xmp.replace(begin + 1, end - begin - 1, std::to_string(value));
    }
}

std::size_t jpegIptcBytes(const std::string& iptc) {
    constexpr std::size_t markNumberNameSize = 4 + 2 + 2 + 4;
    return kJpegResources.size() + markNumberNameSize + (iptc.size() + 1) / 2 * 2;
}

}  // namespace

Packets readPackets(int file, const Format& format) {
    Packets packets;
    try {
        if (format.name == "jpeg") {
            readJpeg(file, packets);
        } else if (format.name == "png") {
            readPng(file, packets);
        } else if (format.name == "webp") {
            readWebp(file, packets);
        } else if (format.name == "tiff") {
            readTiff(file, packets);
        }
    } catch (const std::out_of_range&) {  // the file ends; what was found counts
        return packets;
    }
    return packets;
}

void correctXmp(std::string& xmp, int width, int height, int orientation) {
    setProperty(xmp, "tiff:Orientation", orientation);
    setProperty(xmp, "tiff:ImageWidth", width);
    setProperty(xmp, "tiff:ImageLength", height);
    setProperty(xmp, "exif:PixelXDimension", width);
    setProperty(xmp, "exif:PixelYDimension", height);
}

void dropUnfitting(Packets& packets, const std::string& name, const Format& format, std::vector<std::string>& notes) {
    const auto drop = [&](std::string& packet, const std::string& what) {
        notes.push_back(name + ": " + std::string(format.title) + " holds no " + what + "; written without it");
        packet.clear();
    };
    const bool jpeg = format.name == "jpeg";
    if (!format.xmp && !packets.xmp.empty()) {
        drop(packets.xmp, "XMP data");
    } else if (jpeg && kJpegXmp.size() + packets.xmp.size() > kLongestSegment) {
        drop(packets.xmp, "XMP data of this length");
    } else if (packets.xmp.find("xmpNote:HasExtendedXMP") != std::string::npos) {
        notes.push_back(name + ": written without the extended part of the XMP data");
    }
    if (!format.iptc && !packets.iptc.empty()) {
        drop(packets.iptc, "IPTC data");
    } else if (jpeg && jpegIptcBytes(packets.iptc) > kLongestSegment) {
        drop(packets.iptc, "IPTC data of this length");
    }
}

void appendJpegPackets(Bytes& file, const Packets& packets) {
    const auto appendText = [&](std::string_view text) { file.insert(file.end(), text.begin(), text.end()); };
    if (!packets.xmp.empty()) {
        appendBig(file, 0xFFE1, 2);
        appendBig(file, 2 + kJpegXmp.size() + packets.xmp.size(), 2);
        appendText(kJpegXmp);
        appendText(packets.xmp);
    }
    if (!packets.iptc.empty()) {
        appendBig(file, 0xFFED, 2);
        appendBig(file, 2 + jpegIptcBytes(packets.iptc), 2);
        appendText(kJpegResources);
        appendText(kResource);
        appendBig(file, kIptcResource, 2);
        appendBig(file, 0, 2);  // no name
        appendBig(file, packets.iptc.size(), 4);
        appendText(packets.iptc);
        appendBig(file, 0, static_cast<int>(packets.iptc.size() % 2));
    }
}

bool isJpegPacket(const Bytes& file, std::size_t begin, std::size_t end) {
    const std::string data(file.begin() + static_cast<std::ptrdiff_t>(std::min(begin + 4, end)),
                           file.begin() + static_cast<std::ptrdiff_t>(end));
    return data.starts_with(kJpegXmp) || data.starts_with(kJpegResources);
}

Bytes pngXmpChunk(const std::string& xmp) {
    Bytes data(kPngXmp.begin(), kPngXmp.end());
    appendBig(data, 0, 4);  // not compressed, by no method, in no language, without a translated keyword
    data.insert(data.end(), xmp.begin(), xmp.end());
    return data;
}

bool addTiffPackets(const std::string& path, const Packets& packets) {
    if (packets.xmp.empty() && packets.iptc.empty()) {
        return true;
    }
    const OpenTiff tiff(TIFFOpen(path.c_str(), "r+"));
    bool done = tiff != nullptr;
    if (done && !packets.xmp.empty()) {
        const auto size = static_cast<std::uint32_t>(packets.xmp.size());
        done = TIFFSetField(tiff.get(), TIFFTAG_XMLPACKET, size, packets.xmp.data()) != 0;
    }
    if (done && !packets.iptc.empty()) {
        // Counted in items of a type that depends on the library's version.
        const TIFFField* field = TIFFFieldWithTag(tiff.get(), TIFFTAG_RICHTIFFIPTC);
        const auto itemBytes = static_cast<std::size_t>(TIFFDataWidth(TIFFFieldDataType(field)));
        std::vector<std::uint32_t> words((packets.iptc.size() + 3) / 4, 0);
        std::copy(packets.iptc.begin(), packets.iptc.end(), reinterpret_cast<char*>(words.data()));
        const auto items = static_cast<std::uint32_t>((packets.iptc.size() + itemBytes - 1) / itemBytes);
        done = TIFFSetField(tiff.get(), TIFFTAG_RICHTIFFIPTC, items, words.data()) != 0;
    }
    return done && TIFFRewriteDirectory(tiff.get()) != 0;
}

}  // namespace quorvel::cli
