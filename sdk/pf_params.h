// SPDX-License-Identifier: MIT
// Pixel worlds and parameter definitions.
#pragma once

#include "sdk/pf_base.h"

/// Pixels: alpha, red, green, blue in memory order.
struct PF_Pixel8 {
    A_u_char alpha, red, green, blue;
};
/// 0 to 32768 (white) in each channel.
struct PF_Pixel16 {
    A_u_short alpha, red, green, blue;
};
/// Nominally 0.0 to 1.0 in each channel.
struct PF_PixelFloat {
    PF_FpShort alpha, red, green, blue;
};
static_assert(sizeof(PF_Pixel8) == 4 && sizeof(PF_Pixel16) == 8 && sizeof(PF_PixelFloat) == 16);

using PF_WorldFlags = A_long;
enum : PF_WorldFlags { PF_WorldFlag_DEEP = 1 << 0, PF_WorldFlag_WRITEABLE = 1 << 1 };

/// A picture in memory, owned by the host. `rowbytes` may exceed the width and may be negative.
struct PF_LayerDef {
    void* reserved0;
    void* reserved1;
    PF_WorldFlags world_flags;
    PF_Pixel8* data;
    A_long rowbytes;
    A_long width;
    A_long height;
    PF_UnionableRect extent_hint;
    void* platform_ref;
    A_long reserved_long1;
    void* reserved_long4;
    PF_RationalScale pix_aspect_ratio;
    void* reserved_long2;
    A_long origin_x;
    A_long origin_y;
    A_long reserved_long3;
    A_long dephault;
};
static_assert(sizeof(PF_LayerDef) == 120);
static_assert(offsetof(PF_LayerDef, world_flags) == 16 && offsetof(PF_LayerDef, data) == 24 &&
              offsetof(PF_LayerDef, rowbytes) == 32 && offsetof(PF_LayerDef, width) == 36 &&
              offsetof(PF_LayerDef, height) == 40 && offsetof(PF_LayerDef, extent_hint) == 44 &&
              offsetof(PF_LayerDef, platform_ref) == 64 && offsetof(PF_LayerDef, reserved_long1) == 72 &&
              offsetof(PF_LayerDef, reserved_long4) == 80 && offsetof(PF_LayerDef, pix_aspect_ratio) == 88 &&
              offsetof(PF_LayerDef, reserved_long2) == 96 && offsetof(PF_LayerDef, origin_x) == 104 &&
              offsetof(PF_LayerDef, origin_y) == 108 && offsetof(PF_LayerDef, reserved_long3) == 112 &&
              offsetof(PF_LayerDef, dephault) == 116);
using PF_EffectWorld = PF_LayerDef;

using PF_ParamType = A_long;
enum : PF_ParamType {
    PF_Param_RESERVED = -1,
    PF_Param_LAYER = 0,
    PF_Param_SLIDER = 1,
    PF_Param_FIX_SLIDER = 2,
    PF_Param_ANGLE = 3,
    PF_Param_CHECKBOX = 4,
    PF_Param_COLOR = 5,
    PF_Param_POINT = 6,
    PF_Param_POPUP = 7,
    PF_Param_CUSTOM = 8,
    PF_Param_NO_DATA = 9,
    PF_Param_FLOAT_SLIDER = 10,
    PF_Param_ARBITRARY_DATA = 11,
    PF_Param_PATH = 12,
    PF_Param_GROUP_START = 13,
    PF_Param_GROUP_END = 14,
    PF_Param_BUTTON = 15,
    PF_Param_RESERVED2 = 16,
    PF_Param_RESERVED3 = 17,
    PF_Param_POINT_3D = 18,
};

using PF_ParamFlags = A_long;
enum : PF_ParamFlags {
    PF_ParamFlag_CANNOT_TIME_VARY = 1 << 1,
    PF_ParamFlag_CANNOT_INTERP = 1 << 2,
    PF_ParamFlag_COLLAPSE_TWIRLY = 1 << 5,
    PF_ParamFlag_START_COLLAPSED = 1 << 5,
    PF_ParamFlag_SUPERVISE = 1 << 6,
    PF_ParamFlag_USE_VALUE_FOR_OLD_PROJECTS = 1 << 7,
    PF_ParamFlag_LAYER_PARAM_IS_TRACKMATTE = 1 << 7,
    PF_ParamFlag_EXCLUDE_FROM_HAVE_INPUTS_CHANGED = 1 << 8,
    PF_ParamFlag_SKIP_REVEAL_WHEN_UNHIDDEN = 1 << 9,
};

using PF_ParamUIFlags = A_long;
enum : PF_ParamUIFlags {
    PF_PUI_NONE = 0,
    PF_PUI_TOPIC = 1 << 0,
    PF_PUI_CONTROL = 1 << 1,
    PF_PUI_STD_CONTROL_ONLY = 1 << 2,
    PF_PUI_NO_ECW_UI = 1 << 3,
    PF_PUI_ECW_SEPARATOR = 1 << 4,
    PF_PUI_DISABLED = 1 << 5,
    PF_PUI_DONT_ERASE_TOPIC = 1 << 6,
    PF_PUI_DONT_ERASE_CONTROL = 1 << 7,
    PF_PUI_RADIO_BUTTON = 1 << 8,
    PF_PUI_INVISIBLE = 1 << 9,
};

using PF_ValueDisplayFlags = A_u_short;
enum : PF_ValueDisplayFlags {
    PF_ValueDisplayFlag_NONE = 0,
    PF_ValueDisplayFlag_PERCENT = 1 << 0,
    PF_ValueDisplayFlag_PIXEL = 1 << 1,
    PF_ValueDisplayFlag_REVERSE = 1 << 3,
};

enum : A_long { PF_LayerDefault_MYSELF = -1, PF_LayerDefault_NONE = 0 };

using PF_ChangeFlags = A_long;
enum : PF_ChangeFlags { PF_ChangeFlag_NONE = 0, PF_ChangeFlag_CHANGED_VALUE = 1 << 0 };

using PF_FSliderFlags = A_u_long;

/// Choices are one string, separated by "|"; values count from 1.
struct PF_PopupDef {
    A_long value;
    A_short num_choices;
    A_short dephault;
    union {
        const A_char* namesptr;
    } u;
};
static_assert(sizeof(PF_PopupDef) == 16 && offsetof(PF_PopupDef, num_choices) == 4 &&
              offsetof(PF_PopupDef, dephault) == 6 && offsetof(PF_PopupDef, u) == 8);

/// Degrees in 16.16 fixed point, not reduced to one turn.
struct PF_AngleDef {
    PF_Fixed value;
    PF_Fixed dephault;
    PF_Fixed valid_min;
    PF_Fixed valid_max;
};
static_assert(sizeof(PF_AngleDef) == 16);

struct PF_FixedSliderDef {
    PF_Fixed value;
    A_char value_str[32];
    A_char value_desc[32];
    PF_Fixed valid_min;
    PF_Fixed valid_max;
    PF_Fixed slider_min;
    PF_Fixed slider_max;
    PF_Fixed dephault;
    A_short precision;
    PF_ValueDisplayFlags display_flags;
};
static_assert(sizeof(PF_FixedSliderDef) == 92 && offsetof(PF_FixedSliderDef, value_desc) == 36 &&
              offsetof(PF_FixedSliderDef, valid_min) == 68 && offsetof(PF_FixedSliderDef, slider_min) == 76 &&
              offsetof(PF_FixedSliderDef, dephault) == 84 && offsetof(PF_FixedSliderDef, precision) == 88 &&
              offsetof(PF_FixedSliderDef, display_flags) == 90);

struct PF_FloatSliderDef {
    PF_FpLong value;
    PF_FpLong phase;
    A_char value_desc[32];
    PF_FpShort valid_min;
    PF_FpShort valid_max;
    PF_FpShort slider_min;
    PF_FpShort slider_max;
    PF_FpShort dephault;
    A_short precision;
    PF_ValueDisplayFlags display_flags;
    PF_FSliderFlags fs_flags;
    PF_FpShort curve_tolerance;
    PF_Boolean useExponent;
    PF_FpShort exponent;
};
static_assert(sizeof(PF_FloatSliderDef) == 88 && offsetof(PF_FloatSliderDef, value_desc) == 16 &&
              offsetof(PF_FloatSliderDef, valid_min) == 48 && offsetof(PF_FloatSliderDef, slider_min) == 56 &&
              offsetof(PF_FloatSliderDef, dephault) == 64 && offsetof(PF_FloatSliderDef, precision) == 68 &&
              offsetof(PF_FloatSliderDef, display_flags) == 70 && offsetof(PF_FloatSliderDef, fs_flags) == 72 &&
              offsetof(PF_FloatSliderDef, curve_tolerance) == 76 && offsetof(PF_FloatSliderDef, useExponent) == 80 &&
              offsetof(PF_FloatSliderDef, exponent) == 84);

struct PF_ArbitraryDef {
    A_short id;
    A_short pad;
    PF_Handle dephault;
    PF_Handle value;
    void* refconPV;
};
static_assert(sizeof(PF_ArbitraryDef) == 32 && offsetof(PF_ArbitraryDef, pad) == 2 &&
              offsetof(PF_ArbitraryDef, dephault) == 8 && offsetof(PF_ArbitraryDef, value) == 16 &&
              offsetof(PF_ArbitraryDef, refconPV) == 24);

/// The kinds of parameter value that this project uses; the layer is the largest of all kinds.
union PF_ParamDefUnion {
    PF_LayerDef ld;
    PF_FixedSliderDef fd;
    PF_AngleDef ad;
    PF_PopupDef pd;
    PF_FloatSliderDef fs_d;
    PF_ArbitraryDef arb_d;
};
static_assert(sizeof(PF_ParamDefUnion) == 120 && alignof(PF_ParamDefUnion) == 8);

struct PF_ParamDef {
    union {
        A_long id;
        PF_ChangeFlags change_flags;
    } uu;
    PF_ParamUIFlags ui_flags;
    A_short ui_width;
    A_short ui_height;
    PF_ParamType param_type;
    A_char name[32];
    PF_ParamFlags flags;
    A_long unused;
    PF_ParamDefUnion u;
};
static_assert(sizeof(PF_ParamDef) == 176 && offsetof(PF_ParamDef, ui_flags) == 4 &&
              offsetof(PF_ParamDef, ui_width) == 8 && offsetof(PF_ParamDef, ui_height) == 10 &&
              offsetof(PF_ParamDef, param_type) == 12 && offsetof(PF_ParamDef, name) == 16 &&
              offsetof(PF_ParamDef, flags) == 48 && offsetof(PF_ParamDef, unused) == 52 &&
              offsetof(PF_ParamDef, u) == 56);

/// Where a custom control wants events and how much room it takes.
using PF_CustomEventFlags = A_long;
enum : PF_CustomEventFlags {
    PF_CustomEFlag_NONE = 0,
    PF_CustomEFlag_COMP = 1 << 0,
    PF_CustomEFlag_LAYER = 1 << 1,
    PF_CustomEFlag_EFFECT = 1 << 2,
    PF_CustomEFlag_PREVIEW = 1 << 3,
};

using PF_UIAlignment = A_long;
enum : PF_UIAlignment {
    PF_UIAlignment_NONE = 0,
    PF_UIAlignment_TOP = 1,
    PF_UIAlignment_LEFT = 2,
    PF_UIAlignment_BOTTOM = 3,
    PF_UIAlignment_RIGHT = 4,
};

struct PF_CustomUIInfo {
    A_long reserved;
    PF_CustomEventFlags events;
    A_long comp_ui_width;
    A_long comp_ui_height;
    PF_UIAlignment comp_ui_alignment;
    A_long layer_ui_width;
    A_long layer_ui_height;
    PF_UIAlignment layer_ui_alignment;
    A_long preview_ui_width;
    A_long preview_ui_height;
    PF_UIAlignment preview_ui_alignment;
};
static_assert(sizeof(PF_CustomUIInfo) == 44 && offsetof(PF_CustomUIInfo, events) == 4 &&
              offsetof(PF_CustomUIInfo, comp_ui_alignment) == 16 &&
              offsetof(PF_CustomUIInfo, layer_ui_alignment) == 28 &&
              offsetof(PF_CustomUIInfo, preview_ui_alignment) == 40);
