// SPDX-License-Identifier: MIT
// The basic suite and the table of suites that this host has.
#include <array>
#include <cstdlib>

#include "host/session.h"
#include "host/suite_tables.h"

namespace quorvel::host {

namespace {

/// What AcquireSuite answers for a suite that is not there.
constexpr SPErr kSuiteNotFound = PF_PixelFormatCode("!tNS");

enum class Where { Both, PremiereOnly };

struct SuiteEntry {
    std::string_view name;
    int version;
    Where where;
    const void* table;
};

PF_Err updateParamUI(PF_ProgPtr effectRef, PF_ParamIndex index, const PF_ParamDef* def) {
    constexpr std::string_view kName = "PF Param Utils Suite.PF_UpdateParamUI";
    CurrentCall* call = nullptr;
    const std::string flags = def != nullptr ? std::to_string(def->ui_flags) : "unknown";
    if (const PF_Err error = enterEffectCall(effectRef, kName, std::to_string(index) + " ui_flags " + flags, call)) {
        return error;
    }
    if (call->params == nullptr) {
        return breach(*call, kName, "called without a panel", PF_Err_INVALID_CALLBACK);
    }
    if (def == nullptr || index < 1 || index >= static_cast<PF_ParamIndex>(call->host.parameters.size())) {
        return breach(*call, kName, "there is no such parameter, or no definition");
    }
    if (def != call->params[index]) {
        return breach(*call, kName, "given another definition than the panel's own");
    }
    if (call->frame != nullptr && call->frame->shownFlags != nullptr) {
        call->frame->shownFlags->at(static_cast<std::size_t>(index)) = def->ui_flags;
    }
    return PF_Err_NONE;
}

/// The depth of a world of the current frame, told by its pixels.
std::optional<Depth> depthOf(const FrameContext* frame, const PF_EffectWorld* world) {
    if (frame == nullptr || frame->request == nullptr || world == nullptr) {
        return std::nullopt;
    }
    const auto is = [&](const World* candidate) {
        return candidate != nullptr && candidate->def().data == world->data;
    };
    for (const World* candidate : {frame->request->input, static_cast<const World*>(frame->request->output)}) {
        if (is(candidate)) {
            return candidate->depth();
        }
    }
    for (PF_ParamIndex index = 1; index < frame->values->count(); ++index) {
        if (is(frame->values->layer(index))) {
            return frame->values->layer(index)->depth();
        }
    }
    return std::nullopt;
}

PF_Err answerFormat(std::string_view name, const PF_EffectWorld* world, PF_PixelFormat* format,
                    const std::array<PF_PixelFormat, 3>& codes) {
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr) {
        return PF_Err_INVALID_CALLBACK;
    }
    if (const auto refused = enterCall(call->host, name)) {
        return *refused;
    }
    const auto depth = depthOf(call->frame, world);
    if (!depth || format == nullptr) {
        return breach(*call, name, "asked of no world of this frame");
    }
    *format = call->frame->request->pixelFormat.value_or(codes[static_cast<std::size_t>(*depth)]);
    return PF_Err_NONE;
}

PF_Err worldPixelFormat(const PF_EffectWorld* world, PF_PixelFormat* format) {
    return answerFormat("PF World Suite.PF_GetPixelFormat", world, format,
                        {PF_PixelFormat_ARGB32, PF_PixelFormat_ARGB64, PF_PixelFormat_ARGB128});
}

PF_Err premierePixelFormat(PF_EffectWorld* world, PrPixelFormat* format) {
    return answerFormat("PF Pixel Format Suite.GetPixelFormat", world, format,
                        {PrPixelFormat_ARGB_4444_8u, PrPixelFormat_ARGB_4444_16u, PrPixelFormat_ARGB_4444_32f});
}

std::string formatName(PrPixelFormat format) {
    std::string name;
    for (int shift = 0; shift < 32; shift += 8) {
        name += static_cast<char>((static_cast<A_u_long>(format) >> shift) & 0xFFU);
    }
    return name;
}

PF_Err addSupportedPixelFormat(PF_ProgPtr effectRef, PrPixelFormat format) {
    constexpr std::string_view kName = "PF Pixel Format Suite.AddSupportedPixelFormat";
    CurrentCall* call = nullptr;
    if (const PF_Err error = enterEffectCall(effectRef, kName, formatName(format), call)) {
        return error;
    }
    if (call->command != PF_Cmd_GLOBAL_SETUP) {
        return breach(*call, kName, "called outside global set-up", PF_Err_INVALID_CALLBACK);
    }
    call->host.formats.push_back(format);
    return PF_Err_NONE;
}

PF_Err clearSupportedPixelFormats(PF_ProgPtr effectRef) {
    constexpr std::string_view kName = "PF Pixel Format Suite.ClearSupportedPixelFormats";
    CurrentCall* call = nullptr;
    if (const PF_Err error = enterEffectCall(effectRef, kName, {}, call)) {
        return error;
    }
    if (call->command != PF_Cmd_GLOBAL_SETUP) {
        return breach(*call, kName, "called outside global set-up", PF_Err_INVALID_CALLBACK);
    }
    call->host.formats.clear();
    return PF_Err_NONE;
}

/// Nothing to change: this host's worlds of one frame are of one depth.
PF_Err matchRenderFormat(PF_ProgPtr effectRef) {
    CurrentCall* call = nullptr;
    return enterEffectCall(effectRef, "PF Utility Suite.EffectWantsCheckedOutFramesToMatchRenderPixelFormat", {}, call);
}

template <typename Suite>
Suite tableOfUnusedSlots() {
    return filledWith<Suite>(unusedSlot);
}

const PF_ParamUtilsSuite& paramUtilsSuite() {
    static const PF_ParamUtilsSuite suite = [] {
        auto table = tableOfUnusedSlots<PF_ParamUtilsSuite>();
        table.PF_UpdateParamUI = updateParamUI;
        return table;
    }();
    return suite;
}

const PF_WorldSuite& worldSuite() {
    static const PF_WorldSuite suite = [] {
        auto table = tableOfUnusedSlots<PF_WorldSuite>();
        table.PF_GetPixelFormat = worldPixelFormat;
        return table;
    }();
    return suite;
}

const PF_PixelFormatSuite& pixelFormatSuite() {
    static const PF_PixelFormatSuite suite = [] {
        auto table = tableOfUnusedSlots<PF_PixelFormatSuite>();
        table.AddSupportedPixelFormat = addSupportedPixelFormat;
        table.ClearSupportedPixelFormats = clearSupportedPixelFormats;
        table.GetPixelFormat = premierePixelFormat;
        return table;
    }();
    return suite;
}

const PF_UtilitySuite& utilitySuite() {
    static const PF_UtilitySuite suite = [] {
        auto table = tableOfUnusedSlots<PF_UtilitySuite>();
        table.EffectWantsCheckedOutFramesToMatchRenderPixelFormat = matchRenderFormat;
        return table;
    }();
    return suite;
}

std::string suiteName(const char* name, int version) {
    return std::string(name != nullptr ? name : "") + " " + std::to_string(version);
}

SPErr acquireSuite(const char* name, int version, const void** suite) {
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr || name == nullptr || suite == nullptr) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    *suite = nullptr;
    const std::string fullName = suiteName(name, version);
    if (const auto refused = enterCall(call->host, "AcquireSuite", fullName)) {
        return *refused;
    }
    if (const auto hidden = call->host.faults.hidden(name)) {
        return *hidden == Hidden::WithError ? kSuiteNotFound : PF_Err_NONE;
    }
    *suite = findSuite(call->host, name, version);
    if (*suite == nullptr) {
        return kSuiteNotFound;
    }
    call->host.ledger.lend(Loan::Suite, fullName);
    return PF_Err_NONE;
}

SPErr releaseSuite(const char* name, int version) {
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr || name == nullptr) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const std::string fullName = suiteName(name, version);
    const auto refused = enterCall(call->host, "ReleaseSuite", fullName);
    call->host.ledger.takeBack(Loan::Suite, fullName);
    return refused.value_or(PF_Err_NONE);
}

int isEqual(const char* a, const char* b) {
    return a != nullptr && b != nullptr && std::string_view(a) == b ? 1 : 0;
}

SPErr allocateBlock(std::size_t size, void** block) {
    *block = std::malloc(size);
    return *block != nullptr ? PF_Err_NONE : PF_Err_OUT_OF_MEMORY;
}

SPErr freeBlock(void* block) {
    std::free(block);
    return PF_Err_NONE;
}

SPErr reallocateBlock(void* block, std::size_t size, void** newBlock) {
    *newBlock = std::realloc(block, size);
    return *newBlock != nullptr ? PF_Err_NONE : PF_Err_OUT_OF_MEMORY;
}

SPErr undefined() {
    return PF_Err_INVALID_CALLBACK;
}

}  // namespace

void unusedSlot() {
    if (const CurrentCall* call = CurrentCall::get()) {
        call->host.ledger.breach("called a function that this host does not offer");
    }
}

const void* findSuite(const Host::State& host, std::string_view name, int version) {
    static const SuiteEntry suites[] = {
        {kPFHandleSuite, kPFHandleSuiteVersion, Where::Both, &handleSuite()},
        {kPFParamUtilsSuite, kPFParamUtilsSuiteVersion, Where::Both, &paramUtilsSuite()},
        {kPFWorldSuite, kPFWorldSuiteVersion, Where::Both, &worldSuite()},
        {kPFPixelFormatSuite, kPFPixelFormatSuiteVersion, Where::PremiereOnly, &pixelFormatSuite()},
        {kPFUtilitySuite, kPFUtilitySuiteVersion, Where::PremiereOnly, &utilitySuite()},
        {kPFEffectCustomUISuite, kPFEffectCustomUISuiteVersion, Where::Both, &customUISuite()},
        {kDRAWBOT_DrawSuite, kDRAWBOT_DrawSuiteVersion, Where::Both, &drawSuite()},
        {kDRAWBOT_SupplierSuite, kDRAWBOT_SupplierSuiteVersion, Where::Both, &supplierSuite()},
        {kDRAWBOT_SurfaceSuite, kDRAWBOT_SurfaceSuiteVersion, Where::Both, &surfaceSuite()},
        {kDRAWBOT_PathSuite, kDRAWBOT_PathSuiteVersion, Where::Both, &pathSuite()},
    };
    for (const SuiteEntry& entry : suites) {
        if (entry.name == name && entry.version == version &&
            (entry.where == Where::Both || host.profile.application == Application::PremierePro)) {
            return entry.table;
        }
    }
    return nullptr;
}

void installBasicSuite(SPBasicSuite& basic) {
    basic = {acquireSuite, releaseSuite, isEqual, allocateBlock, freeBlock, reallocateBlock, undefined};
}

}  // namespace quorvel::host
