// SPDX-License-Identifier: MIT
// Instances: sequence data and frames.
#include <algorithm>
#include <utility>

#include "host/session.h"

namespace quorvel::host {

namespace {

PF_LRect rectangleOf(const PF_LayerDef& world) {
    return {world.origin_x, world.origin_y, world.origin_x + world.width, world.origin_y + world.height};
}

PF_LRect intersection(const PF_LRect& a, const PF_LRect& b) {
    const PF_LRect both{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                        std::min(a.bottom, b.bottom)};
    return both.left < both.right && both.top < both.bottom ? both : PF_LRect{};
}

/// The layer that a checkout means: the input for index 0, otherwise what the parameter holds.
const World* layerOf(const FrameContext& frame, PF_ParamIndex index) {
    return index == 0 ? frame.request->input : frame.values->layer(index);
}

/// The frame of the command on this thread; a host error when there is none or the call is refused.
PF_Err enterFrame(std::string_view name, std::string_view detail, CurrentCall*& call) {
    call = CurrentCall::get();
    if (call == nullptr || call->frame == nullptr || call->frame->request == nullptr) {
        return PF_Err_INVALID_CALLBACK;
    }
    return enterCall(call->host, name, detail).value_or(PF_Err_NONE);
}

PF_Err checkoutLayer(PF_ProgPtr, PF_ParamIndex index, A_long id, const PF_RenderRequest* request, A_long, A_long,
                     A_u_long, PF_CheckoutResult* result) {
    CurrentCall* call = nullptr;
    if (const PF_Err error = enterFrame("checkout_layer", std::to_string(index) + " id " + std::to_string(id), call)) {
        return error;
    }
    FrameContext& frame = *call->frame;
    if (request == nullptr || result == nullptr || index < 0 || index >= frame.values->count()) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (!frame.requests->emplace(id, index).second) {
        call->host.ledger.breach("checkout_layer: the id " + std::to_string(id) + " was used before");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    *result = PF_CheckoutResult{};
    result->par = {1, 1};
    if (const World* layer = layerOf(frame, index)) {
        const PF_LRect whole = rectangleOf(layer->def());
        result->result_rect = intersection(whole, request->rect);
        result->max_result_rect = whole;
        result->ref_width = layer->width();
        result->ref_height = layer->height();
    }
    return PF_Err_NONE;
}

PF_EffectWorld* handOut(FrameContext& frame, const World& world) {
    return &frame.worlds.emplace_back(world.def());
}

PF_Err checkoutLayerPixels(PF_ProgPtr, A_long id, PF_EffectWorld** world) {
    CurrentCall* call = nullptr;
    const std::string name = std::to_string(id);
    if (const PF_Err error = enterFrame("checkout_layer_pixels", name, call)) {
        return error;
    }
    FrameContext& frame = *call->frame;
    const auto requested = frame.requests->find(id);
    if (world == nullptr || requested == frame.requests->end() || !frame.layersTaken.insert(id).second) {
        call->host.ledger.breach("checkout_layer_pixels: the id " + name +
                                 " was not requested in pre-render, or its pixels were taken before");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    *world = nullptr;
    if (call->host.faults.answersNull("checkout_layer_pixels " + name)) {
        return PF_Err_NONE;
    }
    if (const World* layer = layerOf(frame, requested->second)) {
        *world = handOut(frame, *layer);
    }
    // A layer of none is checked out and in like any other.
    call->host.ledger.lend(Loan::LayerPixels, name);
    frame.layersOut.insert(name);
    frame.inputTaken = frame.inputTaken || id == 0;
    return PF_Err_NONE;
}

PF_Err checkinLayerPixels(PF_ProgPtr, A_long id) {
    CurrentCall* call = nullptr;
    const std::string name = std::to_string(id);
    const PF_Err error = enterFrame("checkin_layer_pixels", name, call);
    if (call != nullptr && call->frame != nullptr) {
        call->host.ledger.takeBack(Loan::LayerPixels, name);
        if (const auto out = call->frame->layersOut.find(name); out != call->frame->layersOut.end()) {
            call->frame->layersOut.erase(out);
        }
    }
    return error;
}

PF_Err checkoutOutput(PF_ProgPtr, PF_EffectWorld** world) {
    CurrentCall* call = nullptr;
    if (const PF_Err error = enterFrame("checkout_output", {}, call)) {
        return error;
    }
    FrameContext& frame = *call->frame;
    if (world == nullptr) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (!frame.inputTaken) {
        call->host.ledger.breach("checkout_output before any input was checked out");
    }
    *world = frame.request->output != nullptr ? handOut(frame, *frame.request->output) : nullptr;
    return PF_Err_NONE;
}

/// Takes back what a command left out, as the real hosts do.
void settle(Ledger& ledger, FrameContext& frame) {
    for (const std::string& name : frame.paramsOut) {
        ledger.forgive(Loan::Parameter, name, 1);
    }
    for (const std::string& name : frame.layersOut) {
        ledger.forgive(Loan::LayerPixels, name, 1);
    }
    frame.paramsOut.clear();
    frame.layersOut.clear();
}

/// The records for one frame's command on whatever thread it runs.
struct FrameRecords {
    FrameRecords(const PF_InData& base, const PF_OutData& baseOut, PF_Handle sequenceData, const FrameRequest& request)
        : in(base), out(baseOut) {
        in.sequence_data = sequenceData;
        in.current_time = request.time;
        in.time_step = in.local_time_step = request.timeStep;
        in.time_scale = request.timeScale;
        in.downsample_x = request.downsampleX;
        in.downsample_y = request.downsampleY;
        if (request.output != nullptr) {
            in.width = request.output->width();
            in.height = request.output->height();
            in.extent_hint = {0, 0, in.width, in.height};
        }
    }
    PF_InData in;
    PF_OutData out;
};

}  // namespace

PF_PreRenderCallbacks preRenderCallbacks() {
    return {checkoutLayer, nullptr};
}

PF_SmartRenderCallbacks smartRenderCallbacks() {
    return {checkoutLayerPixels, checkinLayerPixels, checkoutOutput};
}

struct PreRender::State {
    HandleTable* handles = nullptr;
    LayerRequests requests;
    PF_RenderRequest request{};
    PF_PreRenderOutput output{};
};

PreRender::PreRender(std::unique_ptr<State> state) : state_(std::move(state)) {}
PreRender::PreRender(PreRender&&) noexcept = default;

PreRender& PreRender::operator=(PreRender&& other) noexcept {
    std::swap(state_, other.state_);
    return *this;
}

PreRender::~PreRender() {
    // The effect never frees its pre-render handle: the host keeps it until the frame is done.
    if (state_ != nullptr) {
        state_->handles->discard(static_cast<PF_Handle>(state_->output.pre_render_data));
    }
}

PF_LRect PreRender::resultRect() const {
    return state_->output.result_rect;
}

PF_LRect PreRender::maxResultRect() const {
    return state_->output.max_result_rect;
}

void*& PreRender::preRenderData() {
    return state_->output.pre_render_data;
}

Instance::Instance(Host& host) : host_(host) {}

Instance::~Instance() {
    if (sequenceData_ != nullptr) {
        static_cast<void>(sequenceSetdown());
    }
    host_.state_->handles.discard(sequenceData_);
    host_.state_->handles.discard(storedData_);
}

CommandResult Instance::sendSequenceCommand(PF_Cmd cmd) {
    Host::State& host = *host_.state_;
    host.in.sequence_data = sequenceData_;
    const CommandResult result = host.send(cmd, host.in, host.out, nullptr, nullptr, nullptr, nullptr);
    // A resize in place changes in_data's; otherwise out_data has what the module wrote, or what it was given.
    sequenceData_ = host.out.sequence_data;
    host.in.sequence_data = nullptr;
    return result;
}

CommandResult Instance::sequenceSetup() {
    return sendSequenceCommand(PF_Cmd_SEQUENCE_SETUP);
}

CommandResult Instance::sequenceResetup() {
    return sendSequenceCommand(PF_Cmd_SEQUENCE_RESETUP);
}

CommandResult Instance::sequenceFlatten() {
    return sendSequenceCommand(PF_Cmd_SEQUENCE_FLATTEN);
}

CommandResult Instance::getFlattenedSequenceData() {
    const PF_Handle own = sequenceData_;
    const CommandResult result = sendSequenceCommand(PF_Cmd_GET_FLATTENED_SEQUENCE_DATA);
    if (sequenceData_ != own) {
        host_.state_->handles.discard(storedData_);
        storedData_ = std::exchange(sequenceData_, own);
    }
    return result;
}

CommandResult Instance::sequenceSetdown() {
    return sendSequenceCommand(PF_Cmd_SEQUENCE_SETDOWN);
}

PF_Handle& Instance::sequenceData() {
    return sequenceData_;
}

std::vector<std::byte> Instance::bytesOf(PF_Handle handle) const {
    HandleTable& handles = host_.state_->handles;
    if (!handles.knows(handle) || *handle == nullptr) {
        return {};
    }
    const auto* bytes = static_cast<const std::byte*>(*handle);
    return {bytes, bytes + handles.size(handle)};
}

PF_Handle Instance::newHandle(std::size_t size, bool nullBlock) {
    return host_.state_->handles.create(size, nullBlock);
}

PF_Handle Instance::storedData() const {
    return storedData_;
}

CommandResult Instance::render(const FrameRequest& request) {
    if (host_.profile().application == Application::PremierePro) {
        return plainRender(request);
    }
    auto [result, preRendered] = preRender(request);
    return result.ok() ? smartRender(preRendered, request) : result;
}

std::pair<CommandResult, PreRender> Instance::preRender(const FrameRequest& request) {
    Host::State& host = *host_.state_;
    const ParameterValues defaults(host.parameters);
    auto state = std::make_unique<PreRender::State>();
    state->handles = &host.handles;
    state->request.channel_mask = PF_ChannelMask_ARGB;
    if (request.output != nullptr) {
        state->request.rect = rectangleOf(request.output->def());
    }

    FrameContext frame;
    frame.request = &request;
    frame.values = request.values != nullptr ? request.values : &defaults;
    frame.requests = &state->requests;
    FrameRecords records(host.in, host.out, sequenceData_, request);
    PF_PreRenderInput input{};
    input.output_request = state->request;
    if (request.output != nullptr) {
        input.bitdepth = static_cast<A_short>(2 * pixelBytes(request.output->depth()));
    }
    PF_PreRenderCallbacks callbacks = preRenderCallbacks();
    PF_PreRenderExtra extra{&input, &state->output, &callbacks};

    const std::uint64_t mark = host.handles.mark();
    CommandResult result =
        host.send(PF_Cmd_SMART_PRE_RENDER, records.in, records.out, nullptr, nullptr, &extra, &frame);
    settle(host.ledger, frame);
    for (PF_Handle handle : host.handles.madeSince(mark)) {
        if (handle != static_cast<PF_Handle>(state->output.pre_render_data)) {
            host.handles.discard(handle);  // a command that failed on the way leaves its handle behind
        }
    }
    return {std::move(result), PreRender(std::move(state))};
}

CommandResult Instance::smartRender(PreRender& preRender, const FrameRequest& request) {
    Host::State& host = *host_.state_;
    const ParameterValues defaults(host.parameters);
    FrameContext frame;
    frame.request = &request;
    frame.values = request.values != nullptr ? request.values : &defaults;
    frame.requests = &preRender.state_->requests;
    FrameRecords records(host.in, host.out, sequenceData_, request);
    PF_SmartRenderInput input{};
    input.output_request = preRender.state_->request;
    input.pre_render_data = preRender.preRenderData();
    if (request.output != nullptr) {
        input.bitdepth = static_cast<A_short>(2 * pixelBytes(request.output->depth()));
    }
    PF_SmartRenderCallbacks callbacks = smartRenderCallbacks();
    PF_SmartRenderExtra extra{&input, &callbacks};
    CommandResult result = host.send(PF_Cmd_SMART_RENDER, records.in, records.out, nullptr, nullptr, &extra, &frame);
    settle(host.ledger, frame);
    return result;
}

CommandResult Instance::plainRender(const FrameRequest& request) {
    Host::State& host = *host_.state_;
    ParameterValues values = request.values != nullptr ? *request.values : ParameterValues(host.parameters);
    values.at(0).u.ld = request.input != nullptr ? request.input->def() : PF_LayerDef{};
    std::vector<PF_ParamDef*> params;
    for (PF_ParamIndex index = 0; index < values.count(); ++index) {
        params.push_back(&values.at(index));
    }

    FrameContext frame;
    frame.request = &request;
    frame.values = &values;
    FrameRecords records(host.in, host.out, sequenceData_, request);
    PF_LayerDef* output = request.output != nullptr ? handOut(frame, *request.output) : nullptr;
    const auto send = [&](PF_Cmd cmd) {
        CommandResult result = host.send(cmd, records.in, records.out, params.data(), output, nullptr, &frame);
        settle(host.ledger, frame);
        return result;
    };
    CommandResult result = send(PF_Cmd_FRAME_SETUP);
    if (result.ok()) {
        result = send(PF_Cmd_RENDER);
        static_cast<void>(send(PF_Cmd_FRAME_SETDOWN));
    }
    return result;
}

CommandResult Instance::sendPanelCommand(PF_Cmd cmd, ParameterValues* values, void* extra, FrameContext& frame) {
    Host::State& host = *host_.state_;
    std::vector<PF_ParamDef*> params;
    for (PF_ParamIndex index = 0; values != nullptr && index < values->count(); ++index) {
        params.push_back(&values->at(index));
    }
    // Records of its own, because frames may render meanwhile.
    PF_InData in = host.in;
    PF_OutData out = host.out;
    in.sequence_data = sequenceData_;
    CommandResult result = host.send(cmd, in, out, values != nullptr ? params.data() : nullptr, nullptr, extra, &frame);
    settle(host.ledger, frame);
    return result;
}

}  // namespace quorvel::host
