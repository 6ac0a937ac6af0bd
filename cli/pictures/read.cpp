// SPDX-License-Identifier: MIT
#include "cli/pictures/read.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "cli/pages_in_place.h"
#include "cli/pictures/channel_values.h"
#include "cli/pictures/channels.h"
#include "cli/pictures/messages.h"
#include "cli/pictures/parallel.h"
#include "cli/pictures/placement.h"
#include "cli/pictures/source.h"
#include "cli/pictures/traits.h"
#include "cli/quiet_libraries.h"
#include "cli/text.h"
#include "effect/depth.h"

namespace quorvel::cli {
namespace {

using host::Depth;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

/// Rows are read in bands of about this many bytes, so that no second whole picture is held.
constexpr std::size_t kReadBandBytes = std::size_t{8} << 20;

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

// ---- Parts ----

bool hasPart(Source& source, int part) {
    const QuietLibraries quiet;
    const bool found = source.input->seek_subimage(part, 0);
    (void)source.input->geterror();
    return found;
}

int partNamed(Source& source, const std::string& name) {
    for (int part = 0; hasPart(source, part); ++part) {
        if (source.input->spec().get_string_attribute("oiio:subimagename") == name) {
            return part;
        }
    }
    throw pictureFailure(source.name, "has no part named \"" + name + "\"");
}

/// Moves to the part that is asked for and returns its number, from 0. Notes further parts that nobody asked about.
int choosePart(Source& source, const std::string& wanted, std::vector<std::string>& notes) {
    if (wanted.empty()) {
        const int known = intAttribute(source.input->spec(), "oiio:subimages", 1);
        if (known > 1 || hasPart(source, 1)) {
            notes.push_back(source.name + ": has " + (known > 1 ? std::to_string(known) + " parts" : "further parts") +
                            "; only the first is rendered (--part picks another)");
        }
        if (!hasPart(source, 0)) {
            throw pictureFailure(source.name, "damaged or cut short");
        }
        return 0;
    }
    const auto number = parseInteger(wanted);
    const int part = number ? *number - 1 : partNamed(source, wanted);
    if (part < 0 || !hasPart(source, part)) {
        throw pictureFailure(source.name, "has no part " + wanted);
    }
    return part;
}

// ---- Rows ----

/// One part of an open file.
struct Part {
    Source& source;
    int number;
    const ImageSpec& spec() const { return source.input->spec(); }
};

/// Calls `use(y, samples)` for each stored row, for several at the same time: the channels from `begin` up to `end` as
/// `type`, which takes `pixelBytes` a pixel. Unknown is the file's own type. Calls `prepare()` before, when the first
/// rows have been read. Throws Failure when the file is damaged.
template <typename Prepare, typename Use>
void readRows(const Part& part, int begin, int end, TypeDesc type, std::size_t pixelBytes, const Prepare& prepare,
              const Use& use) {
    const ImageSpec spec = part.spec();
    OIIO::ImageInput& input = *part.source.input;
    const std::size_t rowBytes = static_cast<std::size_t>(spec.width) * pixelBytes;
    const int fitting =
        static_cast<int>(std::clamp<std::size_t>(kReadBandBytes / rowBytes, 1, host::kMaximumDimension));
    // Tiles are read in whole rows of tiles.
    const int tile = std::max(spec.tile_height, 1);
    const int bandRows = std::min(std::max(fitting / tile, 1) * tile, spec.height);
    std::vector<std::byte> band(rowBytes * static_cast<std::size_t>(bandRows));
    for (int top = 0; top < spec.height; top += bandRows) {
        const int y = spec.y + top;
        const int rows = std::min(bandRows, spec.height - top);
        bool read = false;
        {
            const QuietLibraries quiet;
            read = spec.tile_width > 0
                       ? input.read_tiles(part.number, 0, spec.x, spec.x + spec.width, y, y + rows, spec.z, spec.z + 1,
                                          begin, end, type, band.data())
                       : input.read_scanlines(part.number, 0, y, y + rows, spec.z, begin, end, type, band.data());
        }
        if (!read || input.has_error()) {
            throw pictureFailure(part.source.name, "damaged or cut short", input.geterror());
        }
        if (top == 0) {
            prepare();
        }
        // Different rows are different pixels of the world.
        inParallelRuns(rows, [&](int first, int last) {
            for (int row = first; row < last; ++row) {
                use(top + row, band.data() + rowBytes * static_cast<std::size_t>(row));
            }
        });
    }
}

/// Puts a run of pixels into the world. `samples` is the row's first pixel, which has `step` samples from channel
/// `map.first()`.
template <typename Channel, typename Sample>
void fillRun(host::World& world, const PixelRun& run, const Sample* samples, int step, const ChannelMap& map) {
    constexpr Channel fullAlpha = DepthOf<Channel>::kWhite;
    Channel* to = world.channels<Channel>(run.worldY) + static_cast<std::ptrdiff_t>(run.worldX) * 4;
    const std::ptrdiff_t worldStep =
        run.stepX * 4 + run.stepY * world.rowBytes() / static_cast<std::ptrdiff_t>(sizeof(Channel));
    const std::ptrdiff_t sampleStep = static_cast<std::ptrdiff_t>(run.sourceStep) * step;
    const Sample* from = samples + static_cast<std::ptrdiff_t>(run.sourceX) * step - map.first();
    const auto [alpha, red, green, blue] = map.source;
    for (int i = 0; i < run.count; ++i, to += worldStep, from += sampleStep) {
        to[0] = alpha < 0 ? fullAlpha : toHost<Channel>(from[alpha]);
        to[1] = toHost<Channel>(from[red]);
        to[2] = toHost<Channel>(from[green]);
        to[3] = toHost<Channel>(from[blue]);
    }
}

template <typename Sample>
host::World readWorld(const Part& part, const ChannelMap& map, const Placement& placement, Depth depth) {
    const int channels = map.end() - map.first();
    std::optional<host::World> world;
    // Only when the first rows were there: the size may be a damaged file's claim.
    const auto makeWorld = [&] {
        world.emplace(depth, placement.worldWidth(), placement.worldHeight());
        putPagesInPlace(world->memory());
    };
    const std::size_t pixelBytes = static_cast<std::size_t>(channels) * sizeof(Sample);
    readRows(part, map.first(), map.end(), OIIO::BaseTypeFromC<Sample>::value, pixelBytes, makeWorld,
             [&](int y, const std::byte* row) {
                 if (const auto run = placement.run(y)) {
                     withTypeOf(depth, [&](auto tag) {
                         fillRun<decltype(tag)>(*world, *run, reinterpret_cast<const Sample*>(row), channels, map);
                     });
                 }
             });
    return std::move(*world);
}

FurtherChannels readFurtherChannels(const Part& part, const std::vector<int>& channels, const Placement& placement) {
    const ImageSpec& spec = part.spec();
    FurtherChannels further;
    std::vector<std::size_t> offsets;
    for (const int channel : channels) {
        std::size_t offset = 0;
        for (int before = 0; before < channel; ++before) {
            offset += spec.channelformat(before).size();
        }
        offsets.push_back(offset);
        further.names.push_back(channelName(spec, channel));
        further.types.push_back(spec.channelformat(channel));
        further.pixelBytes += further.types.back().size();
    }
    const auto width = static_cast<std::size_t>(placement.worldWidth());
    further.pixels.resize(width * static_cast<std::size_t>(placement.worldHeight()) * further.pixelBytes);
    const std::size_t storedBytes = spec.pixel_bytes(true);
    const auto nothing = [] {};
    readRows(part, 0, spec.nchannels, TypeDesc::UNKNOWN, storedBytes, nothing, [&](int y, const std::byte* row) {
        const auto run = placement.run(y);
        for (int i = 0; run && i < run->count; ++i) {
            const int x = run->worldX + i * run->stepX;
            const int worldRow = run->worldY + i * run->stepY;
            const int sourceX = run->sourceX + i * run->sourceStep;
            const std::byte* from = row + static_cast<std::size_t>(sourceX) * storedBytes;
            std::byte* to =
                further.pixels.data() +
                (static_cast<std::size_t>(worldRow) * width + static_cast<std::size_t>(x)) * further.pixelBytes;
            for (std::size_t channel = 0; channel < offsets.size(); ++channel) {
                to = std::copy_n(from + offsets[channel], further.types[channel].size(), to);
            }
        }
    });
    return further;
}

// ---- The whole ----

void refuseUnusable(const std::string& name, const ImageSpec& spec) {
    if (spec.width < 1 || spec.height < 1 || spec.nchannels < 1) {
        throw pictureFailure(name, "holds no pixels");
    }
    for (const auto& [width, height] :
         {std::pair(spec.width, spec.height), std::pair(spec.full_width, spec.full_height)}) {
        if (width > host::kMaximumDimension || height > host::kMaximumDimension) {
            throw pictureFailure(name, "is " + std::to_string(width) + " x " + std::to_string(height) +
                                           " pixels; the host takes at most " +
                                           std::to_string(host::kMaximumDimension) + " in either direction");
        }
    }
    if (spec.deep || spec.depth > 1) {
        throw pictureFailure(name, "holds deep pixels or a volume, not a flat picture");
    }
}

/// OpenEXR's display window is what is shown; elsewhere the stored picture is.
Placement placementOf(const Source& source, const ReadSettings& settings) {
    const ImageSpec& spec = source.input->spec();
    Placement::Window window{spec.width, spec.height, 0, 0};
    if (source.format->name == "openexr" && spec.full_width > 0 && spec.full_height > 0) {
        window = {spec.full_width, spec.full_height, spec.x - spec.full_x, spec.y - spec.full_y};
    }
    const int orientation = settings.storedOrientation ? 1 : intAttribute(spec, "Orientation", 1);
    return {window, spec.width, spec.height, orientation, settings.downsample};
}

void swapAttributes(ImageSpec& spec, const char* one, const char* other) {
    const float first = spec.get_float_attribute(one);
    const float second = spec.get_float_attribute(other);
    if (first > 0 && second > 0) {
        spec.attribute(one, second);
        spec.attribute(other, first);
    }
}

/// What the file says of itself, made true of the picture as shown.
ImageSpec shownSpec(const Source& source, const Placement& placement) {
    ImageSpec spec = source.input->spec();
    if (source.format->name == "openexr") {
        spec.x = spec.full_x;
        spec.y = spec.full_y;
    }
    spec.width = placement.turnedWidth();
    spec.height = placement.turnedHeight();
    if (placement.isTurned()) {
        spec.attribute("Orientation", 1);
    }
    if (placement.swapsSides()) {
        std::swap(spec.x, spec.y);
        std::swap(spec.full_x, spec.full_y);
        std::swap(spec.full_width, spec.full_height);
        swapAttributes(spec, "XResolution", "YResolution");
        if (const float aspect = spec.get_float_attribute("PixelAspectRatio"); aspect > 0) {
            spec.attribute("PixelAspectRatio", 1.0f / aspect);
        }
    }
    return spec;
}

std::string leftOut(const std::string& name, const ImageSpec& spec, const std::vector<int>& channels) {
    std::string list;
    for (const int channel : channels) {
        list += (list.empty() ? "" : ", ") + channelName(spec, channel);
    }
    return name + ": channels left out: " + list;
}

/// Everything that can be said of a memory shortage is known only while reading.
Picture readPart(const Part& part, const ReadSettings& settings, std::vector<std::string> notes) {
    const std::string& name = part.source.name;
    const ImageSpec& spec = part.spec();
    refuseUnusable(name, spec);
    const Depth ownDepth = depthOf(spec.format);
    const Depth depth = settings.depth.value_or(ownDepth);
    const ChannelMap map = mapChannels(spec, name, settings.layer);
    const Placement placement = placementOf(part.source, settings);
    try {
        auto traits = std::make_shared<PictureTraits>();
        std::optional<host::World> world;
        withTypeOf(ownDepth, [&](auto tag) { world.emplace(readWorld<decltype(tag)>(part, map, placement, depth)); });
        const std::vector<int> unused = unusedChannels(spec, map);
        if (!unused.empty() && settings.keepFurtherChannels && part.source.format->name == "openexr") {
            traits->further = readFurtherChannels(part, unused, placement);
        } else if (!unused.empty()) {
            notes.push_back(leftOut(name, spec, unused));
        }
        if (placement.exceedsWindow()) {
            notes.push_back(name + ": pixels outside the display window are left out");
        }
        traits->spec = shownSpec(part.source, placement);
        traits->format = part.source.format->name;
        traits->packets = part.source.packets;
        traits->downsample = settings.downsample;
        traits->depth = ownDepth;
        traits->channels = renderedNames(spec, map, settings.layer);
        return {std::move(*world), map.hasAlpha() || placement.leavesGaps(), std::move(traits), std::move(notes)};
    } catch (const std::bad_alloc&) {
        throw memoryFailure(
            name, placement.worldWidth(), placement.worldHeight(),
            static_cast<double>(placement.worldWidth()) * placement.worldHeight() * host::pixelBytes(depth));
    }
}

}  // namespace

bool isPictureFile(const std::filesystem::path& file) {
    return hasPictureContent(file);
}

Picture readPicture(const std::filesystem::path& file, const ReadSettings& settings) {
    try {
        Source source = openSource(file);
        std::vector<std::string> notes;
        const int number = choosePart(source, settings.part, notes);
        return readPart({source, number}, settings, std::move(notes));
    } catch (const std::bad_alloc&) {
        throw pictureFailure(file.string(), "not enough memory to open it");
    }
}

}  // namespace quorvel::cli
