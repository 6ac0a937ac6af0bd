// SPDX-License-Identifier: MIT
#include "cli/frames/frame_supply.h"

#include <exception>
#include <utility>

#include "cli/exit_status.h"

namespace quorvel::cli {

FrameSupply::FrameSupply(const FramePlan& plan, Missing missing, VideoInput* input,
                         const std::vector<VideoInput*>& layers)
    : plan_(plan), missing_(missing) {
    if (input != nullptr) {
        input_.emplace(*input);
    }
    for (VideoInput* layer : layers) {
        layers_.emplace_back();
        if (layer != nullptr) {
            layers_.back().emplace(*layer);
        }
    }
}

std::optional<SuppliedFrame> FrameSupply::next() {
    const std::lock_guard lock(mutex_);
    while (!ended_) {
        SuppliedFrame frame;
        try {
            if (input_) {
                auto ofVideo = nextOfVideo();
                if (!ofVideo) {
                    break;
                }
                frame = std::move(*ofVideo);
            } else if (planned_ < plan_.count()) {
                frame.plan = plan_.frame(planned_++);
            } else {
                break;
            }
            if (!readLayers(frame)) {
                continue;
            }
        } catch (const std::exception& error) {
            // A video cannot be read on from where it is damaged.
            ended_ = true;
            frame.plan.number = input_ ? input_->count() : frame.plan.number;
            frame.failure = error.what();
        }
        frame.place = place_++;
        return frame;
    }
    ended_ = true;
    return std::nullopt;
}

std::optional<SuppliedFrame> FrameSupply::nextOfVideo() {
    for (; number_ <= plan_.wanted().last(); ++number_) {
        if (!plan_.wanted().contains(number_)) {
            continue;
        }
        SuppliedFrame frame;
        frame.input = input_->at(number_);
        if (!frame.input) {
            break;
        }
        if (auto planned = plan_.videoFrame(number_, place_)) {
            frame.plan = std::move(*planned);
            ++number_;
            return frame;
        }
    }
    return std::nullopt;
}

bool FrameSupply::readLayers(SuppliedFrame& frame) {
    frame.layers.resize(layers_.size());
    for (std::size_t i = 0; i < layers_.size(); ++i) {
        if (!layers_[i]) {
            continue;
        }
        PlannedSource& source = frame.plan.layers[i];
        VideoFrames& video = *layers_[i];
        frame.layers[i] = source.number < 0 ? nullptr : video.at(source.number);
        if (frame.layers[i]) {
            continue;
        }
        if (missing_ == Missing::Skip) {
            return false;
        }
        if (missing_ == Missing::Error || !video.last()) {
            throw Failure("{}: has no frame {}; it has {} frames", plan_.layerFile(frame.plan, i).string(),
                          source.number, video.count());
        }
        frame.layers[i] = video.last();
        source.black = missing_ == Missing::Black;
    }
    return true;
}

}  // namespace quorvel::cli
