// SPDX-License-Identifier: MIT
#include "plugins/after_effects/panel/drawbot_suites.h"

namespace quorvel {

namespace {

PF_Err report(PF_InData* in_data, PF_OutData* out_data, const char* message, PF_Err error) {
    out_data->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
    in_data->utils->ansi.sprintf(out_data->return_msg, "%s", message);
    return error;
}

template <typename Suite>
PF_Err acquire(PF_InData* in_data, PF_OutData* out_data, const char* name, int version, const Suite*& suite) {
    const void* table = nullptr;
    const PF_Err error = AEFX_AcquireSuite(in_data, out_data, name, version, nullptr, &table);
    suite = static_cast<const Suite*>(table);
    return error;
}

}  // namespace

PF_Err AEFX_AcquireSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, int version,
                         const char* error_string, const void** suite) {
    *suite = nullptr;
    if (in_data->pica_basicP != nullptr) {
        in_data->pica_basicP->AcquireSuite(name, version, suite);
        if (*suite != nullptr) {
            return PF_Err_NONE;
        }
    }
    return report(in_data, out_data, error_string != nullptr ? error_string : "Not able to acquire AEFX Suite.",
                  PF_Err_BAD_CALLBACK_PARAM);
}

PF_Err AEFX_ReleaseSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, int version,
                         const char* error_string) {
    if (in_data->pica_basicP != nullptr) {
        in_data->pica_basicP->ReleaseSuite(name, version);
        return PF_Err_NONE;
    }
    return report(in_data, out_data, error_string != nullptr ? error_string : "Not able to release AEFX Suite.",
                  PF_Err_BAD_CALLBACK_PARAM);
}

PF_Err AEFX_AcquireDrawbotSuites(PF_InData* in_data, PF_OutData* out_data, DrawbotSuites* suites) {
    if (suites == nullptr) {
        return report(in_data, out_data, "NULL suite pointer passed to AEFX_AcquireDrawbotSuites",
                      PF_Err_UNRECOGNIZED_PARAM_TYPE);
    }
    PF_Err error = acquire(in_data, out_data, kDRAWBOT_DrawSuite, kDRAWBOT_DrawSuiteVersion, suites->draw);
    if (error == PF_Err_NONE) {
        error = acquire(in_data, out_data, kDRAWBOT_SupplierSuite, kDRAWBOT_SupplierSuiteVersion, suites->supplier);
    }
    if (error == PF_Err_NONE) {
        error = acquire(in_data, out_data, kDRAWBOT_SurfaceSuite, kDRAWBOT_SurfaceSuiteVersion, suites->surface);
    }
    if (error == PF_Err_NONE) {
        error = acquire(in_data, out_data, kDRAWBOT_PathSuite, kDRAWBOT_PathSuiteVersion, suites->path);
    }
    return error;
}

PF_Err AEFX_ReleaseDrawbotSuites(PF_InData* in_data, PF_OutData* out_data) {
    PF_Err error = PF_Err_NONE;
    const auto release = [&](const char* name, int version) {
        const PF_Err result = AEFX_ReleaseSuite(in_data, out_data, name, version, nullptr);
        error = error != PF_Err_NONE ? error : result;
    };
    release(kDRAWBOT_DrawSuite, kDRAWBOT_DrawSuiteVersion);
    release(kDRAWBOT_SupplierSuite, kDRAWBOT_SupplierSuiteVersion);
    release(kDRAWBOT_SurfaceSuite, kDRAWBOT_SurfaceSuiteVersion);
    release(kDRAWBOT_PathSuite, kDRAWBOT_PathSuiteVersion);
    return error;
}

}  // namespace quorvel
