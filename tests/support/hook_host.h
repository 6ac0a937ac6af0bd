// SPDX-License-Identifier: MIT
// A host whose module does what the test tells it to. For tests that know the module's file as HOOK_WITHOUT_NOTHING.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/host.h"

namespace quorvel::host {

/// A command in the module's hands, as a test's own code sees it.
struct Command {
    PF_Cmd cmd;
    PF_InData* in;
    PF_OutData* out;
    PF_ParamDef** params;
    PF_LayerDef* output;
    void* extra;
};

/// A host whose module runs the test's code.
class HookHost : public Host {
public:
    using Hook = std::function<PF_Err(const Command&)>;

    explicit HookHost(Profile profile = Profile::afterEffects()) : Host(HOOK_WITHOUT_NOTHING, profile) {
        const auto setHook = reinterpret_cast<void (*)(PF_EffectMainFunction)>(module().symbol("setHook"));
        setHook([](PF_Cmd cmd, PF_InData* in, PF_OutData* out, PF_ParamDef** params, PF_LayerDef* output, void* extra) {
            return hook({cmd, in, out, params, output, extra});
        });
    }
    /// Runs the code inside a command.
    CommandResult during(PF_Cmd cmd, Hook code) {
        hook = std::move(code);
        return send(cmd, nullptr, nullptr, nullptr);
    }
    /// The breaches since the last time.
    std::vector<std::string> newBreaches() {
        std::vector<std::string> all = ledger().breaches();
        all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(seen_));
        seen_ += all.size();
        return all;
    }

    static inline Hook hook;

private:
    std::size_t seen_ = 0;
};

template <typename Suite>
const Suite* acquired(const Command& command, const char* name, int version) {
    const void* suite = nullptr;
    return command.in->pica_basicP->AcquireSuite(name, version, &suite) == PF_Err_NONE
               ? static_cast<const Suite*>(suite)
               : nullptr;
}

}  // namespace quorvel::host
