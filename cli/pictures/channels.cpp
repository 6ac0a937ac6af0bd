// SPDX-License-Identifier: MIT
#include "cli/pictures/channels.h"

#include <algorithm>
#include <set>

#include "cli/pictures/messages.h"
#include "cli/text.h"

namespace quorvel::cli {
namespace {

int channelNamed(const OIIO::ImageSpec& spec, const std::string& name) {
    const std::string wanted = lowerCase(name);
    for (int channel = 0; channel < spec.nchannels; ++channel) {
        if (lowerCase(channelName(spec, channel)) == wanted) {
            return channel;
        }
    }
    return -1;
}

/// "this file has no layers", or "its layers are a, b".
std::string layersOf(const OIIO::ImageSpec& spec) {
    std::set<std::string> layers;
    for (int channel = 0; channel < spec.nchannels; ++channel) {
        const std::string name = channelName(spec, channel);
        if (const std::size_t dot = name.rfind('.'); dot != std::string::npos) {
            layers.insert(name.substr(0, dot));
        }
    }
    std::string list;
    for (const std::string& layer : layers) {
        list += (list.empty() ? "" : ", ") + layer;
    }
    return list.empty() ? "the file has no layers" : "the file's layers are " + list;
}

}  // namespace

bool ChannelMap::uses(int channel) const {
    return std::find(source.begin(), source.end(), channel) != source.end();
}

int ChannelMap::first() const {
    return *std::min_element(source.begin() + (hasAlpha() ? 0 : 1), source.end());
}

int ChannelMap::end() const {
    return *std::max_element(source.begin(), source.end()) + 1;
}

std::string channelName(const OIIO::ImageSpec& spec, int channel) {
    const auto index = static_cast<std::size_t>(channel);
    return index < spec.channelnames.size() ? spec.channelnames[index] : "channel " + std::to_string(channel + 1);
}

ChannelMap mapChannels(const OIIO::ImageSpec& spec, const std::string& file, const std::string& layer) {
    const std::string prefix = layer.empty() ? "" : layer + ".";
    const int red = channelNamed(spec, prefix + "R");
    const int green = channelNamed(spec, prefix + "G");
    const int blue = channelNamed(spec, prefix + "B");
    const int grey = channelNamed(spec, prefix + "Y");
    const int named = channelNamed(spec, prefix + "A");
    // Some readers point past the last channel, so the name goes first.
    const bool usable = layer.empty() && spec.alpha_channel < spec.nchannels;
    const int alpha = named >= 0 ? named : usable ? spec.alpha_channel : -1;
    if (red >= 0 && green >= 0 && blue >= 0) {
        return {{alpha, red, green, blue}};
    }
    if (grey >= 0) {
        return {{alpha, grey, grey, grey}};
    }
    if (!layer.empty()) {
        throw pictureFailure(file, "has no layer \"" + layer + "\" with channels R, G and B or Y", layersOf(spec));
    }
    if (spec.nchannels < 3) {
        return {{alpha > 0 ? alpha : -1, 0, 0, 0}};
    }
    return {{alpha > 2 ? alpha : -1, 0, 1, 2}};
}

std::vector<int> unusedChannels(const OIIO::ImageSpec& spec, const ChannelMap& map) {
    std::vector<int> unused;
    for (int channel = 0; channel < spec.nchannels; ++channel) {
        if (!map.uses(channel)) {
            unused.push_back(channel);
        }
    }
    return unused;
}

std::array<std::string, 4> renderedNames(const OIIO::ImageSpec& spec, const ChannelMap& map, const std::string& layer) {
    const std::string prefix = layer.empty() ? "" : layer + ".";
    std::array<std::string, 4> names{prefix + "R", prefix + "G", prefix + "B", prefix + "A"};
    for (std::size_t i = 0; i < 4; ++i) {
        const int source = map.source[(i + 1) % 4];  // the map begins with alpha
        const std::string own = source < 0 ? "" : channelName(spec, source);
        // In the file's own spelling, unless it is a name of another kind.
        if (lowerCase(own) == lowerCase(names[i])) {
            names[i] = own;
        }
    }
    return names;
}

}  // namespace quorvel::cli
