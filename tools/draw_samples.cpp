// SPDX-License-Identifier: MIT
// Draws the sample pictures: one landscape in three moods, each in another depth. Usage: draw_samples FOLDER
#include <OpenImageIO/imageio.h>

#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/landscape.h"

namespace {

using namespace quorvel;

/// Throws std::runtime_error with the writer's words.
void write(const std::string& file, OIIO::ImageSpec spec, const std::vector<float>& pixels) {
    spec.attribute("oiio:UnassociatedAlpha", 1);
    // Otherwise the writers put in the present time, and drawing again would give other bytes.
    spec.attribute("DateTime", "2000:01:01 00:00:00");
    const auto output = OIIO::ImageOutput::create(file);
    if (!output || !output->open(file, spec) ||
        !output->write_image(OIIO::TypeDesc::FLOAT, pixels.data(), 4 * sizeof(float)) || !output->close()) {
        throw std::runtime_error(file + ": " + (output ? output->geterror() : OIIO::geterror()));
    }
    std::cout << file << '\n';
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::cerr << "usage: draw_samples FOLDER\n";
        return 2;
    }
    const std::string folder = arguments[1];
    try {
        using OIIO::TypeDesc;
        write(folder + "/evening.png", {640, 360, 4, TypeDesc::UINT8}, drawLandscape(640, 360, kEvening));
        write(folder + "/morning.tif", {320, 180, 3, TypeDesc::UINT16}, drawLandscape(320, 180, kMorning));
        write(folder + "/night.exr", {480, 270, 3, TypeDesc::HALF}, drawLandscape(480, 270, kNight));
    } catch (const std::exception& error) {
        std::cerr << "draw_samples: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
