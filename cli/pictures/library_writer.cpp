// SPDX-License-Identifier: MIT
// OpenImageIO's writers. All write to memory: what the libraries make of a full disk (one of them ends the program)
// does not matter then.
#include <OpenImageIO/filesystem.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "cli/pictures/bytes.h"
#include "cli/pictures/encode.h"
#include "cli/pictures/messages.h"
#include "cli/pictures/parallel.h"
#include "cli/pictures/source.h"
#include "cli/quiet_libraries.h"

namespace quorvel::cli {
namespace {

using OIIO::TypeDesc;

/// Rows are written in bands of about this many bytes: large enough to keep the compressing threads busy.
constexpr std::size_t kWriteBandBytes = std::size_t{16} << 20;

Bytes contentsOf(const Descriptor& file, const std::string& name) {
    const off_t size = ::lseek(file.number(), 0, SEEK_END);
    rlimit limit{};
    // A limit on the size of files holds in memory, too, and the library does not notice when it was reached. What it
    // then could not add is at most as much again as is there, and a directory.
    constexpr rlim_t directory = 65536;
    const bool limited = ::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
    if (limited && 2 * static_cast<rlim_t>(std::max<off_t>(size, 0)) + directory >= limit.rlim_cur) {
        throw pictureFailure(name, "cannot be written", std::strerror(EFBIG));
    }
    Bytes bytes(static_cast<std::size_t>(std::max<off_t>(size, 0)));
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t got = ::pread(file.number(), bytes.data() + at, bytes.size() - at, static_cast<off_t>(at));
        if (got <= 0 && errno != EINTR) {
            throw pictureFailure(name, "cannot be written", std::strerror(errno));
        }
        at += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    return bytes;
}

/// Memory that a writer writes to. When it cannot grow, writing fails instead of throwing: some writers still write
/// while they are destroyed, where an exception would end the program.
class GrowingMemory : public OIIO::Filesystem::IOVecOutput {
public:
    using IOVecOutput::IOVecOutput;

    std::size_t write(const void* bytes, std::size_t size) override {
        return unlessFull([&] { return IOVecOutput::write(bytes, size); });
    }
    std::size_t pwrite(const void* bytes, std::size_t size, std::int64_t offset) override {
        return unlessFull([&] { return IOVecOutput::pwrite(bytes, size, offset); });
    }
    bool isFull() const { return full_; }

private:
    template <typename Write>
    std::size_t unlessFull(const Write& write) {
        try {
            return full_ ? 0 : write();
        } catch (const std::bad_alloc&) {
            full_ = true;
            return 0;
        }
    }

    bool full_ = false;
};

/// An open writer and the memory it writes to.
class LibraryWriter {
public:
    LibraryWriter(const EncodeRequest& request, const OIIO::ImageSpec& spec)
        : name_(request.name),
          packets_(request.packets),
          proxy_(bytes_),
          output_(OIIO::ImageOutput::create(std::string(request.format.name))) {
        std::string target = name_;
        if (request.format.name == "tiff") {
            // Goes back over the file for Exif data, which takes a real one.
            file_ = memoryFile(name_);
            target = file_.path();
        } else if (output_) {
            // Room for what compresses to half, so that growing seldom copies; untouched memory costs nothing.
            bytes_.reserve(spec.image_bytes() / 2);
            output_->set_ioproxy(&proxy_);
        }
        check(output_ && output_->open(target, spec));
    }

    OIIO::ImageOutput& output() { return *output_; }

    /// Throws Failure with the library's words when `done` is false, and std::bad_alloc when memory was short.
    void check(bool done) {
        if (proxy_.isFull()) {
            throw std::bad_alloc();
        }
        if (!done) {
            throw pictureFailure(name_, "cannot be written", output_ ? output_->geterror() : OIIO::geterror());
        }
    }

    Bytes finish() {
        check(output_->close());
        output_.reset();
        if (file_.number() < 0) {
            return std::move(bytes_);
        }
        check(addTiffPackets(file_.path(), packets_));
        return contentsOf(file_, name_);
    }

private:
    QuietLibraries quiet_;
    std::string name_;
    const Packets& packets_;
    Bytes bytes_;
    Descriptor file_;
    GrowingMemory proxy_;
    std::unique_ptr<OIIO::ImageOutput> output_;  ///< last, because its end may still write
};

/// Makes what HDR cannot hold 0, which is what is below 0 and what is no number.
bool clampNegatives(std::vector<float>& values) {
    bool clamped = false;
    for (float& value : values) {
        if (!(value >= 0.0f)) {
            clamped = true;
            value = 0.0f;
        }
    }
    return clamped;
}

template <typename Sample>
void writeRows(LibraryWriter& writer, const EncodeRequest& request, bool& clamped) {
    const OIIO::ImageSpec spec = writer.output().spec();
    const std::size_t rowSamples = static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(spec.nchannels);
    const int bandRows =
        static_cast<int>(std::clamp<std::size_t>(kWriteBandBytes / (rowSamples * sizeof(Sample)), 1, 65536));
    std::vector<Sample> band(rowSamples * static_cast<std::size_t>(std::min(bandRows, spec.height)));
    for (int top = 0; top < spec.height; top += bandRows) {
        const int end = std::min(top + bandRows, spec.height);
        inParallelRuns(end - top, [&](int first, int last) {
            for (int row = first; row < last; ++row) {
                packRow(request.world, top + row, spec.nchannels,
                        band.data() + rowSamples * static_cast<std::size_t>(row));
            }
        });
        if constexpr (std::is_same_v<Sample, float>) {
            if (request.format.name == "hdr") {
                clamped = clampNegatives(band) || clamped;
            }
        }
        const TypeDesc type = OIIO::BaseTypeFromC<Sample>::value;
        writer.check(writer.output().write_scanlines(spec.y + top, spec.y + end, spec.z, type, band.data()));
    }
}

/// Rows of an OpenEXR file with further channels, each pixel in the file's own mixture of sample types.
void writeMixedRows(LibraryWriter& writer, const EncodeRequest& request) {
    const FurtherChannels& further = *request.further;
    const TypeDesc type = request.spec.format;
    const int channels = request.spec.nchannels;
    const auto width = static_cast<std::size_t>(request.world.width());
    const std::size_t ownBytes = static_cast<std::size_t>(channels) * type.size();
    const std::size_t pixelBytes = ownBytes + further.pixelBytes;
    std::vector<float> row(width * static_cast<std::size_t>(channels));
    std::vector<std::byte> own(width * ownBytes);
    const int bandRows = static_cast<int>(std::clamp<std::size_t>(kWriteBandBytes / (width * pixelBytes), 1, 65536));
    std::vector<std::byte> band(width * pixelBytes *
                                static_cast<std::size_t>(std::min(bandRows, request.world.height())));
    const int y0 = writer.output().spec().y;
    for (int top = 0; top < request.world.height(); top += bandRows) {
        const int end = std::min(top + bandRows, request.world.height());
        std::byte* to = band.data();
        for (int y = top; y < end; ++y) {
            packRow(request.world, y, channels, row.data());
            OIIO::convert_pixel_values(TypeDesc::FLOAT, row.data(), type, own.data(), static_cast<int>(row.size()));
            const std::byte* rest = further.pixels.data() + static_cast<std::size_t>(y) * width * further.pixelBytes;
            for (std::size_t x = 0; x < width; ++x) {
                to = std::copy_n(own.data() + x * ownBytes, ownBytes, to);
                to = std::copy_n(rest + x * further.pixelBytes, further.pixelBytes, to);
            }
        }
        writer.check(writer.output().write_scanlines(y0 + top, y0 + end, 0, TypeDesc::UNKNOWN, band.data()));
    }
}

OIIO::ImageSpec withFurtherChannels(OIIO::ImageSpec spec, const FurtherChannels& further) {
    spec.channelformats.assign(static_cast<std::size_t>(spec.nchannels), spec.format);
    spec.channelformats.insert(spec.channelformats.end(), further.types.begin(), further.types.end());
    spec.channelnames.insert(spec.channelnames.end(), further.names.begin(), further.names.end());
    spec.nchannels += static_cast<int>(further.names.size());
    return spec;
}

Bytes encodeOnePixel(const EncodeRequest& request, const OIIO::ImageSpec& spec) {
    const std::vector<float> pixel(static_cast<std::size_t>(spec.nchannels), 0.0f);
    LibraryWriter writer(request, spec);
    writer.check(writer.output().write_scanline(spec.y, spec.z, TypeDesc::FLOAT, pixel.data()));
    return writer.finish();
}

}  // namespace

std::vector<unsigned char> encodeWithLibrary(const EncodeRequest& request) {
    if (request.further != nullptr) {
        LibraryWriter writer(request, withFurtherChannels(request.spec, *request.further));
        writeMixedRows(writer, request);
        return writer.finish();
    }
    LibraryWriter writer(request, request.spec);
    bool clamped = false;
    withTypeOf(request.depth, [&](auto tag) { writeRows<decltype(tag)>(writer, request, clamped); });
    if (clamped) {
        request.notes.push_back(request.name + ": HDR holds no values below 0; they were written as 0");
    }
    return writer.finish();
}

std::vector<unsigned char> encodeMetadata(const EncodeRequest& request) {
    OIIO::ImageSpec spec = request.spec;
    // A full size that is not the picture's is part of the metadata.
    spec.full_width = spec.full_width == spec.width ? 1 : spec.full_width;
    spec.full_height = spec.full_height == spec.height ? 1 : spec.full_height;
    spec.width = spec.height = 1;
    if (request.format.name == "tiff") {
        spec.attribute("compression", "none");
    }
    try {
        return encodeOnePixel(request, spec);
    } catch (const Failure&) {
        if (spec.find_attribute("ICCProfile") == nullptr) {
            throw;
        }
    }
    spec.erase_attribute("ICCProfile");
    Bytes file = encodeOnePixel(request, spec);
    request.notes.push_back(request.name + ": the ICC profile is invalid; written without it");
    return file;
}

}  // namespace quorvel::cli
