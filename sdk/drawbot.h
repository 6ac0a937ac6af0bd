// SPDX-License-Identifier: MIT
// Drawbot: the host's drawing interface for custom controls. Every ...Ref is opaque.
#pragma once

#include "sdk/pf_suites.h"

struct DRAWBOT_DrawOpaque;
struct DRAWBOT_SupplierOpaque;
struct DRAWBOT_SurfaceOpaque;
struct DRAWBOT_ImageOpaque;
struct DRAWBOT_ObjectOpaque;
using DRAWBOT_DrawRef = DRAWBOT_DrawOpaque*;
using DRAWBOT_SupplierRef = DRAWBOT_SupplierOpaque*;
using DRAWBOT_SurfaceRef = DRAWBOT_SurfaceOpaque*;
using DRAWBOT_ImageRef = DRAWBOT_ImageOpaque*;
/// Any Drawbot reference may be passed as one of these.
using DRAWBOT_ObjectRef = DRAWBOT_ObjectOpaque*;

struct DRAWBOT_PointF32 {
    float x;
    float y;
};
static_assert(sizeof(DRAWBOT_PointF32) == 8);

using DRAWBOT_PixelLayout = A_long;
enum : DRAWBOT_PixelLayout {
    kDRAWBOT_PixelLayout_24RGB = 0,
    kDRAWBOT_PixelLayout_24BGR = 1,
    kDRAWBOT_PixelLayout_32RGB = 2,
    kDRAWBOT_PixelLayout_32BGR = 3,
    kDRAWBOT_PixelLayout_32ARGB_Straight = 4,
    kDRAWBOT_PixelLayout_32ARGB_Premul = 5,
    kDRAWBOT_PixelLayout_32BGRA_Straight = 6,
    kDRAWBOT_PixelLayout_32BGRA_Premul = 7,
};

inline constexpr char kDRAWBOT_DrawSuite[] = "DRAWBOT Draw Suite";
inline constexpr int kDRAWBOT_DrawSuiteVersion = 1;
struct DRAWBOT_DrawbotSuite {
    SPErr (*GetSupplier)(DRAWBOT_DrawRef draw, DRAWBOT_SupplierRef* supplier);
    SPErr (*GetSurface)(DRAWBOT_DrawRef draw, DRAWBOT_SurfaceRef* surface);
};
static_assert(sizeof(DRAWBOT_DrawbotSuite) == 2 * 8);

inline constexpr char kDRAWBOT_SupplierSuite[] = "DRAWBOT Supplier Suite";
inline constexpr int kDRAWBOT_SupplierSuiteVersion = 1;
struct DRAWBOT_SupplierSuite {
    PF_OpaqueSlot NewPen;
    PF_OpaqueSlot NewBrush;
    PF_OpaqueSlot SupportsText;
    PF_OpaqueSlot GetDefaultFontSize;
    PF_OpaqueSlot NewDefaultFont;
    SPErr (*NewImageFromBuffer)(DRAWBOT_SupplierRef supplier, int width, int height, int row_bytes,
                                DRAWBOT_PixelLayout layout, const void* pixels, DRAWBOT_ImageRef* image);
    PF_OpaqueSlot NewPath;
    PF_OpaqueSlot SupportsPixelLayoutBGRA;
    PF_OpaqueSlot PrefersPixelLayoutBGRA;
    PF_OpaqueSlot SupportsPixelLayoutARGB;
    PF_OpaqueSlot PrefersPixelLayoutARGB;
    SPErr (*RetainObject)(DRAWBOT_ObjectRef object);
    SPErr (*ReleaseObject)(DRAWBOT_ObjectRef object);
};
static_assert(sizeof(DRAWBOT_SupplierSuite) == 13 * 8 && offsetof(DRAWBOT_SupplierSuite, NewImageFromBuffer) == 5 * 8 &&
              offsetof(DRAWBOT_SupplierSuite, ReleaseObject) == 12 * 8);

inline constexpr char kDRAWBOT_SurfaceSuite[] = "DRAWBOT Surface Suite";
inline constexpr int kDRAWBOT_SurfaceSuiteVersion = 2;
struct DRAWBOT_SurfaceSuite {
    PF_OpaqueSlot PushStateStack;
    PF_OpaqueSlot PopStateStack;
    PF_OpaqueSlot PaintRect;
    PF_OpaqueSlot FillPath;
    PF_OpaqueSlot StrokePath;
    PF_OpaqueSlot Clip;
    PF_OpaqueSlot GetClipBounds;
    PF_OpaqueSlot IsWithinClipBounds;
    PF_OpaqueSlot Transform;
    PF_OpaqueSlot DrawString;
    SPErr (*DrawImage)(DRAWBOT_SurfaceRef surface, DRAWBOT_ImageRef image, const DRAWBOT_PointF32* origin, float alpha);
    PF_OpaqueSlot SetInterpolationPolicy;
    PF_OpaqueSlot GetInterpolationPolicy;
    PF_OpaqueSlot SetAntiAliasPolicy;
    PF_OpaqueSlot GetAntiAliasPolicy;
    PF_OpaqueSlot Flush;
    PF_OpaqueSlot GetTransformToScreenScale;
};
static_assert(sizeof(DRAWBOT_SurfaceSuite) == 17 * 8 && offsetof(DRAWBOT_SurfaceSuite, DrawImage) == 10 * 8);

inline constexpr char kDRAWBOT_PathSuite[] = "DRAWBOT Path Suite";
inline constexpr int kDRAWBOT_PathSuiteVersion = 1;
struct DRAWBOT_PathSuite {
    PF_OpaqueSlot MoveTo;
    PF_OpaqueSlot LineTo;
    PF_OpaqueSlot BezierTo;
    PF_OpaqueSlot AddRect;
    PF_OpaqueSlot AddArc;
    PF_OpaqueSlot Close;
};
static_assert(sizeof(DRAWBOT_PathSuite) == 6 * 8);

using PF_WindowType = A_long;
enum : PF_WindowType {
    PF_Window_NONE = -1,
    PF_Window_COMP = 0,
    PF_Window_LAYER = 1,
    PF_Window_EFFECT = 2,
    PF_Window_PREVIEW = 3,
};

struct PF_Context {
    A_u_long magic;
    PF_WindowType w_type;
    A_FpLong reserved_flt;
    A_intptr_t plugin_state[4];
    DRAWBOT_DrawRef reserved_drawref;
    void* reserved_paneP;
    void* reserved_job_managerP;
};
static_assert(sizeof(PF_Context) == 72 && offsetof(PF_Context, reserved_drawref) == 48);
using PF_ContextH = PF_Context**;

/// "PF Effect Custom UI Suite" 1.
struct PF_EffectCustomUISuite {
    PF_Err (*PF_GetDrawingReference)(PF_ContextH context, DRAWBOT_DrawRef* reference);
};
static_assert(sizeof(PF_EffectCustomUISuite) == 8);
