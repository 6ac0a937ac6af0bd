// SPDX-License-Identifier: MIT
#include "cli/pictures/metadata.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace quorvel::cli {
namespace {

using host::Depth;
using OIIO::TypeDesc;

/// True of the input file alone: how its pixels lay in it, and what was computed from them.
constexpr std::array kOwnAttributes{
    "oiio:subimages",
    "oiio:subimagename",
    "oiio:ConstantColor",
    "oiio:AverageColor",
    "oiio:SHA-1",
    "oiio:Movie",
    "textureformat",
    "openexr:levelmode",
    "openexr:chunkCount",
    "openexr:roundingmode",
    "thumbnail_image",
    "thumbnail_width",
    "thumbnail_height",
    "thumbnail_nchannels",
    "planarconfig",
    "tiff:PlanarConfiguration",
    "tiff:RowsPerStrip",
    "tiff:ColorSpace",
    "tiff:PhotometricInterpretation",
    "tiff:Compression",
    "tiff:bigtiff",
    "png:interlaceMethod",
};

bool isExif(std::string_view name) {
    constexpr std::array<std::string_view, 5> camera{"Make", "Model", "ExposureTime", "FNumber", "DateTimeOriginal"};
    return name.substr(0, 5) == "Exif:" || name.substr(0, 4) == "GPS:" ||
           std::find(camera.begin(), camera.end(), name) != camera.end();
}

/// Exif repeats the size in pixels.
void correctExifSize(OIIO::ImageSpec& spec) {
    for (const auto& [name, size] :
         {std::pair("Exif:PixelXDimension", spec.width), std::pair("Exif:PixelYDimension", spec.height)}) {
        if (spec.find_attribute(name) != nullptr) {
            spec.attribute(name, size);
        }
    }
}

}  // namespace

OIIO::ImageSpec outputSpec(const Format& format, const host::World& world, const PictureTraits& traits,
                           const WriteSettings& settings, Depth depth) {
    OIIO::ImageSpec spec = traits.spec;
    spec.x /= traits.downsample;
    spec.y /= traits.downsample;
    spec.full_x /= traits.downsample;
    spec.full_y /= traits.downsample;
    spec.full_width = (spec.full_width + traits.downsample - 1) / traits.downsample;
    spec.full_height = (spec.full_height + traits.downsample - 1) / traits.downsample;
    spec.width = world.width();
    spec.height = world.height();
    spec.tile_width = spec.tile_height = spec.tile_depth = 0;
    spec.nchannels = settings.alpha ? 4 : 3;
    spec.default_channel_names();
    spec.channelformats.clear();
    spec.set_format(sampleType(depth));
    for (const char* own : kOwnAttributes) {
        spec.erase_attribute(own);
    }
    correctExifSize(spec);
    const float across = spec.get_float_attribute("XResolution");
    const float down = spec.get_float_attribute("YResolution");
    if (across > 0 && down > 0 && format.name == "tiff") {
        spec.attribute("PixelAspectRatio", down / across);  // the writer multiplies the one by it to get the other
    } else if (across > 0 && down > 0 && format.name == "jpeg") {
        spec.erase_attribute("PixelAspectRatio");  // the writer would divide
    }
    const bool sameKind = format.name == traits.format && depth == traits.depth;
    if (!sameKind || format.name != "dpx") {
        // Only DPX is packed again as it was; elsewhere the width of the samples is that of their type.
        spec.erase_attribute("oiio:BitsPerSample");
    }
    if (!sameKind) {
        spec.erase_attribute("compression");
        spec.erase_attribute("CompressionQuality");
    }
    if (!settings.compression.empty() && !format.compressions.empty()) {
        spec.attribute("compression", settings.compression);
    }
    if (format.name != "tiff" || traits.format != "tiff") {
        // Says that the writer has nothing to divide by alpha. TIFF alone records either kind, and keeps its own.
        const bool associated = format.name == "tiff" && traits.format == "openexr";
        spec.attribute("oiio:UnassociatedAlpha", associated ? 0 : 1);
    }
    const bool halfIsEnough = world.depth() == Depth::Bits8 || traits.spec.format == TypeDesc::HALF;
    if (format.name == "openexr" && halfIsEnough && !settings.fullPrecision) {
        spec.set_format(TypeDesc::HALF);
    }
    if (format.name == "openexr") {
        std::copy_n(traits.channels.begin(), spec.nchannels, spec.channelnames.begin());
    }
    return spec;
}

std::vector<std::string> notesOnLosses(const std::string& name, const Format& format, const PictureTraits& traits) {
    std::vector<std::string> notes;
    const auto lose = [&](const char* what) {
        notes.push_back(name + ": " + std::string(format.title) + " holds no " + what + "; written without it");
    };
    if (!format.orientation && intAttribute(traits.spec, "Orientation", 1) != 1) {
        lose("orientation");
    }
    if (!format.profile && traits.spec.find_attribute("ICCProfile") != nullptr) {
        lose("ICC profile");
    }
    const auto& attributes = traits.spec.extra_attribs;
    if (!format.exif && std::any_of(attributes.begin(), attributes.end(),
                                    [](const OIIO::ParamValue& value) { return isExif(value.name().string()); })) {
        lose("Exif data");
    }
    return notes;
}

}  // namespace quorvel::cli
