// SPDX-License-Identifier: MIT
// Named, versioned tables of host functions, reached through SPBasicSuite.
// A suite is a table of function pointers; slots that nobody here calls are opaque.
#pragma once

#include "sdk/pf_params.h"

struct SPBasicSuite {
    SPErr (*AcquireSuite)(const char* name, int version, const void** suite);
    SPErr (*ReleaseSuite)(const char* name, int version);
    int (*IsEqual)(const char* token1, const char* token2);
    SPErr (*AllocateBlock)(std::size_t size, void** block);
    SPErr (*FreeBlock)(void* block);
    SPErr (*ReallocateBlock)(void* block, std::size_t new_size, void** new_block);
    SPErr (*Undefined)();
};
static_assert(sizeof(SPBasicSuite) == 56);

/// A suite slot that is never called by this project's module.
using PF_OpaqueSlot = void (*)();

inline constexpr char kPFHandleSuite[] = "PF Handle Suite";
inline constexpr int kPFHandleSuiteVersion = 2;
struct PF_HandleSuite {
    PF_Handle (*host_new_handle)(A_HandleSize size);
    void* (*host_lock_handle)(PF_Handle handle);
    void (*host_unlock_handle)(PF_Handle handle);
    void (*host_dispose_handle)(PF_Handle handle);
    A_HandleSize (*host_get_handle_size)(PF_Handle handle);
    PF_Err (*host_resize_handle)(A_HandleSize new_size, PF_Handle* handle);
};
static_assert(sizeof(PF_HandleSuite) == 6 * 8);

inline constexpr char kPFParamUtilsSuite[] = "PF Param Utils Suite";
inline constexpr int kPFParamUtilsSuiteVersion = 3;
struct PF_ParamUtilsSuite {
    PF_Err (*PF_UpdateParamUI)(PF_ProgPtr effect_ref, PF_ParamIndex index, const PF_ParamDef* def);
    PF_OpaqueSlot PF_GetCurrentState;
    PF_OpaqueSlot PF_AreStatesIdentical;
    PF_OpaqueSlot PF_IsIdenticalCheckout;
    PF_OpaqueSlot PF_FindKeyframeTime;
    PF_OpaqueSlot PF_GetKeyframeCount;
    PF_OpaqueSlot PF_CheckoutKeyframe;
    PF_OpaqueSlot PF_CheckinKeyframe;
    PF_OpaqueSlot PF_KeyIndexToTime;
};
static_assert(sizeof(PF_ParamUtilsSuite) == 9 * 8);

inline constexpr char kPFWorldSuite[] = "PF World Suite";
inline constexpr int kPFWorldSuiteVersion = 2;
struct PF_WorldSuite {
    PF_OpaqueSlot PF_NewWorld;
    PF_OpaqueSlot PF_DisposeWorld;
    PF_Err (*PF_GetPixelFormat)(const PF_EffectWorld* world, PF_PixelFormat* format);
};
static_assert(sizeof(PF_WorldSuite) == 3 * 8 && offsetof(PF_WorldSuite, PF_GetPixelFormat) == 2 * 8);

inline constexpr char kPFEffectCustomUISuite[] = "PF Effect Custom UI Suite";
inline constexpr int kPFEffectCustomUISuiteVersion = 1;
