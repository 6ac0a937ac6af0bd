// SPDX-License-Identifier: MIT
// The resource description (PiPL), which hosts read before they load a module: where it is stored, and the keys of its
// properties. The raw resource is a header and a list of properties:
//   Windows only: u16 kPiPL_WindowsPrefix
//   u32 kPiPL_ListVersion, u32 number of properties
//   each property: kPiPL_Signature, key, u32 id 0, u32 padded length, the data padded to 4 bytes
// It is little-endian for Windows and big-endian for macOS. Signature and keys are four-character codes, integers with
// the first letter in the highest byte.
#pragma once

#include "sdk/pf_base.h"

/// Resource type and id. Windows spells the type in upper case.
inline constexpr char kPiPL_MacResourceType[] = "PiPL";
inline constexpr char kPiPL_WindowsResourceType[] = "PIPL";
inline constexpr int kPiPL_ResourceId = 16000;

inline constexpr A_u_short kPiPL_WindowsPrefix = 1;
inline constexpr A_u_long kPiPL_ListVersion = 0;
inline constexpr char kPiPL_Signature[] = "8BIM";

/// Four-character code.
inline constexpr char kPiPL_Kind[] = "kind";
/// Strings with their length in the first byte.
inline constexpr char kPiPL_Name[] = "name";
inline constexpr char kPiPL_Category[] = "catg";
inline constexpr char kPiPL_MatchName[] = "eMNA";
/// Names of the entry point for each platform, zero-terminated.
inline constexpr char kPiPL_EntryWindows[] = "8664";
inline constexpr char kPiPL_EntryMacIntel[] = "mi64";
inline constexpr char kPiPL_EntryMacArm[] = "ma64";
/// Versions as two 16-bit integers, major and minor: of the list itself, and of the effect API.
inline constexpr char kPiPL_PiplVersion[] = "ePVR";
inline constexpr char kPiPL_ApiVersion[] = "eSVR";
/// The packed version word, see PF_VERSION.
inline constexpr char kPiPL_EffectVersion[] = "eVER";
/// A 16-bit integer that hosts ignore.
inline constexpr char kPiPL_InfoFlags[] = "eINF";
/// PF_OutFlags, PF_OutFlags2, and the identification record's reserved word.
inline constexpr char kPiPL_OutFlags[] = "eGLO";
inline constexpr char kPiPL_OutFlags2[] = "eGL2";
inline constexpr char kPiPL_ReservedInfo[] = "aeFL";
