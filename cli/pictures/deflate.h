// SPDX-License-Identifier: MIT
// zlib streams made by libdeflate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct libdeflate_compressor;

namespace quorvel::cli {

/// Of libdeflate; 1 to 9 take about as many bytes as zlib's.
class Deflater {
public:
    explicit Deflater(int level);
    ~Deflater();
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /// A whole zlib stream.
    std::vector<unsigned char> stream(std::span<const unsigned char> bytes);

    /// A piece of a deflate stream, without zlib's header and checksum. Pieces put one after another are one stream;
    /// `last` ends it.
    std::vector<unsigned char> piece(std::span<const unsigned char> bytes, bool last);

private:
    libdeflate_compressor* compressor_;
};

}  // namespace quorvel::cli
