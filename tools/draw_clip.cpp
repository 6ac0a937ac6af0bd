// SPDX-License-Identifier: MIT
// Draws a short clip with sound, uncompressed: a pan over the evening landscape while night falls. Usage: draw_clip
// FILE.avi
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <numbers>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tools/landscape.h"

namespace {

using namespace quorvel;

constexpr int kWidth = 480;  // a multiple of 4, so that rows of 24 bits need no padding
constexpr int kHeight = 270;
constexpr int kFrames = 60;
constexpr int kRate = 25;
constexpr int kPan = 240;  ///< pixels from the first frame to the last
constexpr int kSoundRate = 48000;
constexpr int kSoundPerFrame = kSoundRate / kRate;

/// Little-endian bytes, and chunks whose length is known when they end.
class Riff {
public:
    void tag(std::string_view name) { bytes_.append(name); }
    void number(std::uint32_t value, int size = 4) {
        for (int i = 0; i < size; ++i) {
            bytes_.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
        }
    }
    void numbers(std::initializer_list<std::uint32_t> values) {
        for (const std::uint32_t value : values) {
            number(value);
        }
    }
    /// Writes a chunk around what `fill` writes. All chunks here have even lengths.
    template <typename Fill>
    void chunk(std::string_view name, const Fill& fill) {
        tag(name);
        const std::size_t at = bytes_.size();
        number(0);
        fill();
        const std::size_t length = bytes_.size() - at - 4;
        for (std::size_t i = 0; i < 4; ++i) {
            bytes_[at + i] = static_cast<char>(length >> (8 * i) & 0xFF);
        }
    }
    std::size_t size() const { return bytes_.size(); }
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

/// One frame of 24 bits, the bottom row first.
void addFrame(Riff& riff, const std::vector<float>& landscape, int frame) {
    constexpr std::size_t wide = kWidth + kPan;
    const double t = frame / double{kFrames - 1};
    const double eased = t * t * (3 - 2 * t);
    const auto left = static_cast<std::size_t>(std::lround(kPan * eased));
    const double light[] = {std::lerp(1.0, 0.62, eased), std::lerp(1.0, 0.42, eased), std::lerp(1.0, 0.34, eased)};
    for (std::size_t y = kHeight; y-- > 0;) {
        for (std::size_t x = 0; x < kWidth; ++x) {
            const float* const pixel = landscape.data() + (y * wide + left + x) * 4;
            for (const int channel : {2, 1, 0}) {
                const double value = std::fmin(pixel[channel] * light[2 - channel], 1.0);
                riff.number(static_cast<std::uint32_t>(std::lround(255 * value)), 1);
            }
        }
    }
}

/// A frame's time of a slow arpeggio; each note dies away, the low ones on the left.
void addSound(Riff& riff, int frame) {
    constexpr double kNotes[] = {220.0, 261.63, 329.63, 392.0, 440.0, 523.25};
    constexpr double kNoteSeconds = 0.4;
    for (int i = 0; i < kSoundPerFrame; ++i) {
        const double time = (frame * kSoundPerFrame + i) / double{kSoundRate};
        double sides[2] = {0, 0};
        for (std::size_t note = 0; note < std::size(kNotes); ++note) {
            const double age = time - kNoteSeconds * static_cast<double>(note);
            if (age >= 0) {
                const double tone = 0.25 * std::sin(2 * std::numbers::pi * kNotes[note] * age) * std::exp(-2.5 * age) *
                                    std::fmin(age * 200, 1);
                const double right = static_cast<double>(note) / (std::size(kNotes) - 1);
                sides[0] += tone * (1 - right);
                sides[1] += tone * right;
            }
        }
        for (const double side : sides) {
            riff.number(static_cast<std::uint32_t>(std::lround(32767 * side)), 2);
        }
    }
}

void addHeaders(Riff& riff) {
    constexpr std::uint32_t frameBytes = kWidth * kHeight * 3;
    constexpr std::uint32_t soundBytes = kSoundPerFrame * 4;
    constexpr std::uint32_t hasIndex = 0x10;
    riff.chunk("avih", [&] {
        riff.numbers({1000000 / kRate, (frameBytes + soundBytes) * kRate, 0, hasIndex, kFrames, 0, 2, frameBytes,
                      kWidth, kHeight, 0, 0, 0, 0});
    });
    const auto stream = [&](std::string_view kind, std::uint32_t scale, std::uint32_t rate, std::uint32_t length,
                            std::uint32_t buffer, std::uint32_t sampleSize, const auto& format) {
        riff.chunk("LIST", [&] {
            riff.tag("strl");
            riff.chunk("strh", [&] {
                riff.tag(kind);
                riff.numbers({0, 0, 0, 0, scale, rate, 0, length, buffer, 0xFFFFFFFF, sampleSize, 0, 0});
            });
            riff.chunk("strf", format);
        });
    };
    stream("vids", 1, kRate, kFrames, frameBytes, 0, [&] {
        riff.numbers({40, kWidth, kHeight});
        riff.number(1, 2);
        riff.number(24, 2);
        riff.numbers({0, frameBytes, 0, 0, 0, 0});
    });
    stream("auds", 1, kSoundRate, kFrames * kSoundPerFrame, soundBytes, 4, [&] {
        riff.number(1, 2);  // PCM
        riff.number(2, 2);
        riff.numbers({kSoundRate, kSoundRate * 4});
        riff.number(4, 2);
        riff.number(16, 2);
    });
}

std::string drawClip() {
    const std::vector<float> landscape = drawLandscape(kWidth + kPan, kHeight, kEvening);
    struct Entry {
        std::string_view name;
        std::size_t at, length;
    };
    std::vector<Entry> index;
    Riff riff;
    riff.chunk("RIFF", [&] {
        riff.tag("AVI ");
        riff.chunk("LIST", [&] {
            riff.tag("hdrl");
            addHeaders(riff);
        });
        riff.chunk("LIST", [&] {
            const std::size_t movi = riff.size();
            riff.tag("movi");
            const auto add = [&](std::string_view name, const auto& fill) {
                const std::size_t at = riff.size();
                riff.chunk(name, fill);
                index.push_back({name, at - movi, riff.size() - at - 8});
            };
            for (int frame = 0; frame < kFrames; ++frame) {
                add("00db", [&] { addFrame(riff, landscape, frame); });
                add("01wb", [&] { addSound(riff, frame); });
            }
        });
        riff.chunk("idx1", [&] {
            constexpr std::uint32_t keyFrame = 0x10;
            for (const Entry& entry : index) {
                riff.tag(entry.name);
                riff.numbers(
                    {keyFrame, static_cast<std::uint32_t>(entry.at), static_cast<std::uint32_t>(entry.length)});
            }
        });
    });
    return riff.bytes();
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::cerr << "usage: draw_clip FILE.avi\n";
        return 2;
    }
    std::ofstream file(arguments[1], std::ios::binary);
    file << drawClip() << std::flush;
    if (!file) {
        std::cerr << "draw_clip: " << arguments[1] << ": cannot be written\n";
        return 1;
    }
    return 0;
}
