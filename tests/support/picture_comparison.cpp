// SPDX-License-Identifier: MIT
#include "tests/support/picture_comparison.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <limits>
#include <sstream>
#include <system_error>
#include <type_traits>
#include <vector>

namespace quorvel::test {

namespace {

namespace fs = std::filesystem;

template <typename T>
bool same(T a, T b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0 || (a != a && b != b);
}

/// One picture in a format that needs no library: PAM with alpha for whole numbers; for floats PFM, which has no alpha,
/// so that it is a second, grey picture.
class PictureFile {
public:
    PictureFile(const fs::path& path, const std::string& header) : out_(path, std::ios::binary) { out_ << header; }

    void put(std::uint8_t channel) { out_.put(static_cast<char>(channel)); }
    void put(std::uint16_t channel) {
        put(static_cast<std::uint8_t>(channel >> 8));
        put(static_cast<std::uint8_t>(channel & 0xFF));
    }
    void put(float channel) {
        const auto bits = std::bit_cast<std::uint32_t>(channel);
        for (int shift = 0; shift < 32; shift += 8) {
            put(static_cast<std::uint8_t>(bits >> shift & 0xFF));
        }
    }
    bool close() {
        out_.close();
        return out_.good();
    }

private:
    std::ofstream out_;
};

template <typename T>
bool save(const fs::path& path, PixelView<const T> picture) {
    const auto pixel = [&](std::int32_t x, std::int32_t y) {
        return picture.pixels + y * picture.stride + static_cast<std::ptrdiff_t>(x) * kChannelsPerPixel;
    };
    const std::string size = std::to_string(picture.width) + " " + std::to_string(picture.height);
    if constexpr (std::is_floating_point_v<T>) {
        PictureFile colour(fs::path(path).replace_extension(".pfm"), "PF\n" + size + "\n-1.0\n");
        PictureFile alpha(fs::path(path).concat("-alpha.pfm"), "Pf\n" + size + "\n-1.0\n");
        for (std::int32_t y = picture.height - 1; y >= 0; --y) {  // rows from the bottom
            for (std::int32_t x = 0; x < picture.width; ++x) {
                for (const int c : {kChannelR, kChannelG, kChannelB}) {
                    colour.put(pixel(x, y)[c]);
                }
                alpha.put(pixel(x, y)[kChannelA]);
            }
        }
        const bool saved = colour.close();
        return alpha.close() && saved;
    } else {
        PictureFile file(fs::path(path).replace_extension(".pam"),
                         "P7\nWIDTH " + std::to_string(picture.width) + "\nHEIGHT " + std::to_string(picture.height) +
                             "\nDEPTH 4\nMAXVAL " + std::to_string(std::numeric_limits<T>::max()) +
                             "\nTUPLTYPE RGB_ALPHA\nENDHDR\n");
        for (std::int32_t y = 0; y < picture.height; ++y) {
            for (std::int32_t x = 0; x < picture.width; ++x) {
                for (const int c : {kChannelR, kChannelG, kChannelB, kChannelA}) {
                    file.put(pixel(x, y)[c]);
                }
            }
        }
        return file.close();
    }
}

/// Saves both pictures and says where, or why they are not there.
template <typename T>
std::string savePictures(PixelView<const T> expected, PixelView<const T> actual, std::string name) {
    static std::atomic<int> saved = 0;
    constexpr int kMost = 8;
    if (saved >= kMost) {
        return "; not saved, as " + std::to_string(kMost) + " differences are already";
    }
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '/' || c == '\\' || c == ':'; }, '-');
    const fs::path folder = fs::path(QUORVEL_DIFFERING_PICTURES) / (std::move(name) + "-" + std::to_string(++saved));
    std::error_code error;
    fs::create_directories(folder, error);
    if (error || !save(folder / "expected", expected) || !save(folder / "actual", actual)) {
        return "; could not be saved to " + folder.string();
    }
    return "; both pictures are in " + folder.string();
}

}  // namespace

template <typename T>
std::string difference(PixelView<const T> expected, PixelView<const T> actual, const std::string& name) {
    std::int64_t different = 0;
    std::ostringstream text;
    for (std::int32_t y = 0; y < expected.height; ++y) {
        const T* wanted = expected.pixels + y * expected.stride;
        const T* got = actual.pixels + y * actual.stride;
        for (std::int32_t i = 0; i < expected.width * kChannelsPerPixel; ++i) {
            if (!same(wanted[i], got[i]) && different++ == 0) {
                text << "first at x " << i / kChannelsPerPixel << ", y " << y << ", channel "
                     << "ARGB"[i % kChannelsPerPixel] << ": expected " << std::setprecision(9) << +wanted[i] << ", got "
                     << +got[i];
            }
        }
    }
    if (different == 0) {
        return {};
    }
    return std::to_string(different) + (different == 1 ? " channel differs, " : " channels differ, ") + text.str() +
           savePictures(expected, actual, name);
}

template std::string difference(PixelView<const std::uint8_t>, PixelView<const std::uint8_t>, const std::string&);
template std::string difference(PixelView<const std::uint16_t>, PixelView<const std::uint16_t>, const std::string&);
template std::string difference(PixelView<const float>, PixelView<const float>, const std::string&);

}  // namespace quorvel::test
