// SPDX-License-Identifier: MIT
#include "cli/picture_file.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "cli/exit_status.h"
#include "cli/levels.h"
#include "cli/quiet_libraries.h"
#include "cli/staged_file.h"

namespace quorvel::cli {

struct PictureTraits {
    OIIO::ImageSpec spec;
    std::string format;  ///< OpenImageIO's name of it
    int downsample = 1;
    host::Depth depth = host::Depth::Bits8;  ///< the file's own
};

namespace {

namespace fs = std::filesystem;
using host::Depth;
using OIIO::TypeDesc;

/// Rows are read and written in bands of about this many bytes, so that no second whole picture is held.
constexpr std::size_t kBandBytes = std::size_t{4} << 20;
constexpr int kJpegQuality = 95;

/// "FILE: WHAT", or "FILE: WHAT: DETAIL" when the library gave one. A detail of several lines becomes one.
Failure failureOf(const std::string& file, const std::string& what, std::string detail = {}) {
    while (!detail.empty() && (detail.back() == '\n' || detail.back() == '.' || detail.back() == ' ')) {
        detail.pop_back();
    }
    for (std::size_t at = 0; (at = detail.find('\n', at)) != std::string::npos;) {
        detail.replace(at, 1, "; ");
    }
    return Failure(file + ": " + what + (detail.empty() ? "" : ": " + detail));
}

Depth depthOf(TypeDesc type) {
    switch (type.basetype) {
        case TypeDesc::UINT8:
        case TypeDesc::INT8:
            return Depth::Bits8;
        case TypeDesc::UINT16:
        case TypeDesc::INT16:
            return Depth::Bits16;
        default:
            return Depth::Float32;
    }
}

TypeDesc sampleType(Depth depth) {
    switch (depth) {
        case Depth::Bits8:
            return TypeDesc::UINT8;
        case Depth::Bits16:
            return TypeDesc::UINT16;
        case Depth::Float32:
            break;
    }
    return TypeDesc::FLOAT;
}

/// The one switch over depths: calls `work` with a value of the channel (or sample) type of that depth.
template <typename Work>
void withTypeOf(Depth depth, const Work& work) {
    switch (depth) {
        case Depth::Bits8:
            return work(std::uint8_t{});
        case Depth::Bits16:
            return work(std::uint16_t{});
        case Depth::Float32:
            return work(float{});
    }
}

// ---- Reading ----

/// Which of a file's channels become A, R, G and B of the world, in that order; -1 is full alpha.
struct ChannelMap {
    std::array<int, 4> source{-1, 0, 0, 0};
    bool hasAlpha() const { return source[0] >= 0; }
    int first() const { return *std::min_element(source.begin() + (hasAlpha() ? 0 : 1), source.end()); }
    int end() const { return *std::max_element(source.begin(), source.end()) + 1; }
};

int channelNamed(const OIIO::ImageSpec& spec, std::string_view name) {
    for (int channel = 0; channel < spec.nchannels; ++channel) {
        if (OIIO::Strutil::iequals(spec.channelnames[static_cast<std::size_t>(channel)], std::string(name))) {
            return channel;
        }
    }
    return -1;
}

/// By name where the file has the usual names, otherwise by position: one or two channels are grey, more are R, G, B.
ChannelMap mapChannels(const OIIO::ImageSpec& spec) {
    const int red = channelNamed(spec, "R");
    const int green = channelNamed(spec, "G");
    const int blue = channelNamed(spec, "B");
    const int grey = channelNamed(spec, "Y");
    const int named = channelNamed(spec, "A");
    // Some readers point past the last channel, so the name goes first.
    const int alpha = named >= 0 ? named : spec.alpha_channel < spec.nchannels ? spec.alpha_channel : -1;
    if (red >= 0 && green >= 0 && blue >= 0) {
        return {{alpha, red, green, blue}};
    }
    if (grey >= 0) {
        return {{alpha, grey, grey, grey}};
    }
    if (spec.nchannels < 3) {
        return {{alpha > 0 ? alpha : -1, 0, 0, 0}};
    }
    return {{alpha > 2 ? alpha : -1, 0, 1, 2}};
}

std::vector<std::string> notesOnChannels(const std::string& name, const OIIO::ImageSpec& spec, const ChannelMap& map) {
    std::string ignored;
    for (int channel = 0; channel < spec.nchannels; ++channel) {
        if (std::find(map.source.begin(), map.source.end(), channel) == map.source.end()) {
            ignored += (ignored.empty() ? "" : ", ") + spec.channelnames[static_cast<std::size_t>(channel)];
        }
    }
    if (ignored.empty()) {
        return {};
    }
    return {name + ": channels left out: " + ignored};
}

/// One row of interleaved samples, of which `map` counts from channel `map.first()`, into a row of the world.
template <typename Channel, typename Sample>
void fillRow(Channel* row, int width, const Sample* samples, int sampleStep, const ChannelMap& map) {
    const int first = map.first();
    constexpr Channel fullAlpha = std::is_same_v<Channel, std::uint8_t>    ? Channel{255}
                                  : std::is_same_v<Channel, std::uint16_t> ? static_cast<Channel>(kHostWhite16)
                                                                           : Channel{1};
    for (int channel = 0; channel < 4; ++channel) {
        const int source = map.source[static_cast<std::size_t>(channel)];
        Channel* to = row + channel;
        if (source < 0) {
            for (int x = 0; x < width; ++x, to += 4) {
                *to = fullAlpha;
            }
            continue;
        }
        const Sample* from = samples + (source - first);
        for (int x = 0; x < width; ++x, to += 4, from += sampleStep) {
            *to = toHost<Channel>(*from);
        }
    }
}

/// Reads the rows from `top` up to `end` of the first picture, the channels that `map` needs.
template <typename Sample>
bool readBand(OIIO::ImageInput& input, const ChannelMap& map, int top, int end, Sample* band) {
    const QuietLibraries quiet;
    const OIIO::ImageSpec& spec = input.spec();
    const TypeDesc type = OIIO::BaseTypeFromC<Sample>::value;
    if (spec.tile_width > 0) {
        return input.read_tiles(0, 0, spec.x, spec.x + spec.width, top, end, spec.z, spec.z + 1, map.first(), map.end(),
                                type, band);
    }
    return input.read_scanlines(0, 0, top, end, spec.z, map.first(), map.end(), type, band);
}

/// Reads the first picture, band by band, into the world.
template <typename Sample>
void readRows(OIIO::ImageInput& input, const std::string& name, const ChannelMap& map, int downsample,
              host::World& world) {
    const OIIO::ImageSpec spec = input.spec();
    const int channels = map.end() - map.first();
    const std::size_t rowSamples = static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(channels);
    const bool tiled = spec.tile_width > 0;
    const int fittingRows = static_cast<int>(std::max<std::size_t>(1, kBandBytes / (rowSamples * sizeof(Sample))));
    const int bandRows = std::min(tiled ? spec.tile_height : fittingRows, spec.height);
    std::vector<Sample> band(rowSamples * static_cast<std::size_t>(bandRows));
    for (int top = 0; top < spec.height; top += bandRows) {
        const int rows = std::min(bandRows, spec.height - top);
        const int y = spec.y + top;
        const bool read = readBand(input, map, y, y + rows, band.data());
        if (!read || input.has_error()) {
            throw failureOf(name, "damaged or cut short", input.geterror());
        }
        for (int row = 0; row < rows; ++row) {
            if ((top + row) % downsample != 0) {
                continue;
            }
            const Sample* samples = band.data() + rowSamples * static_cast<std::size_t>(row);
            const int worldRow = (top + row) / downsample;
            withTypeOf(world.depth(), [&](auto channel) {
                using Channel = decltype(channel);
                fillRow(world.channels<Channel>(worldRow), world.width(), samples, channels * downsample, map);
            });
        }
    }
}

void refuseUnusable(const std::string& name, const OIIO::ImageSpec& spec) {
    if (spec.width > host::kMaximumDimension || spec.height > host::kMaximumDimension) {
        throw failureOf(name, "is " + std::to_string(spec.width) + " x " + std::to_string(spec.height) +
                                  " pixels; the host takes at most " + std::to_string(host::kMaximumDimension) +
                                  " in either direction");
    }
    if (spec.width < 1 || spec.height < 1 || spec.nchannels < 1) {
        throw failureOf(name, "holds no pixels");
    }
    if (spec.deep || spec.depth > 1) {
        throw failureOf(name, "holds deep pixels or a volume, not a flat picture");
    }
}

/// Closing a damaged file may make the library complain once more.
struct QuietClose {
    void operator()(OIIO::ImageInput* input) const {
        const QuietLibraries quiet;
        delete input;
    }
};
using OpenInput = std::unique_ptr<OIIO::ImageInput, QuietClose>;

OpenInput openInput(const fs::path& file) {
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (!fs::exists(status)) {
        throw failureOf(file.string(),
                        error && status.type() == fs::file_type::none ? error.message() : "no such file");
    }
    if (fs::is_directory(status)) {
        throw failureOf(file.string(), "is a folder, not a picture");
    }
    if (::access(file.c_str(), R_OK) != 0) {
        throw failureOf(file.string(), std::strerror(errno));
    }
    OIIO::ImageSpec configuration;
    configuration.attribute("oiio:UnassociatedAlpha", 1);  // leave the colours of translucent pixels alone
    const QuietLibraries quiet;
    OpenInput input(OIIO::ImageInput::open(file.string(), &configuration).release());
    if (!input) {
        throw failureOf(file.string(), "not a readable picture", OIIO::geterror());
    }
    return input;
}

// ---- Writing ----

/// A file format that pictures can be written in.
struct Format {
    std::string_view name;    ///< OpenImageIO's
    std::string_view ending;  ///< the usual one, for messages
    Depth deepest;            ///< the most that a sample can hold; the writers only tell by converting silently
    bool floatOnly = false;
};
constexpr std::array kFormats{
    Format{"png", ".png", Depth::Bits16},
    Format{"tiff", ".tif", Depth::Float32},
    Format{"openexr", ".exr", Depth::Float32, true},
    Format{"jpeg", ".jpg", Depth::Bits8},
    Format{"dpx", ".dpx", Depth::Float32},
    Format{"hdr", ".hdr", Depth::Float32, true},
    Format{"jpeg2000", ".jp2", Depth::Bits16},
    Format{"webp", ".webp", Depth::Bits8},
    Format{"targa", ".tga", Depth::Bits8},
    Format{"bmp", ".bmp", Depth::Bits8},
    Format{"gif", ".gif", Depth::Bits8},
    Format{"pnm", ".ppm", Depth::Bits8},
};

const Format* formatNamed(std::string_view name) {
    const auto* found = std::find_if(kFormats.begin(), kFormats.end(), [&](const Format& f) { return f.name == name; });
    return found == kFormats.end() ? nullptr : found;
}

/// The writer that the name's ending (or a format's name) asks for; null when there is none.
std::unique_ptr<OIIO::ImageOutput> createOutput(const std::string& formatOrFile) {
    auto output = OIIO::ImageOutput::create(formatOrFile);
    if (!output) {
        (void)OIIO::geterror();  // otherwise kept, and printed when the program ends
        return nullptr;
    }
    return formatNamed(output->format_name()) != nullptr ? std::move(output) : nullptr;
}

/// The depth of the samples to write for a world of that depth.
Depth fileDepth(const Format& format, Depth depth) {
    return format.floatOnly ? Depth::Float32 : std::min(depth, format.deepest);
}

/// The output's description: the input's metadata without what is true of the input file alone.
OIIO::ImageSpec outputSpec(const std::string& format, const host::World& world, const PictureTraits& traits,
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
    for (const char* own : {"oiio:subimages", "oiio:subimagename", "textureformat", "openexr:levelmode",
                            "openexr:roundingmode", "oiio:ConstantColor", "oiio:AverageColor", "oiio:SHA-1",
                            "thumbnail_image", "thumbnail_width", "thumbnail_height", "thumbnail_nchannels"}) {
        spec.erase_attribute(own);
    }
    const bool sameKind = format == traits.format && depth == traits.depth;
    if (!sameKind || format != "dpx") {
        // Only DPX is packed again as it was; elsewhere the width of the samples is that of their type.
        spec.erase_attribute("oiio:BitsPerSample");
    }
    if (!sameKind) {
        spec.erase_attribute("compression");
        spec.erase_attribute("CompressionQuality");
    }
    if (format == "jpeg") {
        spec.attribute("compression", "jpeg:" + std::to_string(kJpegQuality));
    }
    if (format != "tiff" || traits.format != "tiff") {
        // Says that the writer has nothing to divide by alpha. TIFF alone records either kind, and keeps its own.
        const bool associated = format == "tiff" && traits.format == "openexr";
        spec.attribute("oiio:UnassociatedAlpha", associated ? 0 : 1);
    }
    const bool halfIsEnough = world.depth() == Depth::Bits8 || traits.spec.format == TypeDesc::HALF;
    if (format == "openexr" && halfIsEnough && !settings.fullPrecision) {
        spec.set_format(TypeDesc::HALF);
    }
    return spec;
}

template <typename Sample>
void writeRows(OIIO::ImageOutput& output, const std::string& name, const host::World& world) {
    const OIIO::ImageSpec spec = output.spec();
    const int channels = spec.nchannels;
    const std::size_t rowSamples = static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(channels);
    const int fittingRows = static_cast<int>(std::max<std::size_t>(1, kBandBytes / (rowSamples * sizeof(Sample))));
    const int bandRows = std::min(fittingRows, spec.height);
    std::vector<Sample> band(rowSamples * static_cast<std::size_t>(bandRows));
    const TypeDesc type = OIIO::BaseTypeFromC<Sample>::value;
    constexpr std::array<int, 4> worldChannels{1, 2, 3, 0};  // R, G, B and A of a file in a world's A, R, G, B
    for (int top = 0; top < spec.height; top += bandRows) {
        const int rows = std::min(bandRows, spec.height - top);
        for (int row = 0; row < rows; ++row) {
            Sample* to = band.data() + rowSamples * static_cast<std::size_t>(row);
            withTypeOf(world.depth(), [&](auto channelTag) {
                const auto* from = world.channels<decltype(channelTag)>(top + row);
                for (int x = 0; x < spec.width; ++x, from += 4) {
                    for (int channel = 0; channel < channels; ++channel) {
                        *to++ = toFile<Sample>(from[worldChannels[static_cast<std::size_t>(channel)]]);
                    }
                }
            });
        }
        if (!output.write_scanlines(spec.y + top, spec.y + top + rows, spec.z, type, band.data())) {
            throw failureOf(name, "cannot be written", output.geterror());
        }
    }
}

/// Writes the world with a writer that needs nothing but to be opened; `name` is what the user calls the result.
/// Returns notes for the user.
std::vector<std::string> encode(OIIO::ImageOutput& output, const std::string& file, const std::string& name,
                                const host::World& world, const PictureTraits& traits, WriteSettings settings) {
    const std::string format = output.format_name();
    std::vector<std::string> notes;
    if (settings.alpha && !output.supports("alpha")) {
        settings.alpha = false;
        notes.push_back(name + ": the format holds no alpha; written without it");
    }
    const Depth depth = fileDepth(*formatNamed(format), world.depth());
    if (depth < world.depth()) {
        notes.push_back(name + ": written with " + (depth == Depth::Bits8 ? "8" : "16") +
                        " bits a channel, the most that the format holds");
    }
    if (!output.open(file, outputSpec(format, world, traits, settings, depth))) {
        throw failureOf(name, "cannot be written", output.geterror());
    }
    withTypeOf(depth, [&](auto sample) { writeRows<decltype(sample)>(output, name, world); });
    if (!output.close()) {
        throw failureOf(name, "cannot be written", output.geterror());
    }
    return notes;
}

/// Encodes to memory first: what the libraries make of a full disk (one of them ends the program) does not matter
/// then.
std::vector<std::string> encodeToMemory(OIIO::ImageOutput& output, std::vector<unsigned char>& bytes,
                                        const std::string& name, const host::World& world, const PictureTraits& traits,
                                        const WriteSettings& settings) {
    OIIO::Filesystem::IOVecOutput memory(bytes);
    output.set_ioproxy(&memory);
    return encode(output, name, name, world, traits, settings);
}

/// The TIFF writer cannot write Exif data to memory: it goes back over the file. It reports failed writes of pixels
/// itself; that the directory at the end arrived is seen by reading it.
std::vector<std::string> encodeTiff(OIIO::ImageOutput& output, const StagedFile& staged, const std::string& name,
                                    const host::World& world, const PictureTraits& traits,
                                    const WriteSettings& settings) {
    const std::string file = staged.path().string();
    auto notes = encode(output, file, name, world, traits, settings);
    OIIO::ImageSpec written;
    const auto check = OIIO::ImageInput::create("tiff");
    if (!check || !check->open(file, written) || written.width != world.width() || written.height != world.height()) {
        throw failureOf(name, "cannot be written", "the file is not complete");
    }
    return notes;
}

}  // namespace

Picture readPicture(const fs::path& file, const ReadSettings& settings) {
    const std::string name = file.string();
    const auto input = openInput(file);
    const OIIO::ImageSpec& spec = input->spec();
    refuseUnusable(name, spec);
    const Depth ownDepth = depthOf(spec.format);
    const ChannelMap map = mapChannels(spec);
    const int step = settings.downsample;
    host::World world(settings.depth.value_or(ownDepth), (spec.width + step - 1) / step,
                      (spec.height + step - 1) / step);
    withTypeOf(ownDepth, [&](auto sample) { readRows<decltype(sample)>(*input, name, map, step, world); });
    auto traits = std::make_shared<PictureTraits>(PictureTraits{spec, input->format_name(), step, ownDepth});
    return {std::move(world), map.hasAlpha(), std::move(traits), notesOnChannels(name, spec, map)};
}

std::shared_ptr<const PictureTraits> plainTraits(const host::World& world) {
    const OIIO::ImageSpec spec(world.width(), world.height(), 4, sampleType(world.depth()));
    return std::make_shared<PictureTraits>(PictureTraits{spec, {}, 1, world.depth()});
}

std::vector<std::string> writePicture(const fs::path& file, const host::World& world, const PictureTraits& traits,
                                      const WriteSettings& settings) {
    const auto output = createOutput(file.string());
    if (!output) {
        throw failureOf(file.string(), "no picture format can be written under that name");
    }
    const std::string name = file.string();
    StagedFile staged(file, settings.clobber ? Existing::Replace : Existing::Keep);
    std::vector<std::string> notes;
    if (std::string_view(output->format_name()) == "tiff") {
        notes = encodeTiff(*output, staged, name, world, traits, settings);
    } else {
        std::vector<unsigned char> bytes;
        notes = encodeToMemory(*output, bytes, name, world, traits, settings);
        staged.write(bytes);
    }
    staged.commit();
    return notes;
}

std::vector<std::string> writePictureToStandardOutput(const host::World& world, const PictureTraits& traits,
                                                      const WriteSettings& settings) {
    const std::string name = "standard output";
    std::vector<unsigned char> bytes;
    auto notes = encodeToMemory(*createOutput("png"), bytes, name, world, traits, settings);
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || std::fflush(stdout) != 0) {
        throw failureOf(name, "cannot be written", std::strerror(errno));
    }
    return notes;
}

bool isWritableFormat(const fs::path& file) {
    return file.has_extension() && createOutput(file.string()) != nullptr;
}

std::string writableFormats() {
    std::string list = "a name ending in ";
    for (std::size_t i = 0; i < kFormats.size(); ++i) {
        list += i == 0 ? "" : i + 1 == kFormats.size() ? " or " : ", ";
        list += kFormats[i].ending;
    }
    return list;
}

}  // namespace quorvel::cli
