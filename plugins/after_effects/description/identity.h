// SPDX-License-Identifier: MIT
// Who this effect is. Global set-up, the identification record, the About text and the
// resource description are all made from these constants.
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel::identity {

inline constexpr char kName[] = "Quorvel";
inline constexpr char kMatchName[] = "Quorvel";
inline constexpr char kCategory[] = "Orvane";
inline constexpr char kEntryPoint[] = "EffectMain";
inline constexpr char kDescription[] =
    "Turns the picture into an adaptive mosaic that is finest where the picture is busy.";

inline constexpr A_long kKind = PF_FourCharCode("eFKT");
inline constexpr A_long kApiMajor = 13;
inline constexpr A_long kApiMinor = 27;
inline constexpr A_long kReservedInfo = 8;

/// The version of the effect, the program and the packages. cmake/EffectVersion.cmake reads these three lines.
inline constexpr A_u_long kVersionMajor = 1;
inline constexpr A_u_long kVersionMinor = 3;
inline constexpr A_u_long kVersionBugfix = 0;
inline constexpr A_u_long kBuild = 1;
inline constexpr A_u_long kVersion = PF_VERSION(kVersionMajor, kVersionMinor, kVersionBugfix, PF_Stage_RELEASE, kBuild);
static_assert(kVersion == 0x00098601);

inline constexpr PF_OutFlags kOutFlags =
    PF_OutFlag_CUSTOM_UI | PF_OutFlag_DEEP_COLOR_AWARE | PF_OutFlag_SEND_UPDATE_PARAMS_UI;
inline constexpr PF_OutFlags2 kOutFlags2 =
    PF_OutFlag2_I_AM_THREADSAFE | PF_OutFlag2_SUPPORTS_SMART_RENDER | PF_OutFlag2_FLOAT_COLOR_AWARE |
    PF_OutFlag2_SUPPORTS_GET_FLATTENED_SEQUENCE_DATA | PF_OutFlag2_SUPPORTS_THREADED_RENDERING;
static_assert(kOutFlags == 0x06008000 && kOutFlags2 == 0x08801410);

}  // namespace quorvel::identity
