// SPDX-License-Identifier: MIT
// Taking and returning the suites that custom drawing needs. Unlike the suites of other commands these report their
// errors as results, so that a drawing sequence can go on to release what it has.
#pragma once

#include "sdk/drawbot.h"
#include "sdk/pf_effect.h"

namespace quorvel {

struct DrawbotSuites {
    const DRAWBOT_DrawbotSuite* draw;
    const DRAWBOT_SupplierSuite* supplier;
    const DRAWBOT_SurfaceSuite* surface;
    const DRAWBOT_PathSuite* path;
};

/// Success is a suite that is not null, whatever the host's own result. Otherwise the user is shown `error_string`, or
/// "Not able to acquire AEFX Suite." when that is null, and the result is PF_Err_BAD_CALLBACK_PARAM (516).
[[nodiscard]] PF_Err AEFX_AcquireSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, int version,
                                       const char* error_string, const void** suite);

/// Always succeeds where there is a basic suite; otherwise reports as above, with "Not able to release AEFX Suite.".
PF_Err AEFX_ReleaseSuite(PF_InData* in_data, PF_OutData* out_data, const char* name, int version,
                         const char* error_string);

/// Acquires the four Drawbot suites in order and stops at the first that is missing. A null `suites` is reported too
/// (514). Whatever the result, AEFX_ReleaseDrawbotSuites has to follow.
[[nodiscard]] PF_Err AEFX_AcquireDrawbotSuites(PF_InData* in_data, PF_OutData* out_data, DrawbotSuites* suites);
PF_Err AEFX_ReleaseDrawbotSuites(PF_InData* in_data, PF_OutData* out_data);

}  // namespace quorvel
