// SPDX-License-Identifier: MIT
// One random frame through each renderer and through the model.
#pragma once

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "effect/fast/render.h"
#include "effect/plain/render.h"
#include "tests/support/model.h"
#include "tests/support/picture_comparison.h"
#include "tests/support/random_frame.h"

namespace quorvel::test {

/// The frame's output as `render` draws it, which gets what plain::render gets.
template <typename Depth, typename Render>
GuardedPicture<typename Depth::Channel> rendered(const RandomFrame<Depth>& frame, Render render) {
    using T = typename Depth::Channel;
    GuardedPicture<T> output = frame.output.clone();
    IntensityLayer<T> layer{{}, frame.originX, frame.originY};
    if (frame.layer) {
        layer.view = frame.layer->view();
    }
    render(output.writableView(), frame.inPlace ? output.view() : frame.source.view(), frame.settings, layer);
    return output;
}

template <typename Depth>
GuardedPicture<typename Depth::Channel> renderedPlainly(const RandomFrame<Depth>& frame) {
    return rendered(frame, [](const auto&... arguments) { plain::render<Depth>(arguments...); });
}

template <typename Depth>
GuardedPicture<typename Depth::Channel> renderedFast(const RandomFrame<Depth>& frame, fast::InstructionSet set) {
    return rendered(frame, [set](const auto&... arguments) { fast::render<Depth>(arguments..., set); });
}

/// Holds the fast renderer against the plain one, padding included; empty when they agree, otherwise what differs and
/// the frame's description. `name` is for the pictures that are saved.
template <typename Depth>
std::string compareRenderers(const RandomFrame<Depth>& frame, fast::InstructionSet set, const std::string& name) {
    const auto expected = renderedPlainly(frame);
    const auto actual = renderedFast(frame, set);
    std::string text = difference(expected.view(), actual.view(), name);
    // Channels are the same now; of NaNs, the bits may still differ.
    const auto padding = [](const auto& picture) {
        auto copy = picture.clone();
        const auto view = copy.writableView();
        for (std::int32_t y = 0; y < view.height; ++y) {
            std::fill_n(view.pixels + y * view.stride, view.width * kChannelsPerPixel, copy.kPadding);
        }
        return copy;
    };
    if (text.empty() && std::memcmp(padding(expected).memory(), padding(actual).memory(),
                                    expected.channels() * sizeof(*expected.memory())) != 0) {
        text = "channels between the rows were written";
    }
    return text.empty() ? text : text + "; " + frame.description();
}

inline model::Settings modelSettings(const Settings& settings) {
    return {settings.channels,   settings.mosaicIntensity, settings.gridWidth,
            settings.gridHeight, settings.maxIterations,   settings.curveType,
            settings.curvePhase, settings.curveSmoothness, settings.curvePhaseSplit};
}

template <typename T>
model::Picture<T> modelPicture(PixelView<const T> view) {
    model::Picture<T> picture(view.width, view.height);
    for (std::int32_t y = 0; y < view.height; ++y) {
        std::copy_n(view.pixels + y * view.stride, view.width * kChannelsPerPixel, &picture.at(0, y, 0));
    }
    return picture;
}

template <typename T>
PixelView<const T> viewOf(const model::Picture<T>& picture) {
    return {picture.values.data(), picture.width, picture.height, std::ptrdiff_t{picture.width} * kChannelsPerPixel};
}

/// What the frame's output has to look like.
template <typename Depth>
model::Picture<typename Depth::Channel> modelled(const RandomFrame<Depth>& frame) {
    using T = typename Depth::Channel;
    model::Picture<T> output = modelPicture(frame.output.view());
    const model::Picture<T> source = modelPicture(frame.source.view());
    std::optional<model::Picture<T>> layer;
    if (frame.layer) {
        layer = modelPicture(frame.layer->view());
    }
    model::Mosaic<T>(output, source, modelSettings(frame.settings), layer ? &*layer : nullptr, frame.originX,
                     frame.originY)
        .draw();
    return output;
}

}  // namespace quorvel::test
