// SPDX-License-Identifier: MIT
#include "host/instance.h"

#include <string>
#include <utility>
#include <vector>

#include "host/base/error.h"
#include "host/call.h"
#include "host/command.h"
#include "host/smart_callbacks.h"

namespace quorvel::host {

namespace {

std::string sizeOf(const World& world) {
    return std::to_string(world.width()) + "x" + std::to_string(world.height());
}

/// A module assumes that all worlds of a frame have one depth, and reads as much of the input as the output holds: any
/// other request would make it read past the end of a world. Throws HostError.
void checkWorlds(const FrameRequest& request, const ParameterValues& values) {
    const World* main = request.output != nullptr ? request.output : request.input;
    const auto checkDepth = [&](const World* world, const std::string& what) {
        if (world != nullptr && world->depth() != main->depth()) {
            throw HostError(what + " has " + std::to_string(world->bitsPerChannel()) +
                            " bits per channel: expected the frame's " + std::to_string(main->bitsPerChannel()));
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
        throw HostError("the input of " + sizeOf(*request.input) + " pixels is smaller than the output of " +
                        sizeOf(*request.output));
    }
}

/// One frame's own copies of the records, since several frames may render at once.
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

struct PreRender::State {
    explicit State(HostState& owner) : host(owner) {}
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    HostState& host;
    LayerRequests requests;
    PF_RenderRequest request{};
    PF_PreRenderOutput output{};
    std::vector<HandleTable::Made> handles;  ///< allocated by the module during the pre-render and not disposed of
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
    // The effect never disposes of its pre-render handle: the host keeps it until the frame is done. A pre-render that
    // failed leaves its handle as well, locked or not.
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
    HostState& host = *host_.state_;
    host.in.sequence_data = sequenceData_;
    const CommandResult result = sendCommand(host, cmd, host.in, host.out, nullptr, nullptr, nullptr, nullptr);
    // The module may write its data into out_data, which takes precedence, or into in_data.
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
    HostState& host = *host_.state_;
    const ParameterValues defaults(host.parameters);
    auto state = std::make_unique<PreRender::State>(host);
    state->request.channel_mask = PF_ChannelMask_ARGB;
    if (request.output != nullptr) {
        state->request.rect = request.output->rectangle();
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
        input.bitdepth = static_cast<A_short>(request.output->bitsPerChannel());
    }
    PF_PreRenderCallbacks callbacks = preRenderCallbacks();
    PF_PreRenderExtra extra{&input, &state->output, &callbacks};

    const std::uint64_t mark = host.handles.mark();
    CommandResult result =
        sendCommand(host, PF_Cmd_SMART_PRE_RENDER, records.in, records.out, nullptr, nullptr, &extra, &frame);
    frame.settle(host.ledger);
    state->handles = host.handles.madeSince(mark);
    return {std::move(result), PreRender(std::move(state))};
}

CommandResult Instance::smartRender(PreRender& preRender, const FrameRequest& request) {
    HostState& host = *host_.state_;
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
        input.bitdepth = static_cast<A_short>(request.output->bitsPerChannel());
    }
    PF_SmartRenderCallbacks callbacks = smartRenderCallbacks();
    PF_SmartRenderExtra extra{&input, &callbacks};
    CommandResult result =
        sendCommand(host, PF_Cmd_SMART_RENDER, records.in, records.out, nullptr, nullptr, &extra, &frame);
    frame.settle(host.ledger);
    return result;
}

CommandResult Instance::plainRender(const FrameRequest& request) {
    HostState& host = *host_.state_;
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
    PF_LayerDef* output = request.output != nullptr ? frame.handOutOutput() : nullptr;
    const auto send = [&](PF_Cmd cmd) {
        CommandResult result = sendCommand(host, cmd, records.in, records.out, params.data(), output, nullptr, &frame);
        frame.settle(host.ledger);
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
    HostState& host = *host_.state_;
    std::vector<PF_ParamDef*> params;
    for (PF_ParamIndex index = 0; values != nullptr && index < values->count(); ++index) {
        params.push_back(&values->at(index));
    }
    // Its own copies of the records, since frames may render meanwhile.
    PF_InData in = host.in;
    PF_OutData out = host.out;
    in.sequence_data = sequenceData_;
    CommandResult result =
        sendCommand(host, cmd, in, out, values != nullptr ? params.data() : nullptr, nullptr, extra, &frame);
    frame.settle(host.ledger);
    return result;
}

}  // namespace quorvel::host
