// SPDX-License-Identifier: MIT
#include "host/suites.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "host/basic_suite.h"
#include "host/call.h"
#include "host/drawbot.h"
#include "host/unused_slot.h"
#include "host/util_callbacks.h"
#include "sdk/premiere.h"

namespace quorvel::host {

namespace {

/// AcquireSuite's error for a suite that this host does not have.
constexpr SPErr kSuiteNotFound = PF_PixelFormatCode("!tNS");

PF_Err updateParamUI(PF_ProgPtr effectRef, PF_ParamIndex index, const PF_ParamDef* def) {
    constexpr std::string_view kName = "PF Param Utils Suite.PF_UpdateParamUI";
    const std::string flags = def != nullptr ? std::to_string(def->ui_flags) : "unknown";
    const EnteredCall entered = enterEffectCall(effectRef, kName, std::to_string(index) + " ui_flags " + flags);
    if (!entered) {
        return entered.error;
    }
    const CurrentCall& call = *entered.call;
    if (call.params == nullptr) {
        return breach(call, kName, "not allowed in this command", PF_Err_INVALID_CALLBACK);
    }
    if (def == nullptr) {
        return breach(call, kName, "null definition");
    }
    if (index < 1 || index >= static_cast<PF_ParamIndex>(call.host.parameters.size())) {
        return breach(call, kName, "no parameter has the index " + std::to_string(index));
    }
    if (def != call.params[index]) {
        return breach(call, kName, "the definition is not the panel's own");
    }
    if (call.frame != nullptr && call.frame->shownFlags != nullptr) {
        call.frame->shownFlags->at(static_cast<std::size_t>(index)) = def->ui_flags;
    }
    return PF_Err_NONE;
}

/// The depth of a world that belongs to the current frame, recognised by its pixels' address; empty for other worlds.
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

/// `codes` are the formats of 8, 16 and 32 bits per channel.
PF_Err answerFormat(std::string_view name, const PF_EffectWorld* world, PF_PixelFormat* format,
                    const std::array<PF_PixelFormat, 3>& codes) {
    const EnteredCall entered = enterCall(name);
    if (!entered) {
        return entered.error;
    }
    const CurrentCall& call = *entered.call;
    const auto depth = depthOf(call.frame, world);
    if (!depth || format == nullptr) {
        return breach(call, name, format == nullptr ? "null output pointer" : "world does not belong to this frame");
    }
    *format = call.frame->request->pixelFormat.value_or(codes[static_cast<std::size_t>(*depth)]);
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
    const EnteredCall entered = enterEffectCall(effectRef, kName, formatName(format));
    if (!entered) {
        return entered.error;
    }
    if (entered.call->command != PF_Cmd_GLOBAL_SETUP) {
        return breach(*entered.call, kName, "called outside global set-up", PF_Err_INVALID_CALLBACK);
    }
    entered.call->host.formats.push_back(format);
    return PF_Err_NONE;
}

PF_Err clearSupportedPixelFormats(PF_ProgPtr effectRef) {
    constexpr std::string_view kName = "PF Pixel Format Suite.ClearSupportedPixelFormats";
    const EnteredCall entered = enterEffectCall(effectRef, kName);
    if (!entered) {
        return entered.error;
    }
    if (entered.call->command != PF_Cmd_GLOBAL_SETUP) {
        return breach(*entered.call, kName, "called outside global set-up", PF_Err_INVALID_CALLBACK);
    }
    entered.call->host.formats.clear();
    return PF_Err_NONE;
}

/// Changes nothing: all worlds of one frame have one depth here.
PF_Err matchRenderFormat(PF_ProgPtr effectRef) {
    return enterEffectCall(effectRef, "PF Utility Suite.EffectWantsCheckedOutFramesToMatchRenderPixelFormat").error;
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
    return std::string(name) + " " + std::to_string(version);
}

enum class Availability { Everywhere, PremiereProOnly };

struct SuiteEntry {
    std::string_view name;
    int version;
    Availability availability;
    const void* table;
};

/// Null when this host does not have the suite in that version.
const void* findSuite(const HostState& host, std::string_view name, int version) {
    using enum Availability;
    static const SuiteEntry suites[] = {
        {kPFHandleSuite, kPFHandleSuiteVersion, Everywhere, &handleSuite()},
        {kPFParamUtilsSuite, kPFParamUtilsSuiteVersion, Everywhere, &paramUtilsSuite()},
        {kPFWorldSuite, kPFWorldSuiteVersion, Everywhere, &worldSuite()},
        {kPFPixelFormatSuite, kPFPixelFormatSuiteVersion, PremiereProOnly, &pixelFormatSuite()},
        {kPFUtilitySuite, kPFUtilitySuiteVersion, PremiereProOnly, &utilitySuite()},
        {kPFEffectCustomUISuite, kPFEffectCustomUISuiteVersion, Everywhere, &customUISuite()},
        {kDRAWBOT_DrawSuite, kDRAWBOT_DrawSuiteVersion, Everywhere, &drawSuite()},
        {kDRAWBOT_SupplierSuite, kDRAWBOT_SupplierSuiteVersion, Everywhere, &supplierSuite()},
        {kDRAWBOT_SurfaceSuite, kDRAWBOT_SurfaceSuiteVersion, Everywhere, &surfaceSuite()},
        {kDRAWBOT_PathSuite, kDRAWBOT_PathSuiteVersion, Everywhere, &pathSuite()},
    };
    for (const SuiteEntry& entry : suites) {
        if (entry.name == name && entry.version == version &&
            (entry.availability == Everywhere || host.profile.application == Application::PremierePro)) {
            return entry.table;
        }
    }
    return nullptr;
}

SPErr acquireSuite(const char* name, int version, const void** suite) {
    if (CurrentCall::get() == nullptr || name == nullptr || suite == nullptr) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    *suite = nullptr;
    const std::string fullName = suiteName(name, version);
    const EnteredCall entered = enterCall("AcquireSuite", fullName);
    if (!entered) {
        return entered.error;
    }
    HostState& host = entered.call->host;
    if (const auto hidden = host.faults.hidden(name)) {
        return *hidden == Hidden::WithError ? kSuiteNotFound : PF_Err_NONE;
    }
    *suite = findSuite(host, name, version);
    if (*suite == nullptr) {
        return kSuiteNotFound;
    }
    host.ledger.lend(Loan::Suite, fullName);
    return PF_Err_NONE;
}

SPErr releaseSuite(const char* name, int version) {
    if (CurrentCall::get() == nullptr || name == nullptr) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const std::string fullName = suiteName(name, version);
    const EnteredCall entered = enterCall("ReleaseSuite", fullName);
    // A refused call releases the suite too: a refusal must not look like a leak by the module.
    entered.call->host.ledger.takeBack(Loan::Suite, fullName);
    return entered.error;
}

}  // namespace

SPBasicSuite basicSuite() {
    SPBasicSuite suite = basicSuiteWithoutSuites();
    suite.AcquireSuite = acquireSuite;
    suite.ReleaseSuite = releaseSuite;
    return suite;
}

}  // namespace quorvel::host
