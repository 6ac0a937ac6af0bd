// SPDX-License-Identifier: MIT
// PPM and PGM files.
#include <algorithm>
#include <string>

#include "cli/pictures/bytes.h"
#include "cli/pictures/encode.h"
#include "cli/pictures/messages.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

template <typename Sample>
void appendRows(const EncodeRequest& request, bool grey, Bytes& file) {
    std::vector<Sample> row(static_cast<std::size_t>(request.world.width()) * 3);
    for (int y = 0; y < request.world.height(); ++y) {
        packRow(request.world, y, 3, row.data());
        for (std::size_t i = 0; i < row.size(); i += grey ? 3 : 1) {
            if (grey && (row[i] != row[i + 1] || row[i] != row[i + 2])) {
                throw pictureFailure(request.name, "cannot be written",
                                     "PGM holds grey alone, and the picture has colour; use .ppm");
            }
            appendBig(file, row[i], sizeof(Sample));
        }
    }
}

}  // namespace

std::vector<unsigned char> encodePnm(const EncodeRequest& request) {
    const std::string ending = ".pgm";
    const std::string name = lowerCase(request.name);
    const bool grey =
        name.size() >= ending.size() && name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
    const bool deep = request.depth == host::Depth::Bits16;
    const std::string header = std::string(grey ? "P5" : "P6") + "\n" + std::to_string(request.world.width()) + " " +
                               std::to_string(request.world.height()) + "\n" + (deep ? "65535" : "255") + "\n";
    Bytes file(header.begin(), header.end());
    file.reserve(header.size() + static_cast<std::size_t>(request.world.width()) *
                                     static_cast<std::size_t>(request.world.height()) * (grey ? 1 : 3) *
                                     (deep ? 2 : 1));
    if (deep) {
        appendRows<std::uint16_t>(request, grey, file);
    } else {
        appendRows<std::uint8_t>(request, grey, file);
    }
    return file;
}

}  // namespace quorvel::cli
