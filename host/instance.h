// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "host/frame_request.h"
#include "host/host.h"

namespace quorvel::host {

struct FrameContext;

/// The outcome of a pre-render, for at most one smart render. The caller owns it and destroys it before the host. The
/// data that the module left in it (its pre-render handle) is disposed of with it.
class PreRender {
public:
    ~PreRender();
    PreRender(PreRender&&) noexcept;
    PreRender& operator=(PreRender&&) noexcept;

    PF_LRect resultRect() const;
    PF_LRect maxResultRect() const;
    void*& preRenderData();

private:
    friend class Instance;
    struct State;
    explicit PreRender(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

/// The effect applied to a layer: its sequence data and its frames. Several threads may call `render`, `preRender`,
/// `smartRender` and `plainRender` of one instance at once, while one more thread uses its panel; everything else
/// belongs on one thread.
class Instance {
public:
    /// Borrows the host. Sends no command.
    explicit Instance(Host& host);
    /// Sends sequence set-down if there still is sequence data.
    ~Instance();
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    CommandResult sequenceSetup();
    CommandResult sequenceResetup();
    CommandResult sequenceFlatten();
    /// Keeps the instance's own data; the flat copy becomes `storedData`.
    CommandResult getFlattenedSequenceData();
    CommandResult sequenceSetdown();

    /// The instance's sequence data; null when there is none. Settable, to emulate unusual hosts.
    PF_Handle& sequenceData();
    /// A copy of a handle's bytes; empty for null and unknown handles.
    std::vector<std::byte> bytesOf(PF_Handle handle) const;
    /// A new host handle of `size` bytes, or one whose block is null.
    PF_Handle newHandle(std::size_t size, bool nullBlock = false);
    /// The last copy from getFlattenedSequenceData, null at first. Disposed of with the instance.
    PF_Handle storedData() const;

    /// One frame as the emulated application renders it: pre-render and smart render in After Effects, the plain render
    /// command between frame set-up and set-down in Premiere Pro.
    CommandResult render(const FrameRequest& request);

    /// The two halves of a smart render. A PreRender need not be used.
    std::pair<CommandResult, PreRender> preRender(const FrameRequest& request);
    CommandResult smartRender(PreRender& preRender, const FrameRequest& request);
    /// PF_Cmd_RENDER between frame set-up and set-down, whatever the application.
    CommandResult plainRender(const FrameRequest& request);

private:
    friend class Panel;
    CommandResult sendSequenceCommand(PF_Cmd cmd);
    /// Passes the definitions in `values`, which the module may write to, or none when it is null. The caller fills in
    /// `frame`.
    CommandResult sendPanelCommand(PF_Cmd cmd, ParameterValues* values, void* extra, FrameContext& frame);

    Host& host_;
    PF_Handle sequenceData_ = nullptr;
    PF_Handle storedData_ = nullptr;
};

}  // namespace quorvel::host
