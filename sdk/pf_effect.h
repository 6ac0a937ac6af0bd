// SPDX-License-Identifier: MIT
// The entry-point protocol: commands, the in and out records, callbacks, smart render.
#pragma once

#include "sdk/pf_events.h"
#include "sdk/pf_params.h"
#include "sdk/pf_suites.h"

using PF_Cmd = A_long;
enum : PF_Cmd {
    PF_Cmd_ABOUT = 0,
    PF_Cmd_GLOBAL_SETUP = 1,
    PF_Cmd_GLOBAL_SETDOWN = 3,
    PF_Cmd_PARAMS_SETUP = 4,
    PF_Cmd_SEQUENCE_SETUP = 5,
    PF_Cmd_SEQUENCE_RESETUP = 6,
    PF_Cmd_SEQUENCE_FLATTEN = 7,
    PF_Cmd_SEQUENCE_SETDOWN = 8,
    PF_Cmd_DO_DIALOG = 9,
    PF_Cmd_FRAME_SETUP = 10,
    PF_Cmd_RENDER = 11,
    PF_Cmd_FRAME_SETDOWN = 12,
    PF_Cmd_USER_CHANGED_PARAM = 13,
    PF_Cmd_UPDATE_PARAMS_UI = 14,
    PF_Cmd_EVENT = 15,
    PF_Cmd_GET_EXTERNAL_DEPENDENCIES = 16,
    PF_Cmd_COMPLETELY_GENERAL = 17,
    PF_Cmd_QUERY_DYNAMIC_FLAGS = 18,
    PF_Cmd_AUDIO_RENDER = 19,
    PF_Cmd_AUDIO_SETUP = 20,
    PF_Cmd_AUDIO_SETDOWN = 21,
    PF_Cmd_ARBITRARY_CALLBACK = 22,
    PF_Cmd_SMART_PRE_RENDER = 23,
    PF_Cmd_SMART_RENDER = 24,
    PF_Cmd_GET_FLATTENED_SEQUENCE_DATA = 28,
};

using PF_OutFlags = A_long;
enum : PF_OutFlags {
    PF_OutFlag_DISPLAY_ERROR_MESSAGE = 1 << 8,
    PF_OutFlag_CUSTOM_UI = 1 << 15,
    PF_OutFlag_DEEP_COLOR_AWARE = 1 << 25,
    PF_OutFlag_SEND_UPDATE_PARAMS_UI = 1 << 26,
};

using PF_OutFlags2 = A_long;
enum : PF_OutFlags2 {
    PF_OutFlag2_I_AM_THREADSAFE = 1 << 4,
    PF_OutFlag2_SUPPORTS_SMART_RENDER = 1 << 10,
    PF_OutFlag2_FLOAT_COLOR_AWARE = 1 << 12,
    PF_OutFlag2_SUPPORTS_GET_FLATTENED_SEQUENCE_DATA = 1 << 23,
    PF_OutFlag2_SUPPORTS_THREADED_RENDERING = 1 << 27,
};

enum : A_u_long { PF_Stage_DEVELOP = 0, PF_Stage_ALPHA = 1, PF_Stage_BETA = 2, PF_Stage_RELEASE = 3 };

/// The packed version word: build in bits 0-8, stage 9-10, bug-fix 11-14, subversion 15-18, version 19-21.
constexpr A_u_long PF_VERSION(A_u_long version, A_u_long subversion, A_u_long bugfix, A_u_long stage, A_u_long build) {
    return ((version & 7U) << 19) | ((subversion & 15U) << 15) | ((bugfix & 15U) << 11) | ((stage & 3U) << 9) |
           (build & 511U);
}

struct PF_InteractCallbacks {
    PF_Err (*checkout_param)(PF_ProgPtr effect_ref, PF_ParamIndex index, A_long what_time, A_long time_step,
                             A_u_long time_scale, PF_ParamDef* param);
    PF_Err (*checkin_param)(PF_ProgPtr effect_ref, PF_ParamDef* param);
    PF_Err (*add_param)(PF_ProgPtr effect_ref, PF_ParamIndex index, PF_ParamDef* def);
    PF_Err (*abort)(PF_ProgPtr effect_ref);
    PF_Err (*progress)(PF_ProgPtr effect_ref, A_long current, A_long total);
    PF_Err (*register_ui)(PF_ProgPtr effect_ref, PF_CustomUIInfo* info);
    PF_OpaqueSlot checkout_layer_audio;
    PF_OpaqueSlot checkin_layer_audio;
    PF_OpaqueSlot get_audio_data;
    void* reserved_str[3];
    void* reserved[10];
};
static_assert(sizeof(PF_InteractCallbacks) == 176 && offsetof(PF_InteractCallbacks, reserved_str) == 72);

struct PF_ANSICallbacks {
    PF_OpaqueSlot atan;
    PF_OpaqueSlot atan2;
    PF_OpaqueSlot ceil;
    PF_OpaqueSlot cos;
    PF_OpaqueSlot exp;
    PF_OpaqueSlot fabs;
    PF_OpaqueSlot floor;
    PF_OpaqueSlot fmod;
    PF_OpaqueSlot hypot;
    PF_OpaqueSlot log;
    PF_OpaqueSlot log10;
    PF_OpaqueSlot pow;
    PF_OpaqueSlot sin;
    PF_OpaqueSlot sqrt;
    PF_OpaqueSlot tan;
    int (*sprintf)(A_char* out, const A_char* format, ...);
    A_char* (*strcpy)(A_char* out, const A_char* in);
    PF_OpaqueSlot asin;
    PF_OpaqueSlot acos;
    A_long ansi_procs;
};
static_assert(sizeof(PF_ANSICallbacks) == 160 && offsetof(PF_ANSICallbacks, sprintf) == 120 &&
              offsetof(PF_ANSICallbacks, strcpy) == 128);

struct PF_UtilCallbacks {
    PF_OpaqueSlot begin_sampling;
    PF_OpaqueSlot subpixel_sample;
    PF_OpaqueSlot area_sample;
    void* get_batch_func_is_deprecated;
    PF_OpaqueSlot end_sampling;
    PF_OpaqueSlot composite_rect;
    PF_OpaqueSlot blend;
    PF_OpaqueSlot convolve;
    PF_OpaqueSlot copy;
    PF_OpaqueSlot fill;
    PF_OpaqueSlot gaussian_kernel;
    PF_OpaqueSlot iterate;
    PF_OpaqueSlot premultiply;
    PF_OpaqueSlot premultiply_color;
    PF_OpaqueSlot new_world;
    PF_OpaqueSlot dispose_world;
    PF_OpaqueSlot iterate_origin;
    PF_OpaqueSlot iterate_lut;
    PF_OpaqueSlot transfer_rect;
    PF_OpaqueSlot transform_world;
    PF_Handle (*host_new_handle)(A_HandleSize size);
    void* (*host_lock_handle)(PF_Handle handle);
    void (*host_unlock_handle)(PF_Handle handle);
    void (*host_dispose_handle)(PF_Handle handle);
    PF_OpaqueSlot get_callback_addr;
    PF_OpaqueSlot app;
    PF_ANSICallbacks ansi;
    PF_OpaqueSlot colorCB[8];
    PF_OpaqueSlot get_platform_data;
    A_HandleSize (*host_get_handle_size)(PF_Handle handle);
    PF_OpaqueSlot iterate_origin_non_clip_src;
    PF_OpaqueSlot iterate_generic;
    PF_Err (*host_resize_handle)(A_HandleSize new_size, PF_Handle* handle);
    PF_OpaqueSlot subpixel_sample16;
    PF_OpaqueSlot area_sample16;
    PF_OpaqueSlot fill16;
    PF_OpaqueSlot premultiply_color16;
    PF_OpaqueSlot iterate16;
    PF_OpaqueSlot iterate_origin16;
    PF_OpaqueSlot iterate_origin_non_clip_src16;
    PF_OpaqueSlot get_pixel_data8;
    PF_OpaqueSlot get_pixel_data16;
    A_long reserved;
};
static_assert(sizeof(PF_UtilCallbacks) == 552 && offsetof(PF_UtilCallbacks, host_new_handle) == 160 &&
              offsetof(PF_UtilCallbacks, host_lock_handle) == 168 &&
              offsetof(PF_UtilCallbacks, host_unlock_handle) == 176 &&
              offsetof(PF_UtilCallbacks, host_dispose_handle) == 184 && offsetof(PF_UtilCallbacks, ansi) == 208 &&
              offsetof(PF_UtilCallbacks, ansi.sprintf) == 328 && offsetof(PF_UtilCallbacks, ansi.strcpy) == 336 &&
              offsetof(PF_UtilCallbacks, colorCB) == 368 && offsetof(PF_UtilCallbacks, host_get_handle_size) == 440 &&
              offsetof(PF_UtilCallbacks, host_resize_handle) == 464 && offsetof(PF_UtilCallbacks, reserved) == 544);

/// What the host tells the effect with each command; borrowed for that command.
struct PF_InData {
    PF_InteractCallbacks inter;
    PF_UtilCallbacks* utils;
    PF_ProgPtr effect_ref;
    PF_Quality quality;
    PF_SpecVersion version;
    A_long serial_num;
    A_long appl_id;
    A_long num_params;
    A_long reserved;
    A_long what_cpu;
    A_long what_fpu;
    A_long current_time;
    A_long time_step;
    A_long total_time;
    A_long local_time_step;
    A_u_long time_scale;
    PF_Field field;
    PF_Fixed shutter_angle;
    A_long width;
    A_long height;
    PF_Rect extent_hint;
    A_long output_origin_x;
    A_long output_origin_y;
    PF_RationalScale downsample_x;
    PF_RationalScale downsample_y;
    PF_RationalScale pixel_aspect_ratio;
    PF_InFlags in_flags;
    PF_Handle global_data;
    PF_Handle sequence_data;
    PF_Handle frame_data;
    A_long start_sampL;
    A_long dur_sampL;
    A_long total_sampL;
    PF_SoundWorld src_snd;
    SPBasicSuite* pica_basicP;
    A_long pre_effect_source_origin_x;
    A_long pre_effect_source_origin_y;
    PF_Fixed shutter_phase;
};
static_assert(sizeof(PF_InData) == 408 && offsetof(PF_InData, utils) == 176 && offsetof(PF_InData, effect_ref) == 184 &&
              offsetof(PF_InData, quality) == 192 && offsetof(PF_InData, version) == 196 &&
              offsetof(PF_InData, serial_num) == 200 && offsetof(PF_InData, appl_id) == 204 &&
              offsetof(PF_InData, num_params) == 208 && offsetof(PF_InData, what_cpu) == 216 &&
              offsetof(PF_InData, current_time) == 224 && offsetof(PF_InData, time_step) == 228 &&
              offsetof(PF_InData, local_time_step) == 236 && offsetof(PF_InData, time_scale) == 240 &&
              offsetof(PF_InData, field) == 244 && offsetof(PF_InData, shutter_angle) == 248 &&
              offsetof(PF_InData, width) == 252 && offsetof(PF_InData, height) == 256 &&
              offsetof(PF_InData, extent_hint) == 260 && offsetof(PF_InData, output_origin_x) == 276 &&
              offsetof(PF_InData, downsample_x) == 284 && offsetof(PF_InData, downsample_y) == 292 &&
              offsetof(PF_InData, pixel_aspect_ratio) == 300 && offsetof(PF_InData, in_flags) == 308 &&
              offsetof(PF_InData, global_data) == 312 && offsetof(PF_InData, sequence_data) == 320 &&
              offsetof(PF_InData, frame_data) == 328 && offsetof(PF_InData, start_sampL) == 336 &&
              offsetof(PF_InData, src_snd) == 352 && offsetof(PF_InData, pica_basicP) == 384 &&
              offsetof(PF_InData, pre_effect_source_origin_x) == 392 && offsetof(PF_InData, shutter_phase) == 400);

/// What the effect answers with.
struct PF_OutData {
    A_u_long my_version;
    A_char name[32];
    PF_Handle global_data;
    A_long num_params;
    PF_Handle sequence_data;
    A_long flat_sdata_size;
    PF_Handle frame_data;
    A_long width;
    A_long height;
    PF_Point origin;
    PF_OutFlags out_flags;
    A_char return_msg[256];
    A_long start_sampL;
    A_long dur_sampL;
    PF_SoundWorld dest_snd;
    PF_OutFlags2 out_flags2;
};
static_assert(sizeof(PF_OutData) == 408 && offsetof(PF_OutData, name) == 4 && offsetof(PF_OutData, global_data) == 40 &&
              offsetof(PF_OutData, num_params) == 48 && offsetof(PF_OutData, sequence_data) == 56 &&
              offsetof(PF_OutData, flat_sdata_size) == 64 && offsetof(PF_OutData, frame_data) == 72 &&
              offsetof(PF_OutData, width) == 80 && offsetof(PF_OutData, origin) == 88 &&
              offsetof(PF_OutData, out_flags) == 96 && offsetof(PF_OutData, return_msg) == 100 &&
              offsetof(PF_OutData, start_sampL) == 356 && offsetof(PF_OutData, dest_snd) == 368 &&
              offsetof(PF_OutData, out_flags2) == 400);

/// The type of the exported "EffectMain".
using PF_EffectMainFunction = PF_Err (*)(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                                         PF_LayerDef* output, void* extra);

using PF_PluginDataPtr = void*;
/// Through which the module tells the host its identity.
using PF_PluginDataCB = A_Err (*)(PF_PluginDataPtr host, const A_u_char* name, const A_u_char* match_name,
                                  const A_u_char* category, const A_u_char* entry_point, A_long kind, A_long api_major,
                                  A_long api_minor, A_long reserved_info);
/// The type of the exported "PluginDataEntryFunction".
using PF_PluginDataEntryFunction = PF_Err (*)(PF_PluginDataPtr host, PF_PluginDataCB callback, SPBasicSuite* basic,
                                              const char* host_name, const char* host_version);

struct PF_UserChangedParamExtra {
    PF_ParamIndex param_index;
};
static_assert(sizeof(PF_UserChangedParamExtra) == 4);

using PF_ChannelMask = A_long;
enum : PF_ChannelMask {
    PF_ChannelMask_ALPHA = 1,
    PF_ChannelMask_RED = 2,
    PF_ChannelMask_GREEN = 4,
    PF_ChannelMask_BLUE = 8,
    PF_ChannelMask_ARGB = 15,
};

struct PF_RenderRequest {
    PF_LRect rect;
    PF_Field field;
    PF_ChannelMask channel_mask;
    PF_Boolean preserve_rgb_of_zero_alpha;
    A_char unused[3];
    A_long reserved[4];
};
static_assert(sizeof(PF_RenderRequest) == 44 && offsetof(PF_RenderRequest, channel_mask) == 20 &&
              offsetof(PF_RenderRequest, preserve_rgb_of_zero_alpha) == 24 &&
              offsetof(PF_RenderRequest, reserved) == 28);

struct PF_CheckoutResult {
    PF_LRect result_rect;
    PF_LRect max_result_rect;
    PF_RationalScale par;
    PF_Boolean solid;
    PF_Boolean reservedB[3];
    A_long ref_width;
    A_long ref_height;
    A_long reserved[6];
};
static_assert(sizeof(PF_CheckoutResult) == 76 && offsetof(PF_CheckoutResult, par) == 32 &&
              offsetof(PF_CheckoutResult, solid) == 40 && offsetof(PF_CheckoutResult, ref_width) == 44);

using PF_GPU_Framework = A_long;

struct PF_PreRenderInput {
    PF_RenderRequest output_request;
    A_short bitdepth;
    const void* gpu_data;
    PF_GPU_Framework what_gpu;
    A_u_long device_index;
};
static_assert(sizeof(PF_PreRenderInput) == 64 && offsetof(PF_PreRenderInput, bitdepth) == 44 &&
              offsetof(PF_PreRenderInput, gpu_data) == 48 && offsetof(PF_PreRenderInput, what_gpu) == 56);

using PF_RenderOutputFlags = A_short;

struct PF_PreRenderOutput {
    PF_LRect result_rect;
    PF_LRect max_result_rect;
    PF_Boolean solid;
    PF_Boolean reserved;
    PF_RenderOutputFlags flags;
    void* pre_render_data;
    void (*delete_pre_render_data_func)(void* data);
};
static_assert(sizeof(PF_PreRenderOutput) == 56 && offsetof(PF_PreRenderOutput, solid) == 32 &&
              offsetof(PF_PreRenderOutput, flags) == 34 && offsetof(PF_PreRenderOutput, pre_render_data) == 40);

struct PF_PreRenderCallbacks {
    PF_Err (*checkout_layer)(PF_ProgPtr effect_ref, PF_ParamIndex index, A_long checkout_id,
                             const PF_RenderRequest* request, A_long what_time, A_long time_step, A_u_long time_scale,
                             PF_CheckoutResult* result);
    PF_Err (*GuidMixInPtr)(PF_ProgPtr effect_ref, A_u_long size, const void* data);
};
static_assert(sizeof(PF_PreRenderCallbacks) == 16);

struct PF_PreRenderExtra {
    PF_PreRenderInput* input;
    PF_PreRenderOutput* output;
    PF_PreRenderCallbacks* cb;
};
static_assert(sizeof(PF_PreRenderExtra) == 24);

struct PF_SmartRenderInput {
    PF_RenderRequest output_request;
    A_short bitdepth;
    void* pre_render_data;
    const void* gpu_data;
    PF_GPU_Framework what_gpu;
    A_u_long device_index;
};
static_assert(sizeof(PF_SmartRenderInput) == 72 && offsetof(PF_SmartRenderInput, pre_render_data) == 48 &&
              offsetof(PF_SmartRenderInput, what_gpu) == 64);

struct PF_SmartRenderCallbacks {
    PF_Err (*checkout_layer_pixels)(PF_ProgPtr effect_ref, A_long checkout_id, PF_EffectWorld** world);
    PF_Err (*checkin_layer_pixels)(PF_ProgPtr effect_ref, A_long checkout_id);
    PF_Err (*checkout_output)(PF_ProgPtr effect_ref, PF_EffectWorld** world);
};
static_assert(sizeof(PF_SmartRenderCallbacks) == 24);

struct PF_SmartRenderExtra {
    PF_SmartRenderInput* input;
    PF_SmartRenderCallbacks* cb;
};
static_assert(sizeof(PF_SmartRenderExtra) == 16);
