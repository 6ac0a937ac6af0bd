// SPDX-License-Identifier: MIT
#pragma once

#include "host/command_result.h"
#include "sdk/pf_effect.h"

namespace quorvel::host {

struct FrameContext;
struct HostState;

/// Sends one command to the host's module with these records, and catches whatever the module throws. `frame` is the
/// frame or panel that the command works on, null for none.
CommandResult sendCommand(HostState& host, PF_Cmd cmd, PF_InData& inData, PF_OutData& outData, PF_ParamDef** params,
                          PF_LayerDef* output, void* extra, FrameContext* frame);

}  // namespace quorvel::host
