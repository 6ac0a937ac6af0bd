// SPDX-License-Identifier: MIT
#include "cli/pictures/deflate.h"

#include <libdeflate.h>
#include <zlib.h>

#include <array>
#include <new>
#include <stdexcept>

namespace quorvel::cli {
namespace {

/// Positions in a deflate stream, in bits.
struct Ends {
    std::size_t lastBlock = 0;  ///< where the last block begins
    std::size_t end = 0;        ///< after the last block
};

/// Walks over the blocks of a whole deflate stream by inflating it: a block's length is not written anywhere.
Ends findEnds(std::span<const unsigned char> stream) {
    z_stream inflater{};
    if (inflateInit2(&inflater, -MAX_WBITS) != Z_OK) {
        throw std::bad_alloc();
    }
    std::array<unsigned char, std::size_t{1} << 16> unwanted;
    inflater.next_in = const_cast<unsigned char*>(stream.data());  // zlib's interface; it only reads
    inflater.avail_in = static_cast<uInt>(stream.size());
    Ends ends;
    bool complete = false;
    for (int result = Z_OK; result == Z_OK && !complete;) {
        inflater.next_out = unwanted.data();
        inflater.avail_out = static_cast<uInt>(unwanted.size());
        result = inflate(&inflater, Z_BLOCK);
        constexpr int unusedBits = 7, inLastBlock = 64, atBlockEnd = 128;
        if ((inflater.data_type & atBlockEnd) != 0) {
            complete = (inflater.data_type & inLastBlock) != 0;
            ends.end = inflater.total_in * 8 - static_cast<std::size_t>(inflater.data_type & unusedBits);
            ends.lastBlock = complete ? ends.lastBlock : ends.end;
        }
    }
    inflateEnd(&inflater);
    if (!complete) {
        throw std::runtime_error("a compressed strip is not what it should be");
    }
    return ends;
}

/// Lets another stream follow: the last block no longer says that it is the last, and an empty stored block fills up to
/// a whole byte.
void leaveOpen(std::vector<unsigned char>& stream) {
    const Ends ends = findEnds(stream);
    stream[ends.lastBlock / 8] &= static_cast<unsigned char>(~(1u << (ends.lastBlock % 8)));
    constexpr std::size_t blockHeaderBits = 3;  // all 0 for a stored block that is not the last
    stream.resize((ends.end + blockHeaderBits + 7) / 8, 0);
    constexpr std::array<unsigned char, 4> noBytes{0x00, 0x00, 0xFF, 0xFF};  // the length 0 and its complement
    stream.insert(stream.end(), noBytes.begin(), noBytes.end());
}

}  // namespace

Deflater::Deflater(int level) : compressor_(libdeflate_alloc_compressor(level)) {
    if (compressor_ == nullptr) {
        throw std::bad_alloc();
    }
}

Deflater::~Deflater() {
    libdeflate_free_compressor(compressor_);
}

std::vector<unsigned char> Deflater::stream(std::span<const unsigned char> bytes) {
    std::vector<unsigned char> out(libdeflate_zlib_compress_bound(compressor_, bytes.size()));
    out.resize(libdeflate_zlib_compress(compressor_, bytes.data(), bytes.size(), out.data(), out.size()));
    out.shrink_to_fit();
    return out;
}

std::vector<unsigned char> Deflater::piece(std::span<const unsigned char> bytes, bool last) {
    std::vector<unsigned char> out(libdeflate_deflate_compress_bound(compressor_, bytes.size()));
    out.resize(libdeflate_deflate_compress(compressor_, bytes.data(), bytes.size(), out.data(), out.size()));
    if (!last) {
        leaveOpen(out);
    }
    out.shrink_to_fit();
    return out;
}

}  // namespace quorvel::cli
