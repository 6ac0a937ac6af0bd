// SPDX-License-Identifier: MIT
// A module that does what the test tells it to: it passes every command to the hook, if there is one.
// Parts of it can be left out, to emulate modules that cannot be loaded: without a limit it describes two effects, and
// without success it says that it failed.
#include "sdk/pf_effect.h"

namespace {

[[maybe_unused]] const A_u_char* text(const char* string) {
    return reinterpret_cast<const A_u_char*>(string);
}

}  // namespace

#ifndef WITHOUT_IDENTITY
PF_EXPORT PF_Err PluginDataEntryFunction(PF_PluginDataPtr host, PF_PluginDataCB callback, SPBasicSuite*, const char*,
                                         const char*) {
    const auto describe = [&] {
        return callback(host, text("Hook"), text("Hook"), text("Test"), text("EffectMain"), PF_FourCharCode("eFKT"), 13,
                        27, 8);
    };
#if defined(WITHOUT_LIMIT)
    describe();
#endif
#if defined(WITHOUT_SUCCESS)
    describe();
    return 4;
#else
    return describe();
#endif
}
#endif

#ifndef WITHOUT_ENTRY
namespace {
PF_EffectMainFunction hook = nullptr;
}

PF_EXPORT void setHook(PF_EffectMainFunction function) {
    hook = function;
}

PF_EXPORT PF_Err EffectMain(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                            PF_LayerDef* output, void* extra) {
    return hook != nullptr ? hook(cmd, in_data, out_data, params, output, extra) : PF_Err_NONE;
}
#endif
