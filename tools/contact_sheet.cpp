// SPDX-License-Identifier: MIT
// Puts pictures of one size on a sheet, row by row. Usage: contact_sheet OUTPUT COLUMNS PICTURE...
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <charconv>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int kGap = 6;  ///< pixels around each picture

/// Throws std::runtime_error that names the file.
void makeSheet(const std::string& output, int columns, const std::vector<std::string>& files) {
    OIIO::ImageBuf sheet;
    for (std::size_t i = 0; i < files.size(); ++i) {
        OIIO::ImageBuf picture(files[i]);
        if (!picture.read(0, 0, true, OIIO::TypeDesc::FLOAT)) {
            throw std::runtime_error(files[i] + ": " + picture.geterror());
        }
        const OIIO::ImageSpec& spec = picture.spec();
        const int across = spec.width + kGap;
        const int down = spec.height + kGap;
        if (i == 0) {
            const int rows = (static_cast<int>(files.size()) + columns - 1) / columns;
            sheet.reset(OIIO::ImageSpec(columns * across + kGap, rows * down + kGap, 3, OIIO::TypeDesc::UINT8));
            OIIO::ImageBufAlgo::fill(sheet, {0.12F, 0.12F, 0.12F});
        }
        const int place = static_cast<int>(i);
        if (!OIIO::ImageBufAlgo::paste(sheet, kGap + place % columns * across, kGap + place / columns * down, 0, 0,
                                       OIIO::ImageBufAlgo::channels(picture, 3, {}))) {
            throw std::runtime_error(files[i] + ": " + sheet.geterror());
        }
    }
    if (!sheet.write(output)) {
        throw std::runtime_error(output + ": " + sheet.geterror());
    }
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const std::vector<std::string> given(arguments + 1, arguments + argumentCount);
    int columns = 0;
    if (given.size() >= 3) {
        std::from_chars(given[1].data(), given[1].data() + given[1].size(), columns);
    }
    if (columns < 1) {
        std::cerr << "usage: contact_sheet OUTPUT COLUMNS PICTURE...\n";
        return 2;
    }
    try {
        makeSheet(given[0], columns, {given.begin() + 2, given.end()});
    } catch (const std::exception& error) {
        std::cerr << "contact_sheet: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
