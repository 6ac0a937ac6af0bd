// SPDX-License-Identifier: MIT
#include "cli/pictures/webp.h"

#include <OpenImageIO/tiffutils.h>
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "cli/pictures/messages.h"

namespace quorvel::cli {
namespace {

template <auto release>
struct Release {
    template <typename Object>
    void operator()(Object* object) const {
        release(object);
    }
};
using AnimDecoder = std::unique_ptr<WebPAnimDecoder, Release<WebPAnimDecoderDelete>>;
using Demuxer = std::unique_ptr<WebPDemuxer, Release<WebPDemuxDelete>>;
using Mux = std::unique_ptr<WebPMux, Release<WebPMuxDelete>>;

class WebpInput final : public OIIO::ImageInput {
public:
    const char* format_name() const override { return "webp"; }
    bool open(const std::string& name, OIIO::ImageSpec& spec) override;
    bool close() override;
    int current_subimage() const override { return wanted_; }
    bool seek_subimage(int subimage, int miplevel) override;
    bool read_native_scanline(int subimage, int miplevel, int y, int z, void* data) override;

private:
    bool restart();
    bool decodeWanted();
    void readMetadata();

    std::string file_;
    AnimDecoder decoder_;
    std::uint8_t* frame_ = nullptr;  ///< the decoder's own: R, G, B and A of the whole canvas
    int frames_ = 0;
    int wanted_ = 0;
    int decoded_ = -1;  ///< the frame that frame_ shows
};

bool WebpInput::restart() {
    const WebPData data{reinterpret_cast<const std::uint8_t*>(file_.data()), file_.size()};
    WebPAnimDecoderOptions options;
    WebPAnimDecoderOptionsInit(&options);
    options.color_mode = MODE_RGBA;
    options.use_threads = 1;
    decoder_.reset(WebPAnimDecoderNew(&data, &options));
    decoded_ = -1;
    frame_ = nullptr;
    return decoder_ != nullptr;
}

bool WebpInput::open(const std::string& name, OIIO::ImageSpec& spec) {
    std::ifstream stream(name, std::ios::binary);
    file_.assign(std::istreambuf_iterator<char>(stream), {});
    WebPAnimInfo info;
    WebPBitstreamFeatures features;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(file_.data());
    if (WebPGetFeatures(bytes, file_.size(), &features) != VP8_STATUS_OK || !restart() ||
        WebPAnimDecoderGetInfo(decoder_.get(), &info) == 0) {
        errorfmt("no complete picture in it");
        return false;
    }
    frames_ = static_cast<int>(info.frame_count);
    wanted_ = 0;
    m_spec = OIIO::ImageSpec(static_cast<int>(info.canvas_width), static_cast<int>(info.canvas_height),
                             features.has_alpha != 0 ? 4 : 3, OIIO::TypeDesc::UINT8);
    m_spec.attribute("oiio:ColorSpace", "sRGB");
    m_spec.attribute("oiio:subimages", frames_);
    if (features.format == 2) {
        m_spec.attribute("compression", "lossless");
    }
    readMetadata();
    spec = m_spec;
    return true;
}

void WebpInput::readMetadata() {
    const WebPData data{reinterpret_cast<const std::uint8_t*>(file_.data()), file_.size()};
    const Demuxer demuxer(WebPDemux(&data));
    const auto chunk = [&](const char* name) {
        WebPChunkIterator found;
        std::string bytes;
        if (demuxer && WebPDemuxGetChunk(demuxer.get(), name, 1, &found) != 0) {
            bytes.assign(reinterpret_cast<const char*>(found.chunk.bytes), found.chunk.size);
            WebPDemuxReleaseChunkIterator(&found);
        }
        return bytes;
    };
    if (const std::string profile = chunk("ICCP"); !profile.empty()) {
        m_spec.attribute("ICCProfile", OIIO::TypeDesc(OIIO::TypeDesc::UINT8, static_cast<int>(profile.size())),
                         profile.data());
    }
    if (const std::string packet = chunk("XMP "); !packet.empty()) {
        OIIO::decode_xmp(OIIO::string_view(packet), m_spec);
    }
    std::string exif = chunk("EXIF");
    if (exif.compare(0, 6, std::string("Exif\0\0", 6)) == 0) {
        exif.erase(0, 6);  // some writers put JPEG's own mark before the data
    }
    if (!exif.empty()) {
        OIIO::decode_exif(OIIO::string_view(exif), m_spec);
    }
}

bool WebpInput::close() {
    decoder_.reset();
    file_.clear();
    return true;
}

bool WebpInput::seek_subimage(int subimage, int miplevel) {
    if (subimage < 0 || subimage >= frames_ || miplevel != 0) {
        return false;
    }
    wanted_ = subimage;
    return true;
}

bool WebpInput::decodeWanted() {
    if (decoded_ > wanted_ && !restart()) {
        return false;
    }
    while (decoded_ < wanted_) {
        int time = 0;
        if (WebPAnimDecoderGetNext(decoder_.get(), &frame_, &time) == 0) {
            return false;
        }
        ++decoded_;
    }
    return true;
}

bool WebpInput::read_native_scanline(int subimage, int miplevel, int y, int /*z*/, void* data) {
    if (!seek_subimage(subimage, miplevel) || !decodeWanted()) {
        errorfmt("frame {} cannot be decoded", subimage + 1);
        return false;
    }
    const std::uint8_t* from = frame_ + static_cast<std::size_t>(y) * static_cast<std::size_t>(m_spec.width) * 4;
    auto* to = static_cast<std::uint8_t*>(data);
    for (int x = 0; x < m_spec.width; ++x, from += 4, to += m_spec.nchannels) {
        std::copy_n(from, m_spec.nchannels, to);
    }
    return true;
}

/// The encoder's picture and what it writes, released on every path.
struct Encoding {
    Encoding() {
        WebPPictureInit(&picture);
        WebPMemoryWriterInit(&written);
        picture.writer = WebPMemoryWrite;
        picture.custom_ptr = &written;
    }
    ~Encoding() {
        WebPPictureFree(&picture);
        WebPMemoryWriterClear(&written);
    }
    Encoding(const Encoding&) = delete;
    Encoding& operator=(const Encoding&) = delete;

    WebPPicture picture;
    WebPMemoryWriter written;
};

/// The file with the metadata that WebP holds: ICC profile, Exif and XMP.
std::vector<unsigned char> withMetadata(const EncodeRequest& request, const WebPMemoryWriter& picture) {
    std::vector<char> exif;
    OIIO::encode_exif(request.spec, exif);
    const std::string& xmp = request.packets.xmp;
    const OIIO::ParamValue* profile = request.spec.find_attribute("ICCProfile");
    if (exif.empty() && xmp.empty() && profile == nullptr) {
        return {picture.mem, picture.mem + picture.size};
    }
    const Mux mux(WebPMuxNew());
    const WebPData image{picture.mem, picture.size};
    bool done = mux && WebPMuxSetImage(mux.get(), &image, 0) == WEBP_MUX_OK;
    const auto add = [&](const char* name, const void* bytes, std::size_t size) {
        const WebPData chunk{static_cast<const std::uint8_t*>(bytes), size};
        done = done && (size == 0 || WebPMuxSetChunk(mux.get(), name, &chunk, 1) == WEBP_MUX_OK);
    };
    if (profile != nullptr) {
        add("ICCP", profile->data(), static_cast<std::size_t>(profile->datasize()));
    }
    add("EXIF", exif.data(), exif.size());
    add("XMP ", xmp.data(), xmp.size());
    WebPData assembled{nullptr, 0};
    done = done && WebPMuxAssemble(mux.get(), &assembled) == WEBP_MUX_OK;
    std::vector<unsigned char> bytes;
    if (done) {
        bytes.assign(assembled.bytes, assembled.bytes + assembled.size);
    }
    WebPDataClear(&assembled);
    if (!done) {
        throw pictureFailure(request.name, "cannot be written", "the metadata does not fit");
    }
    return bytes;
}

}  // namespace

std::unique_ptr<OIIO::ImageInput> createWebpInput() {
    return std::make_unique<WebpInput>();
}

std::vector<unsigned char> encodeWebp(const EncodeRequest& request) {
    const host::World& world = request.world;
    const int channels = request.spec.nchannels;
    if (world.width() > WEBP_MAX_DIMENSION || world.height() > WEBP_MAX_DIMENSION) {
        throw pictureFailure(
            request.name, "cannot be written",
            "WebP holds at most " + std::to_string(WEBP_MAX_DIMENSION) + " pixels in either direction");
    }
    const std::size_t rowBytes = static_cast<std::size_t>(world.width()) * static_cast<std::size_t>(channels);
    std::vector<std::uint8_t> pixels(rowBytes * static_cast<std::size_t>(world.height()));
    for (int y = 0; y < world.height(); ++y) {
        packRow(world, y, channels, pixels.data() + rowBytes * static_cast<std::size_t>(y));
    }
    WebPConfig config;
    WebPConfigInit(&config);
    config.quality = static_cast<float>(request.quality);
    config.thread_level = 1;
    config.exact = 1;  // keep the colours of transparent pixels
    if (request.compression.name == "lossless") {
        WebPConfigLosslessPreset(&config, 6);
        config.thread_level = config.exact = 1;
    }
    Encoding encoding;
    encoding.picture.use_argb = config.lossless;
    encoding.picture.width = world.width();
    encoding.picture.height = world.height();
    const auto import = channels == 4 ? WebPPictureImportRGBA : WebPPictureImportRGB;
    if (import(&encoding.picture, pixels.data(), static_cast<int>(rowBytes)) == 0 ||
        WebPEncode(&config, &encoding.picture) == 0) {
        throw pictureFailure(request.name, "cannot be written",
                             "the WebP library reports error " + std::to_string(encoding.picture.error_code));
    }
    return withMetadata(request, encoding.written);
}

}  // namespace quorvel::cli
