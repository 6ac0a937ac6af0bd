// SPDX-License-Identifier: MIT
// Which host, and which version of it, is calling.
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// Premiere Pro; any other host is treated as After Effects.
inline bool isPremierePro(const PF_InData* in_data) {
    return in_data->appl_id == kAppID_Premiere;
}

/// True from effect API version 13.9 on, where After Effects can show this effect's custom controls.
inline bool hasCustomUI(const PF_InData* in_data) {
    return in_data->version.major > 13 || (in_data->version.major == 13 && in_data->version.minor > 8);
}

/// Version 13.23 draws nothing into a parameter's title row, so the header banner becomes a control there.
inline bool isVersion13_23(const PF_InData* in_data) {
    return in_data->version.major == 13 && in_data->version.minor == 23;
}

}  // namespace quorvel
