// SPDX-License-Identifier: MIT
// Which of a file's channels are rendered.
#pragma once

#include <OpenImageIO/imageio.h>

#include <array>
#include <string>
#include <vector>

namespace quorvel::cli {

/// Which of a file's channels become A, R, G and B of the world, in that order; -1 is full alpha.
struct ChannelMap {
    std::array<int, 4> source{-1, 0, 0, 0};

    bool hasAlpha() const { return source[0] >= 0; }
    bool isGrey() const { return source[1] == source[2]; }
    bool uses(int channel) const;
    /// The range of channels that covers those of the map.
    int first() const;
    int end() const;
};

/// By name where the file has the usual names, otherwise by position: one or two channels are grey, more are R, G, B.
/// With a layer only the channels LAYER.R and so on count; throws Failure naming the file and its layers when there are
/// none.
ChannelMap mapChannels(const OIIO::ImageSpec& spec, const std::string& file, const std::string& layer);

/// The name of a channel; some readers name fewer channels than they deliver.
std::string channelName(const OIIO::ImageSpec& spec, int channel);

/// The channels that the map does not use.
std::vector<int> unusedChannels(const OIIO::ImageSpec& spec, const ChannelMap& map);

/// The names under which R, G, B and A are written where channels have names.
std::array<std::string, 4> renderedNames(const OIIO::ImageSpec& spec, const ChannelMap& map, const std::string& layer);

}  // namespace quorvel::cli
