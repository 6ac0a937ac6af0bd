// SPDX-License-Identifier: MIT
// What Premiere Pro adds to the interface: its pixel formats and two suites.
#pragma once

#include "sdk/pf_suites.h"

using PrPixelFormat = A_long;
enum : PrPixelFormat {
    PrPixelFormat_ARGB_4444_8u = PF_PixelFormatCode("argb"),
    PrPixelFormat_ARGB_4444_16u = PF_PixelFormatCode("Argb"),
    PrPixelFormat_ARGB_4444_32f = PF_PixelFormatCode("ARgb"),
};
static_assert(PrPixelFormat_ARGB_4444_8u == 0x62677261 && PrPixelFormat_ARGB_4444_16u == 0x62677241 &&
              PrPixelFormat_ARGB_4444_32f == 0x62675241);

inline constexpr char kPFPixelFormatSuite[] = "PF Pixel Format Suite";
inline constexpr int kPFPixelFormatSuiteVersion = 1;
struct PF_PixelFormatSuite {
    PF_Err (*AddSupportedPixelFormat)(PF_ProgPtr effect_ref, PrPixelFormat format);
    PF_Err (*ClearSupportedPixelFormats)(PF_ProgPtr effect_ref);
    PF_OpaqueSlot NewWorldOfPixelFormat;
    PF_OpaqueSlot DisposeWorld;
    PF_Err (*GetPixelFormat)(PF_EffectWorld* world, PrPixelFormat* format);
    PF_OpaqueSlot GetBlackForPixelFormat;
    PF_OpaqueSlot GetWhiteForPixelFormat;
    PF_OpaqueSlot ConvertColorToPixelFormattedData;
};
static_assert(sizeof(PF_PixelFormatSuite) == 8 * 8 && offsetof(PF_PixelFormatSuite, GetPixelFormat) == 4 * 8);

inline constexpr char kPFUtilitySuite[] = "PF Utility Suite";
inline constexpr int kPFUtilitySuiteVersion = 4;
struct PF_UtilitySuite {
    PF_OpaqueSlot GetFilterInstanceID;
    PF_OpaqueSlot GetMediaTimecode;
    PF_OpaqueSlot GetClipSpeed;
    PF_OpaqueSlot GetClipDuration;
    PF_OpaqueSlot GetClipStart;
    PF_OpaqueSlot GetUnscaledClipDuration;
    PF_OpaqueSlot GetUnscaledClipStart;
    PF_OpaqueSlot GetTrackItemStart;
    PF_OpaqueSlot GetMediaFieldType;
    PF_OpaqueSlot GetMediaFrameRate;
    PF_OpaqueSlot GetContainingTimelineID;
    PF_OpaqueSlot GetClipName;
    PF_Err (*EffectWantsCheckedOutFramesToMatchRenderPixelFormat)(PF_ProgPtr effect_ref);
};
static_assert(sizeof(PF_UtilitySuite) == 13 * 8);
