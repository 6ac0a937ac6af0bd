// SPDX-License-Identifier: MIT
// The scalar types, error codes and small records that every part of the
// host's plug-in interface is made of. 64-bit little-endian targets only.
#pragma once

#include <cstddef>
#include <cstdint>

static_assert(sizeof(void*) == 8, "the plug-in interface is declared for 64-bit targets");

/// Exported with C linkage under its plain name, on every platform.
#if defined(_WIN32)
#define PF_EXPORT extern "C" __declspec(dllexport)
#else
#define PF_EXPORT extern "C" __attribute__((visibility("default")))
#endif

using A_long = std::int32_t;
using A_u_long = std::uint32_t;
using A_short = std::int16_t;
using A_u_short = std::uint16_t;
using A_char = char;
using A_u_char = unsigned char;
using A_FpLong = double;
using A_FpShort = float;
using A_Boolean = std::uint8_t;
using A_HandleSize = std::uint64_t;
using A_intptr_t = std::intptr_t;

using PF_FpLong = A_FpLong;
using PF_FpShort = A_FpShort;
using PF_Boolean = A_Boolean;

/// 16.16 fixed point.
using PF_Fixed = std::int32_t;

/// Points at a master pointer, which points at the block; a null master pointer means no block.
using PF_Handle = void**;

/// Opaque `effect_ref`, passed back to host callbacks unchanged.
using PF_ProgPtr = void*;

using PF_ParamIndex = A_long;
using PF_ParamValue = A_long;

using PF_Err = std::int32_t;
using A_Err = std::int32_t;
using SPErr = std::int32_t;

enum : PF_Err {
    PF_Err_NONE = 0,
    PF_Err_OUT_OF_MEMORY = 4,
    A_Err_MISSING_SUITE = 13,
    PF_Err_INTERNAL_STRUCT_DAMAGED = 512,
    PF_Err_INVALID_INDEX = 513,
    PF_Err_UNRECOGNIZED_PARAM_TYPE = 514,
    PF_Err_INVALID_CALLBACK = 515,
    PF_Err_BAD_CALLBACK_PARAM = 516,
    PF_Interrupt_CANCEL = 517,
    PF_Err_CANNOT_PARSE_KEYFRAME_TEXT = 518,
};

/// A four-character code with its first letter in the highest byte ("PrMr", "eFKT").
constexpr A_long PF_FourCharCode(const char (&code)[5]) {
    return static_cast<A_long>((static_cast<A_u_long>(static_cast<A_u_char>(code[0])) << 24) |
                               (static_cast<A_u_long>(static_cast<A_u_char>(code[1])) << 16) |
                               (static_cast<A_u_long>(static_cast<A_u_char>(code[2])) << 8) |
                               static_cast<A_u_long>(static_cast<A_u_char>(code[3])));
}

/// A pixel-format code: first letter in the lowest byte ("argb", "ae16").
constexpr A_long PF_PixelFormatCode(const char (&code)[5]) {
    return static_cast<A_long>((static_cast<A_u_long>(static_cast<A_u_char>(code[3])) << 24) |
                               (static_cast<A_u_long>(static_cast<A_u_char>(code[2])) << 16) |
                               (static_cast<A_u_long>(static_cast<A_u_char>(code[1])) << 8) |
                               static_cast<A_u_long>(static_cast<A_u_char>(code[0])));
}

/// Values of `PF_InData::appl_id`.
inline constexpr A_long kAppID_AfterEffects = PF_FourCharCode("FXTC");
inline constexpr A_long kAppID_Premiere = PF_FourCharCode("PrMr");
static_assert(kAppID_AfterEffects == 0x46585443 && kAppID_Premiere == 0x50724D72);

struct PF_Point {
    A_long h;
    A_long v;
};
static_assert(sizeof(PF_Point) == 8);

/// Half-open: right and bottom are one past the last column and row.
struct PF_LRect {
    A_long left;
    A_long top;
    A_long right;
    A_long bottom;
};
static_assert(sizeof(PF_LRect) == 16);
using PF_Rect = PF_LRect;
using PF_UnionableRect = PF_LRect;

struct PF_RationalScale {
    A_long num;
    A_u_long den;
};
static_assert(sizeof(PF_RationalScale) == 8);

struct PF_SpecVersion {
    A_short major;
    A_short minor;
};
static_assert(sizeof(PF_SpecVersion) == 4);

struct PF_SoundFormatInfo {
    PF_FpLong rate;
    A_short num_channels;
    A_short format;
    A_short sample_size;
};
static_assert(sizeof(PF_SoundFormatInfo) == 16);

struct PF_SoundWorld {
    PF_SoundFormatInfo fi;
    A_long num_samples;
    void* dataP;
};
static_assert(sizeof(PF_SoundWorld) == 32 && offsetof(PF_SoundWorld, num_samples) == 16 &&
              offsetof(PF_SoundWorld, dataP) == 24);

using PF_Quality = A_long;
enum : PF_Quality { PF_Quality_LO = 0, PF_Quality_HI = 1 };

using PF_Field = A_long;
enum : PF_Field { PF_Field_FRAME = 0, PF_Field_UPPER = 1, PF_Field_LOWER = 2 };

using PF_InFlags = A_long;

/// 32-bit pixel-format code; its four bytes, lowest first, spell a name.
using PF_PixelFormat = A_long;
enum : PF_PixelFormat {
    PF_PixelFormat_ARGB32 = PF_PixelFormatCode("argb"),
    PF_PixelFormat_ARGB64 = PF_PixelFormatCode("ae16"),
    PF_PixelFormat_ARGB128 = PF_PixelFormatCode("ae32"),
    PF_PixelFormat_INVALID = PF_PixelFormatCode("badf"),
};
static_assert(PF_PixelFormat_ARGB32 == 0x62677261 && PF_PixelFormat_ARGB64 == 0x36316561 &&
              PF_PixelFormat_ARGB128 == 0x32336561 && PF_PixelFormat_INVALID == 0x66646162);
