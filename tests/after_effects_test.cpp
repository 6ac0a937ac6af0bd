// SPDX-License-Identifier: MIT
// Functions of the After Effects plug-in that are called directly, for what the reference host never makes them do.
#include <gtest/gtest.h>

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "plugins/after_effects/panel/curve_graph.h"
#include "plugins/after_effects/panel/custom_ui_event.h"
#include "plugins/after_effects/panel/drawbot_suites.h"
#include "plugins/after_effects/panel/header_image.h"
#include "plugins/after_effects/parameters/param_index.h"
#include "plugins/after_effects/parameters/param_ui_state.h"
#include "plugins/after_effects/parameters/param_values.h"
#include "tests/support/graph_model.h"

namespace quorvel::test {
namespace {

constexpr PF_Err kRefused = 99;

int print(A_char* out, const A_char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(out, sizeof PF_OutData::return_msg, format, arguments);
    va_end(arguments);
    return length;
}

/// A host with nothing but the suites that a test gives it.
class BareHost : public testing::Test {
protected:
    struct Suite {
        std::string name;
        const void* table;
    };

    BareHost() {
        suites.clear();
        calls.clear();
        utils.ansi.sprintf = print;
        basic.AcquireSuite = [](const char* name, int version, const void** suite) -> SPErr {
            calls.push_back("acquire " + std::string(name) + " " + std::to_string(version));
            for (const Suite& offered : suites) {
                if (offered.name == name) {
                    *suite = offered.table;
                }
            }
            return kRefused;  // a suite that is there counts all the same
        };
        basic.ReleaseSuite = [](const char* name, int version) -> SPErr {
            calls.push_back("release " + std::string(name) + " " + std::to_string(version));
            return kRefused;
        };
        in.utils = &utils;
        in.version = {13, 27};
        in.pica_basicP = &basic;
        static bool declared = false;  // for the life of the process, as ids are
        for (int id = PARAM_CHANNELS; !declared && id <= PARAM_CURVE_PHASE_SPLIT; ++id) {
            addParam(id);
        }
        declared = true;
    }
    std::string takeMessage() {
        EXPECT_EQ(out.out_flags, PF_OutFlag_DISPLAY_ERROR_MESSAGE);
        std::string message = out.return_msg;
        out = {};
        return message;
    }

    static inline std::vector<Suite> suites;
    static inline std::vector<std::string> calls;
    PF_UtilCallbacks utils{};
    SPBasicSuite basic{};
    PF_InData in{};
    PF_OutData out{};
};

TEST_F(BareHost, MissingSuitesAreReportedInTheCallersWords) {
    const int table = 0;
    const void* suite = &table;
    EXPECT_EQ(AEFX_AcquireSuite(&in, &out, "Any Suite", 3, "Nothing to draw with.", &suite), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(takeMessage(), "Nothing to draw with.");
    EXPECT_EQ(suite, nullptr);
    EXPECT_EQ(AEFX_AcquireSuite(&in, &out, "Any Suite", 3, nullptr, &suite), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(takeMessage(), "Not able to acquire AEFX Suite.");

    suites = {{"Any Suite", &table}};
    EXPECT_EQ(AEFX_AcquireSuite(&in, &out, "Any Suite", 3, "not said", &suite), PF_Err_NONE);
    EXPECT_EQ(suite, &table);
    EXPECT_EQ(AEFX_ReleaseSuite(&in, &out, "Any Suite", 3, "not said"), PF_Err_NONE);
    EXPECT_EQ(out.out_flags, 0);
    EXPECT_EQ(calls, (std::vector<std::string>{"acquire Any Suite 3", "acquire Any Suite 3", "acquire Any Suite 3",
                                               "release Any Suite 3"}));

    in.pica_basicP = nullptr;
    EXPECT_EQ(AEFX_AcquireSuite(&in, &out, "Any Suite", 3, "100 % missing", &suite), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(takeMessage(), "100 % missing") << "a text, not a format";
    EXPECT_EQ(AEFX_ReleaseSuite(&in, &out, "Any Suite", 3, "Not released."), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(takeMessage(), "Not released.");
    EXPECT_EQ(AEFX_ReleaseSuite(&in, &out, "Any Suite", 3, nullptr), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(takeMessage(), "Not able to release AEFX Suite.");
}

TEST_F(BareHost, DrawbotSuitesNeedAPlaceToGo) {
    EXPECT_EQ(AEFX_AcquireDrawbotSuites(&in, &out, nullptr), PF_Err_UNRECOGNIZED_PARAM_TYPE);
    EXPECT_EQ(takeMessage(), "NULL suite pointer passed to AEFX_AcquireDrawbotSuites");
    EXPECT_EQ(calls, std::vector<std::string>{});
}

/// The Drawbot suites as far as a picture that is not drawn needs them: images cannot be made.
void offerDrawbot(auto& suites) {
    static constexpr PF_EffectCustomUISuite customUI{[](PF_ContextH, DRAWBOT_DrawRef*) -> PF_Err { return 0; }};
    static DRAWBOT_DrawbotSuite draw{};
    draw.GetSupplier = [](DRAWBOT_DrawRef, DRAWBOT_SupplierRef*) -> SPErr { return 0; };
    draw.GetSurface = [](DRAWBOT_DrawRef, DRAWBOT_SurfaceRef*) -> SPErr { return 0; };
    static constexpr std::array<void*, 32> empty{};
    suites = {{kDRAWBOT_DrawSuite, &draw},
              {kDRAWBOT_SupplierSuite, &empty},
              {kDRAWBOT_SurfaceSuite, &empty},
              {kDRAWBOT_PathSuite, &empty},
              {kPFEffectCustomUISuite, &customUI}};
}

TEST_F(BareHost, ABannerInTheWrongAreaIsHandledAndNotDrawn) {
    offerDrawbot(suites);
    const struct {
        A_short minor;
        PF_EffectArea area;
    } wrong[] = {{27, PF_EA_CONTROL}, {27, PF_EA_NONE}, {23, PF_EA_PARAM_TITLE}, {23, PF_EA_NONE}};
    for (const auto& [minor, area] : wrong) {
        in.version.minor = minor;
        PF_EventExtra extra{};
        extra.effect_win.area = area;
        EXPECT_EQ(drawHeaderImage(&in, &out, &extra, nullptr), PF_Err_NONE) << minor << ' ' << area;
        EXPECT_EQ(extra.evt_out_flags, PF_EO_HANDLED_EVENT) << minor << ' ' << area;
        EXPECT_EQ(std::string(out.return_msg), "");
    }
}

TEST_F(BareHost, DoubleClicksNeedNobodyToTell) {
    PF_EventExtra extra{};
    extra.e_type = PF_Event_DO_CLICK;
    extra.effect_win.index = 5;
    for (const A_u_long when : {5000U, 5001U}) {
        extra.u.do_click.when = when;
        EXPECT_EQ(handleCustomUIEvent(&in, &out, nullptr, nullptr, &extra, 5, nullptr, nullptr, 0, nullptr),
                  PF_Err_NONE);
    }
    // They were a pair: the next click starts another.
    int about = 0;
    extra.u.do_click.when = 5002;
    EXPECT_EQ(handleCustomUIEvent(&in, &out, nullptr, nullptr, &extra, 5, nullptr, &about, 0, nullptr), PF_Err_NONE);
    EXPECT_EQ(about, 0);
}

/// The graph with a slider that raises it and with any function for its splits.
class RaisedGraph : public BareHost {
protected:
    RaisedGraph() {
        for (std::size_t i = 0; i < definitions.size(); ++i) {
            params[i] = &definitions[i];
        }
        control = {0,
                   50,
                   50,
                   CurveGraphDraw,
                   curveSplitsEnabled,
                   PARAM_CURVE,
                   PARAM_CURVE_PHASE,
                   PARAM_MOSAIC_INTENSITY,
                   PARAM_CURVE_SMOOTHNESS,
                   PARAM_CURVE_PHASE_SPLIT};
        settings.phase = 100 * 65536;
        settings.smoothness = 2.5;
        settings.split = 40 * 65536;
        of(PARAM_CURVE_PHASE).ad.value = settings.phase;
        of(PARAM_CURVE_SMOOTHNESS).fs_d.value = settings.smoothness;
        of(PARAM_CURVE_PHASE_SPLIT).ad.value = settings.split;
    }
    PF_ParamDefUnion& of(int id) { return definitions[static_cast<std::size_t>(getParamIndexFromId(id))].u; }

    /// The first pixel that differs from the model's, as text; empty when none does.
    std::string draw(const model::Graph& expected) {
        std::vector<std::uint8_t> pixels(50 * 50 * 4, 1);
        if (!CurveGraphDraw(pixels.data(), &in, params.data(), &control)) {
            return "not drawn";
        }
        for (int i = 0; i < 50 * 50 * 4; ++i) {
            const int x = i / 4 % 50;
            const int y = i / 4 / 50;
            if (pixels[static_cast<std::size_t>(i)] != expected.grey(x, y)) {
                return "x " + std::to_string(x) + ", y " + std::to_string(y) + ", channel " + "BGRA"[i % 4] +
                       ": expected " + std::to_string(expected.grey(x, y)) + ", got " +
                       std::to_string(pixels[static_cast<std::size_t>(i)]);
            }
        }
        return {};
    }

    std::array<PF_ParamDef, 13> definitions{};
    std::array<PF_ParamDef*, 13> params{};
    drawControlData control{};
    model::Settings settings;
};

TEST_F(RaisedGraph, IsLiftedTowardsTheTop) {
    for (settings.curve = 0; settings.curve < 6; ++settings.curve) {
        of(PARAM_CURVE).pd.value = settings.curve + 1;
        for (settings.channels = 0; settings.channels < 6; ++settings.channels) {
            of(PARAM_CHANNELS).pd.value = settings.channels + 1;
            for (const double raise : {0.0, 0.3, 0.5, 1.0}) {
                of(PARAM_MOSAIC_INTENSITY).fs_d.value = raise;
                EXPECT_EQ(draw(model::Graph(settings, static_cast<float>(raise))), "")
                    << "curve " << settings.curve << ", channels " << settings.channels << ", raised by " << raise;
            }
        }
    }
}

TEST_F(RaisedGraph, IsOneCurveWithoutAFunctionForItsSplits) {
    control.raiseId = -1;
    of(PARAM_CURVE).pd.value = 1;
    of(PARAM_CHANNELS).pd.value = 2;
    control.splitsFn = nullptr;
    EXPECT_EQ(draw(model::Graph(settings)), "");
    static PF_ParamDef** given;
    control.splitsFn = [](PF_InData*, PF_ParamDef* all[], int number) {
        given = all;
        return number;  // 4, the bit for blue
    };
    settings.channels = 2;
    EXPECT_EQ(draw(model::Graph(settings)), "");
    EXPECT_EQ(given, params.data());
}

TEST_F(BareHost, AWorldThatComesWithAnErrorIsKept) {
    static PF_EffectWorld world;
    static A_long asked;
    PF_SmartRenderCallbacks callbacks{};
    PF_SmartRenderExtra extra{nullptr, &callbacks};
    ParamValues values{};
    PF_EffectWorld older;
    for (PF_EffectWorld* const left : {&world, static_cast<PF_EffectWorld*>(nullptr)}) {
        values.intensityLayer = &older;
        callbacks.checkout_layer_pixels =
            left != nullptr
                ? [](PF_ProgPtr, A_long id, PF_EffectWorld** place) {
                      asked = id;
                      *place = &world;
                      return kRefused;
                  }
                : [](PF_ProgPtr, A_long, PF_EffectWorld**) { return kRefused; };
        try {
            LoadLayerParamsAE(&in, &extra, &values);
            ADD_FAILURE() << "the error was lost";
        } catch (int error) {
            EXPECT_EQ(error, kRefused);
        }
        EXPECT_EQ(values.intensityLayer, left);
    }
    EXPECT_EQ(asked, getParamIndexFromId(PARAM_INTENSITY_SOURCE));
}

}  // namespace
}  // namespace quorvel::test
