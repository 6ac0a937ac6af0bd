// SPDX-License-Identifier: MIT
// Instances: sequence data and frames.
#include <algorithm>
#include <utility>

#include "host/error.h"
#include "host/session.h"
#include "host/suite_tables.h"

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

/// Enters a callback that belongs to one of the two smart commands only.
PF_Err enterFrame(PF_ProgPtr effectRef, PF_Cmd command, std::string_view name, std::string_view detail,
                  CurrentCall*& call) {
    const PF_Err error = enterEffectCall(effectRef, name, detail, call);
    if (call != nullptr && (call->command != command || call->frame == nullptr || call->frame->requests == nullptr)) {
        return breach(*std::exchange(call, nullptr), name, "called during another command", PF_Err_INVALID_CALLBACK);
    }
    return error;
}

PF_Err checkoutLayer(PF_ProgPtr effectRef, PF_ParamIndex index, A_long id, const PF_RenderRequest* request, A_long,
                     A_long, A_u_long, PF_CheckoutResult* result) {
    CurrentCall* call = nullptr;
    constexpr std::string_view kName = "checkout_layer";
    const std::string detail = std::to_string(index) + " id " + std::to_string(id);
    if (const PF_Err error = enterFrame(effectRef, PF_Cmd_SMART_PRE_RENDER, kName, detail, call)) {
        return error;
    }
    FrameContext& frame = *call->frame;
    if (index < 0 || index >= frame.values->count() || frame.values->at(index).param_type != PF_Param_LAYER) {
        return breach(*call, kName, "there is no layer parameter " + std::to_string(index), PF_Err_INVALID_INDEX);
    }
    if (request == nullptr || result == nullptr) {
        return breach(*call, kName, "given no request, or nowhere to put the result");
    }
    if (!frame.requests->emplace(id, index).second) {
        return breach(*call, kName, "the id " + std::to_string(id) + " was used before");
    }
    *result = PF_CheckoutResult{};
    result->par = {1, 1};
    const World* layer = layerOf(frame, index);
    if (layer != nullptr && !answersNull(call->host, kName, detail)) {
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

/// The frame's output, which there is, the one world that may be written.
PF_EffectWorld* handOutOutput(FrameContext& frame) {
    PF_EffectWorld* world = handOut(frame, *frame.request->output);
    world->world_flags |= PF_WorldFlag_WRITEABLE;
    return world;
}

PF_Err checkoutLayerPixels(PF_ProgPtr effectRef, A_long id, PF_EffectWorld** world) {
    constexpr std::string_view kName = "checkout_layer_pixels";
    CurrentCall* call = nullptr;
    const std::string name = std::to_string(id);
    if (const PF_Err error = enterFrame(effectRef, PF_Cmd_SMART_RENDER, kName, name, call)) {
        return error;
    }
    FrameContext& frame = *call->frame;
    const auto requested = frame.requests->find(id);
    if (world == nullptr || requested == frame.requests->end()) {
        return breach(*call, kName, "nowhere to put the world, or the id " + name + " was not requested in pre-render");
    }
    if (!frame.layersTaken.insert(id).second) {
        return breach(*call, kName, "the pixels of id " + name + " were taken before");
    }
    *world = nullptr;
    if (answersNull(call->host, kName, name)) {
        return PF_Err_NONE;
    }
    if (const World* layer = layerOf(frame, requested->second)) {
        *world = handOut(frame, *layer);
    }
    // A layer of none is checked out and in like any other.
    call->host.ledger.lend(Loan::LayerPixels, name);
    frame.layersOut.insert(name);
    frame.inputTaken = frame.inputTaken || requested->second == 0;
    return PF_Err_NONE;
}

PF_Err checkinLayerPixels(PF_ProgPtr effectRef, A_long id) {
    CurrentCall* call = nullptr;
    const std::string name = std::to_string(id);
    const PF_Err error = enterFrame(effectRef, PF_Cmd_SMART_RENDER, "checkin_layer_pixels", name, call);
    if (call != nullptr) {
        call->host.ledger.takeBack(Loan::LayerPixels, name);
        if (const auto out = call->frame->layersOut.find(name); out != call->frame->layersOut.end()) {
            call->frame->layersOut.erase(out);
        }
    }
    return error;
}

PF_Err checkoutOutput(PF_ProgPtr effectRef, PF_EffectWorld** world) {
    constexpr std::string_view kName = "checkout_output";
    CurrentCall* call = nullptr;
    if (const PF_Err error = enterFrame(effectRef, PF_Cmd_SMART_RENDER, kName, {}, call)) {
        return error;
    }
    FrameContext& frame = *call->frame;
    if (world == nullptr) {
        return breach(*call, kName, "nowhere to put the world");
    }
    if (!frame.inputTaken) {
        static_cast<void>(breach(*call, kName, "called before any input was checked out"));
    }
    const bool none = frame.request->output == nullptr || answersNull(call->host, kName);
    *world = none ? nullptr : handOutOutput(frame);
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

int bitsPerChannel(Depth depth) {
    return 2 * pixelBytes(depth);
}

std::string sizeOf(const World& world) {
    return std::to_string(world.width()) + "x" + std::to_string(world.height());
}

/// A module takes all worlds of a frame for one depth, and walks the input in the output's size: anything else would
/// lead it out of the memory it was given. Throws HostError.
void checkWorlds(const FrameRequest& request, const ParameterValues& values) {
    const World* main = request.output != nullptr ? request.output : request.input;
    const auto checkDepth = [&](const World* world, const std::string& what) {
        if (world != nullptr && world->depth() != main->depth()) {
            throw HostError(what + " has " + std::to_string(bitsPerChannel(world->depth())) +
                            " bits a channel, the frame " + std::to_string(bitsPerChannel(main->depth())));
        }
    };
    if (main == nullptr) {
        return;
    }
    checkDepth(request.input, "the input");
    for (PF_ParamIndex index = 1; index < values.count(); ++index) {
        checkDepth(values.layer(index), "the layer of \"" + std::string(values.at(index).name) + "\"");
    }
    if (request.input != nullptr && request.output != nullptr &&
        (request.input->width() < request.output->width() || request.input->height() < request.output->height())) {
        throw HostError("the input of " + sizeOf(*request.input) + " pixels does not cover the output of " +
                        sizeOf(*request.output));
    }
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
    auto callbacks = filledWith<PF_PreRenderCallbacks>(unusedSlot);
    callbacks.checkout_layer = checkoutLayer;
    return callbacks;
}

PF_SmartRenderCallbacks smartRenderCallbacks() {
    return {checkoutLayerPixels, checkinLayerPixels, checkoutOutput};
}

struct PreRender::State {
    explicit State(Host::State& owner) : host(owner) {}
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    Host::State& host;
    LayerRequests requests;
    PF_RenderRequest request{};
    PF_PreRenderOutput output{};
    std::vector<HandleTable::Made> handles;  ///< what the module allocated in the pre-render and left
};

PreRender::State::~State() {
    if (output.delete_pre_render_data_func != nullptr && output.pre_render_data != nullptr) {
        PF_OutData out{};
        const CurrentCall call(host, nullptr, PF_Cmd_SMART_PRE_RENDER, nullptr, out);
        try {
            output.delete_pre_render_data_func(output.pre_render_data);
        } catch (...) {
            host.ledger.breach("delete_pre_render_data_func threw an exception");
        }
    }
    // The effect never frees its pre-render handle: the host keeps it until the frame is done. A command that failed
    // on the way leaves its handle behind as well, locked or not.
    for (const HandleTable::Made& made : handles) {
        host.handles.discard(made);
    }
}

PreRender::PreRender(std::unique_ptr<State> state) : state_(std::move(state)) {}
PreRender::PreRender(PreRender&&) noexcept = default;
PreRender& PreRender::operator=(PreRender&&) noexcept = default;
PreRender::~PreRender() = default;

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
    // What the module wrote into out_data counts; when it left that alone it may have changed in_data's.
    const bool answered = host.out.sequence_data != sequenceData_;
    sequenceData_ = answered ? host.out.sequence_data : host.in.sequence_data;
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
    auto state = std::make_unique<PreRender::State>(host);
    state->request.channel_mask = PF_ChannelMask_ARGB;
    if (request.output != nullptr) {
        state->request.rect = rectangleOf(request.output->def());
    }

    FrameContext frame;
    frame.request = &request;
    frame.values = request.values != nullptr ? request.values : &defaults;
    checkWorlds(request, *frame.values);
    frame.requests = &state->requests;
    FrameRecords records(host.in, host.out, sequenceData_, request);
    PF_PreRenderInput input{};
    input.output_request = state->request;
    if (request.output != nullptr) {
        input.bitdepth = static_cast<A_short>(bitsPerChannel(request.output->depth()));
    }
    PF_PreRenderCallbacks callbacks = preRenderCallbacks();
    PF_PreRenderExtra extra{&input, &state->output, &callbacks};

    const std::uint64_t mark = host.handles.mark();
    CommandResult result =
        host.send(PF_Cmd_SMART_PRE_RENDER, records.in, records.out, nullptr, nullptr, &extra, &frame);
    settle(host.ledger, frame);
    state->handles = host.handles.madeSince(mark);
    return {std::move(result), PreRender(std::move(state))};
}

CommandResult Instance::smartRender(PreRender& preRender, const FrameRequest& request) {
    Host::State& host = *host_.state_;
    const ParameterValues defaults(host.parameters);
    FrameContext frame;
    frame.request = &request;
    frame.values = request.values != nullptr ? request.values : &defaults;
    checkWorlds(request, *frame.values);
    frame.requests = &preRender.state_->requests;
    FrameRecords records(host.in, host.out, sequenceData_, request);
    PF_SmartRenderInput input{};
    input.output_request = preRender.state_->request;
    input.pre_render_data = preRender.preRenderData();
    if (request.output != nullptr) {
        input.bitdepth = static_cast<A_short>(bitsPerChannel(request.output->depth()));
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
    checkWorlds(request, values);
    values.at(0).u.ld = request.input != nullptr ? request.input->def() : PF_LayerDef{};
    std::vector<PF_ParamDef*> params;
    for (PF_ParamIndex index = 0; index < values.count(); ++index) {
        params.push_back(&values.at(index));
    }

    FrameContext frame;
    frame.request = &request;
    frame.values = &values;
    FrameRecords records(host.in, host.out, sequenceData_, request);
    PF_LayerDef* output = request.output != nullptr ? handOutOutput(frame) : nullptr;
    const auto send = [&](PF_Cmd cmd) {
        CommandResult result = host.send(cmd, records.in, records.out, params.data(), output, nullptr, &frame);
        settle(host.ledger, frame);
        records.in.frame_data = records.out.frame_data;
        return result;
    };
    CommandResult result = send(PF_Cmd_FRAME_SETUP);
    if (result.ok()) {
        result = send(PF_Cmd_RENDER);
        CommandResult setdown = send(PF_Cmd_FRAME_SETDOWN);
        if (result.ok() && !setdown.ok()) {
            return setdown;
        }
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
