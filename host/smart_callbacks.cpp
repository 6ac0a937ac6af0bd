// SPDX-License-Identifier: MIT
#include "host/smart_callbacks.h"

#include <algorithm>
#include <string>

#include "host/call.h"
#include "host/unused_slot.h"

namespace quorvel::host {

namespace {

PF_LRect intersection(const PF_LRect& a, const PF_LRect& b) {
    const PF_LRect both{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                        std::min(a.bottom, b.bottom)};
    return both.left < both.right && both.top < both.bottom ? both : PF_LRect{};
}

/// The layer of a checkout: the input for index 0, otherwise the parameter's layer.
const World* layerOf(const FrameContext& frame, PF_ParamIndex index) {
    return index == 0 ? frame.request->input : frame.values->layer(index);
}

/// Enters a callback that belongs to one command only, `command`. A returned call has a frame.
EnteredCall enterFrame(PF_ProgPtr effectRef, PF_Cmd command, std::string_view name, std::string_view detail = {}) {
    const EnteredCall entered = enterEffectCall(effectRef, name, detail);
    if (entered.call == nullptr) {
        return {nullptr, PF_Err_INVALID_CALLBACK};
    }
    const CurrentCall& call = *entered.call;
    if (call.command != command || call.frame == nullptr || call.frame->requests == nullptr) {
        static_cast<void>(breach(call, name, "not allowed in this command"));
        return {nullptr, PF_Err_INVALID_CALLBACK};
    }
    return entered;
}

PF_Err checkoutLayer(PF_ProgPtr effectRef, PF_ParamIndex index, A_long id, const PF_RenderRequest* request, A_long,
                     A_long, A_u_long, PF_CheckoutResult* result) {
    constexpr std::string_view kName = "checkout_layer";
    const std::string detail = std::to_string(index) + " id " + std::to_string(id);
    const EnteredCall entered = enterFrame(effectRef, PF_Cmd_SMART_PRE_RENDER, kName, detail);
    if (!entered) {
        return entered.error;
    }
    const CurrentCall& call = *entered.call;
    FrameContext& frame = *call.frame;
    if (index < 0 || index >= frame.values->count() || frame.values->at(index).param_type != PF_Param_LAYER) {
        return breach(call, kName, "no layer parameter has the index " + std::to_string(index), PF_Err_INVALID_INDEX);
    }
    if (request == nullptr || result == nullptr) {
        return breach(call, kName, request == nullptr ? "null request" : "null output pointer");
    }
    if (!frame.requests->emplace(id, index).second) {
        return breach(call, kName, "checkout id " + std::to_string(id) + " is already in use");
    }
    *result = PF_CheckoutResult{};
    result->par = {1, 1};
    const World* layer = layerOf(frame, index);
    if (layer != nullptr && !answersNull(call.host, kName, detail)) {
        const PF_LRect whole = layer->rectangle();
        result->result_rect = intersection(whole, request->rect);
        result->max_result_rect = whole;
        result->ref_width = layer->width();
        result->ref_height = layer->height();
    }
    return PF_Err_NONE;
}

PF_Err checkoutLayerPixels(PF_ProgPtr effectRef, A_long id, PF_EffectWorld** world) {
    constexpr std::string_view kName = "checkout_layer_pixels";
    const std::string name = std::to_string(id);
    const EnteredCall entered = enterFrame(effectRef, PF_Cmd_SMART_RENDER, kName, name);
    if (!entered) {
        return entered.error;
    }
    const CurrentCall& call = *entered.call;
    FrameContext& frame = *call.frame;
    const auto requested = frame.requests->find(id);
    if (world == nullptr) {
        return breach(call, kName, "null output pointer");
    }
    if (requested == frame.requests->end()) {
        return breach(call, kName, "checkout id " + name + " was not requested in pre-render");
    }
    if (!frame.layersTaken.insert(id).second) {
        return breach(call, kName, "the pixels of checkout id " + name + " were already checked out");
    }
    *world = nullptr;
    if (answersNull(call.host, kName, name)) {
        return PF_Err_NONE;
    }
    if (const World* layer = layerOf(frame, requested->second)) {
        *world = frame.handOut(*layer);
    }
    // A layer set to none is checked out and in like any other.
    call.host.ledger.lend(Loan::LayerPixels, name);
    frame.layersOut.insert(name);
    frame.inputTaken = frame.inputTaken || requested->second == 0;
    return PF_Err_NONE;
}

PF_Err checkinLayerPixels(PF_ProgPtr effectRef, A_long id) {
    const std::string name = std::to_string(id);
    const EnteredCall entered = enterFrame(effectRef, PF_Cmd_SMART_RENDER, "checkin_layer_pixels", name);
    // A refused call checks the pixels in too: a refusal must not look like a leak by the module.
    if (entered.call != nullptr) {
        entered.call->host.ledger.takeBack(Loan::LayerPixels, name);
        FrameContext& frame = *entered.call->frame;
        if (const auto out = frame.layersOut.find(name); out != frame.layersOut.end()) {
            frame.layersOut.erase(out);
        }
    }
    return entered.error;
}

PF_Err checkoutOutput(PF_ProgPtr effectRef, PF_EffectWorld** world) {
    constexpr std::string_view kName = "checkout_output";
    const EnteredCall entered = enterFrame(effectRef, PF_Cmd_SMART_RENDER, kName);
    if (!entered) {
        return entered.error;
    }
    const CurrentCall& call = *entered.call;
    FrameContext& frame = *call.frame;
    if (world == nullptr) {
        return breach(call, kName, "null output pointer");
    }
    if (!frame.inputTaken) {
        static_cast<void>(breach(call, kName, "called before the input's pixels were checked out"));
    }
    const bool none = frame.request->output == nullptr || answersNull(call.host, kName);
    *world = none ? nullptr : frame.handOutOutput();
    return PF_Err_NONE;
}

}  // namespace

PF_PreRenderCallbacks preRenderCallbacks() {
    auto callbacks = tableOfUnusedSlots<PF_PreRenderCallbacks>();
    callbacks.checkout_layer = checkoutLayer;
    return callbacks;
}

PF_SmartRenderCallbacks smartRenderCallbacks() {
    return {checkoutLayerPixels, checkinLayerPixels, checkoutOutput};
}

}  // namespace quorvel::host
