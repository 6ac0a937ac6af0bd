// SPDX-License-Identifier: MIT
// XMP and IPTC data. They travel as the bytes that the input holds: OpenImageIO knows only some of the properties in
// them.
#pragma once

#include <string>
#include <vector>

#include "cli/pictures/bytes.h"
#include "cli/pictures/formats.h"

namespace quorvel::cli {

/// Each without what frames it in a file; empty when there is none.
struct Packets {
    std::string xmp;
    std::string iptc;  ///< records of the Information Interchange Model
};

/// The packets of an open JPEG, PNG, TIFF or WebP file; none for other formats. What is damaged counts as missing.
Packets readPackets(int file, const Format& format);

/// Makes what XMP repeats of a picture's size and orientation true of the output. Other properties stay.
void correctXmp(std::string& xmp, int width, int height, int orientation);

/// Takes what the format cannot hold out of the packets, and appends a note for each to `notes`.
void dropUnfitting(Packets& packets, const std::string& name, const Format& format, std::vector<std::string>& notes);

/// Appends the packets to a JPEG file that has its first segments.
void appendJpegPackets(Bytes& file, const Packets& packets);
/// Whether a JPEG segment, marker included, holds either kind of packet.
bool isJpegPacket(const Bytes& file, std::size_t begin, std::size_t end);

/// The data of the PNG chunk "iTXt" that holds XMP.
Bytes pngXmpChunk(const std::string& xmp);

/// Adds the packets to the first directory of the TIFF file at `path`. False when that failed.
bool addTiffPackets(const std::string& path, const Packets& packets);

}  // namespace quorvel::cli
