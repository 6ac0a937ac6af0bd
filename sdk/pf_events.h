// SPDX-License-Identifier: MIT
// Events that the host sends to custom controls.
#pragma once

#include "sdk/drawbot.h"

using PF_EventType = A_long;
enum : PF_EventType {
    PF_Event_NONE = -1,
    PF_Event_NEW_CONTEXT = 0,
    PF_Event_ACTIVATE = 1,
    PF_Event_DO_CLICK = 2,
    PF_Event_DRAG = 3,
    PF_Event_DRAW = 4,
    PF_Event_DEACTIVATE = 5,
    PF_Event_CLOSE_CONTEXT = 6,
    PF_Event_IDLE = 7,
    PF_Event_KEYDOWN_OBSOLETE = 8,
    PF_Event_ADJUST_CURSOR = 9,
    PF_Event_KEYDOWN = 10,
    PF_Event_MOUSE_EXITED = 11,
};

using PF_EffectArea = A_long;
enum : PF_EffectArea { PF_EA_NONE = 0, PF_EA_PARAM_TITLE = 1, PF_EA_CONTROL = 2 };

enum : A_long { PF_EI_NONE = 0, PF_EI_DONT_DRAW = 1 << 0 };
enum : A_long {
    PF_EO_NONE = 0,
    PF_EO_HANDLED_EVENT = 1 << 0,
    PF_EO_ALWAYS_UPDATE = 1 << 1,
    PF_EO_NEVER_UPDATE = 1 << 2,
    PF_EO_UPDATE_NOW = 1 << 3,
};

using PF_Modifiers = A_long;

struct PF_DoClickEventInfo {
    A_u_long when;  ///< in ticks of the host's clock
    PF_Point screen_point;
    A_long num_clicks;
    PF_Modifiers modifiers;
    A_intptr_t continue_refcon[4];
    PF_Boolean send_drag;
    PF_Boolean last_time;
};
static_assert(sizeof(PF_DoClickEventInfo) == 64 && offsetof(PF_DoClickEventInfo, screen_point) == 4 &&
              offsetof(PF_DoClickEventInfo, modifiers) == 16 && offsetof(PF_DoClickEventInfo, continue_refcon) == 24 &&
              offsetof(PF_DoClickEventInfo, send_drag) == 56);

struct PF_DrawEventInfo {
    PF_UnionableRect update_rect;
    A_long depth;
};
static_assert(sizeof(PF_DrawEventInfo) == 20);

struct PF_KeyDownEvent {
    A_u_long when;
    PF_Point screen_point;
    A_long keycode;
    PF_Modifiers modifiers;
};
static_assert(sizeof(PF_KeyDownEvent) == 20);

struct PF_AdjustCursorEventInfo {
    PF_Point screen_point;
    PF_Modifiers modifiers;
    A_long set_cursor;
};
static_assert(sizeof(PF_AdjustCursorEventInfo) == 16);

union PF_EventUnion {
    PF_DoClickEventInfo do_click;
    PF_DrawEventInfo draw;
    PF_KeyDownEvent key_down;
    PF_AdjustCursorEventInfo adjust_cursor;
};
static_assert(sizeof(PF_EventUnion) == 64);

struct PF_EffectWindowInfo {
    PF_ParamIndex index;
    PF_EffectArea area;
    PF_UnionableRect current_frame;
    PF_UnionableRect param_title_frame;
    A_long horiz_offset;
};
static_assert(sizeof(PF_EffectWindowInfo) == 44);

/// Coordinate callbacks; nothing here calls them.
struct PF_EventCallbacks {
    void* refcon;
    PF_OpaqueSlot layer_to_comp;
    PF_OpaqueSlot comp_to_layer;
    PF_OpaqueSlot get_comp2layer_xform;
    PF_OpaqueSlot get_layer2comp_xform;
    PF_OpaqueSlot source_to_frame;
    PF_OpaqueSlot frame_to_source;
    PF_OpaqueSlot info_draw_color;
    PF_OpaqueSlot info_draw_text;
};
static_assert(sizeof(PF_EventCallbacks) == 72);

struct PF_EventExtra {
    PF_ContextH contextH;
    PF_EventType e_type;
    PF_EventUnion u;
    PF_EffectWindowInfo effect_win;
    PF_EventCallbacks cbs;
    A_long evt_in_flags;
    A_long evt_out_flags;
};
static_assert(sizeof(PF_EventExtra) == 208 && offsetof(PF_EventExtra, e_type) == 8 &&
              offsetof(PF_EventExtra, u) == 16 && offsetof(PF_EventExtra, effect_win) == 80 &&
              offsetof(PF_EventExtra, effect_win.area) == 84 &&
              offsetof(PF_EventExtra, effect_win.current_frame) == 88 &&
              offsetof(PF_EventExtra, effect_win.param_title_frame) == 104 &&
              offsetof(PF_EventExtra, effect_win.horiz_offset) == 120 && offsetof(PF_EventExtra, cbs) == 128 &&
              offsetof(PF_EventExtra, evt_in_flags) == 200 && offsetof(PF_EventExtra, evt_out_flags) == 204);
