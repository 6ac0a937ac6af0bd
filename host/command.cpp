// SPDX-License-Identifier: MIT
#include "host/command.h"

#include <algorithm>
#include <exception>

#include "host/call.h"

namespace quorvel::host {

CommandResult sendCommand(HostState& host, PF_Cmd cmd, PF_InData& inData, PF_OutData& outData, PF_ParamDef** params,
                          PF_LayerDef* output, void* extra, FrameContext* frame) {
    inData.num_params = static_cast<A_long>(host.parameters.size());
    outData.return_msg[0] = '\0';
    outData.out_flags &= ~PF_OutFlag_DISPLAY_ERROR_MESSAGE;
    outData.sequence_data = inData.sequence_data;
    outData.global_data = inData.global_data;
    outData.frame_data = inData.frame_data;

    CommandResult result;
    {
        const CurrentCall call(host, frame, cmd, params, outData);
        try {
            result.error = host.module.effectMain()(cmd, &inData, &outData, params, output, extra);
        } catch (const std::exception& exception) {
            result.exception = exception.what();
        } catch (...) {
            result.exception = "unknown exception";
        }
    }
    const char* message = outData.return_msg;
    result.message.assign(message, std::find(message, message + sizeof outData.return_msg, '\0'));
    result.messageIsError = (outData.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE) != 0;
    return result;
}

}  // namespace quorvel::host
