// SPDX-License-Identifier: MIT
// What the host tells a module in each command, what it notices of the module's calls, and what it takes back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/basic_suite.h"
#include "host/command_result.h"
#include "host/instance.h"
#include "host/panel.h"
#include "sdk/drawbot.h"
#include "sdk/premiere.h"
#include "tests/support/hook_host.h"
#include "tests/support/temporary_folder.h"

namespace quorvel::host {
namespace {

/// Runs the hook that each test sets, and forgets it.
class Protocol : public ::testing::Test {
protected:
    void TearDown() override { HookHost::hook = nullptr; }

    /// Declares these parameters after the input layer.
    static void declare(HookHost& host, std::vector<PF_ParamDef> defs) {
        HookHost::hook = [&defs](const Command& command) -> PF_Err {
            if (command.cmd == PF_Cmd_PARAMS_SETUP) {
                for (PF_ParamDef& def : defs) {
                    EXPECT_EQ(command.in->inter.add_param(command.in->effect_ref, -1, &def), 0);
                }
                command.out->num_params = static_cast<A_long>(defs.size() + 1);
            }
            return PF_Err_NONE;
        };
        host.start();
        HookHost::hook = nullptr;
    }
    static PF_ParamDef parameter(PF_ParamType type, A_long id) {
        PF_ParamDef def{};
        def.param_type = type;
        def.uu.id = id;
        return def;
    }
    static std::string messageOf(auto work) {
        try {
            work();
            return {};
        } catch (const HostError& error) {
            return error.what();
        }
    }
};

// ---- Set-up ----

TEST_F(Protocol, EveryCommandSaysWhichHostThisIs) {
    const auto seen = [](Profile profile) {
        HookHost host(profile);
        PF_InData in{};
        (void)host.during(PF_Cmd_ABOUT, [&](const Command& command) {
            in = *command.in;
            return PF_Err_NONE;
        });
        return in;
    };
    const PF_InData adobe = seen({});
    EXPECT_EQ(adobe.appl_id, kAppID_AfterEffects);
    EXPECT_EQ(adobe.version.major, 13);
    EXPECT_EQ(adobe.version.minor, 27);
    EXPECT_EQ(adobe.quality, PF_Quality_HI);
    EXPECT_EQ(adobe.time_scale, 24U);
    EXPECT_EQ(adobe.time_step, 1);
    EXPECT_EQ(adobe.num_params, 1);
    EXPECT_EQ(adobe.downsample_y.den, 1U);
    const PF_InData premiere = seen(Profile::premierePro());
    EXPECT_EQ(premiere.appl_id, kAppID_Premiere);
    EXPECT_EQ(premiere.version.minor, 4);
}

TEST_F(Protocol, SetUpCanBeRepeatedAndItsCountIsChecked) {
    HookHost host;
    A_long reported = 2;
    HookHost::hook = [&](const Command& command) -> PF_Err {
        if (command.cmd == PF_Cmd_GLOBAL_SETUP) {
            command.out->out_flags = PF_OutFlag_CUSTOM_UI | PF_OutFlag_DISPLAY_ERROR_MESSAGE;
        }
        if (command.cmd == PF_Cmd_PARAMS_SETUP) {
            PF_CustomUIInfo info{};
            EXPECT_NE(command.in->inter.register_ui(command.in->effect_ref, &info), 0) << "before any parameter";
            PF_ParamDef def = parameter(PF_Param_CHECKBOX, 1);
            EXPECT_EQ(command.in->inter.add_param(command.in->effect_ref, -1, &def), 0);
            EXPECT_EQ(command.in->inter.register_ui(command.in->effect_ref, &info), 0);
            command.out->num_params = reported;
        }
        return PF_Err_NONE;
    };
    host.start();
    EXPECT_EQ(host.capabilities().outFlags, PF_OutFlag_CUSTOM_UI);
    ASSERT_EQ(host.parameters().size(), 2U);
    EXPECT_FALSE(host.parameters()[0].customUI);
    EXPECT_TRUE(host.parameters()[1].customUI);
    EXPECT_EQ(host.newBreaches(), std::vector<std::string>{"register_ui: called before any parameter was added"});
    EXPECT_TRUE(host.paramsSetup().ok());
    EXPECT_EQ(host.parameters().size(), 2U);
    for (const A_long wrong : {1, 3}) {
        reported = wrong;
        EXPECT_NE(
            messageOf([&] { host.start(); }).find("added 1 parameters, but reported " + std::to_string(wrong - 1)),
            std::string::npos);
    }
}

TEST_F(Protocol, PixelFormatsOfPremiereProAreThoseAddedLast) {
    HookHost host(Profile::premierePro());
    (void)host.during(PF_Cmd_GLOBAL_SETUP, [](const Command& command) {
        const auto* suite = acquired<PF_PixelFormatSuite>(command, kPFPixelFormatSuite, kPFPixelFormatSuiteVersion);
        EXPECT_EQ(suite->AddSupportedPixelFormat(command.in->effect_ref, PrPixelFormat_ARGB_4444_32f), 0);
        EXPECT_EQ(suite->ClearSupportedPixelFormats(command.in->effect_ref), 0);
        EXPECT_EQ(suite->AddSupportedPixelFormat(command.in->effect_ref, PrPixelFormat_ARGB_4444_8u), 0);
        return command.in->pica_basicP->ReleaseSuite(kPFPixelFormatSuite, kPFPixelFormatSuiteVersion);
    });
    EXPECT_EQ(host.registeredFormats(), std::vector<PrPixelFormat>{PrPixelFormat_ARGB_4444_8u});
}

TEST_F(Protocol, ParametersBeginAtTheirDefaults) {
    HookHost host;
    PF_ParamDef angle = parameter(PF_Param_ANGLE, 1);
    angle.u.ad.dephault = 90 << 16;
    PF_ParamDef popup = parameter(PF_Param_POPUP, 2);
    char texts[] = "One|Two|Three";
    popup.u.pd.num_choices = 3;
    popup.u.pd.dephault = 2;
    popup.u.pd.u.namesptr = texts;
    PF_ParamDef slider = parameter(PF_Param_FLOAT_SLIDER, 3);
    slider.u.fs_d.dephault = 0.5F;
    declare(host, {angle, popup, slider});
    const ParameterValues values(host.parameters());
    EXPECT_EQ(values.at(1).u.ad.value, 90 << 16);
    EXPECT_EQ(values.at(2).u.pd.value, 2);
    EXPECT_EQ(values.at(3).u.fs_d.value, 0.5);
    EXPECT_EQ(host.parameters()[2].choices, (std::vector<std::string>{"One", "Two", "Three"}));
}

#if !defined(_WIN32)  // which keeps the file of a library that is loaded
TEST_F(Protocol, CopiesOfTheModuleAreGoneAsSoonAsTheyAreLoaded) {
    const test::TemporaryFolder folder;
    const char* before = std::getenv("TMPDIR");
    const std::optional<std::string> kept = before != nullptr ? std::optional<std::string>(before) : std::nullopt;
    setenv("TMPDIR", folder.path().c_str(), 1);
    {
        const HookHost first;
        const HookHost second;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    kept ? setenv("TMPDIR", kept->c_str(), 1) : unsetenv("TMPDIR");
}
#endif

// ---- Memory and calls ----

TEST_F(Protocol, BlocksKeepTheirContentWhenTheyGrow) {
    const SPBasicSuite basic = basicSuiteWithoutSuites();
    void* block = nullptr;
    ASSERT_EQ(basic.AllocateBlock(8, &block), 0);
    std::memcpy(block, "content", 8);
    void* grown = nullptr;
    ASSERT_EQ(basic.ReallocateBlock(block, 100000, &grown), 0);
    EXPECT_STREQ(static_cast<const char*>(grown), "content");
    EXPECT_EQ(basic.FreeBlock(grown), 0);
    EXPECT_EQ(basic.IsEqual("a", "a"), 1);
    EXPECT_EQ(basic.IsEqual("a", "b"), 0);
    EXPECT_EQ(basic.IsEqual(nullptr, "b"), 0);
}

TEST_F(Protocol, HandlesAreNewAndKnownByTheNameOfTheirTable) {
    HookHost host;
    host.ledger().startRecording();
    host.ledger().note("forgotten as soon as the next recording starts");
    host.ledger().startRecording();
    (void)host.during(PF_Cmd_ABOUT, [](const Command& command) {
        const PF_UtilCallbacks& utils = *command.in->utils;
        const PF_Handle handle = utils.host_new_handle(64);
        const auto* bytes = static_cast<const unsigned char*>(*handle);
        EXPECT_EQ(std::count(bytes, bytes + 64, 0), 0) << "a module that relies on zeros has to fail";
        utils.host_dispose_handle(handle);
        const auto* suite = acquired<PF_HandleSuite>(command, kPFHandleSuite, kPFHandleSuiteVersion);
        suite->host_dispose_handle(suite->host_new_handle(4));
        return command.in->pica_basicP->ReleaseSuite(kPFHandleSuite, kPFHandleSuiteVersion);
    });
    const std::vector<std::string> calls = host.ledger().stopRecording();
    EXPECT_EQ(calls,
              (std::vector<std::string>{"utils.host_new_handle 64", "utils.host_dispose_handle",
                                        "AcquireSuite PF Handle Suite 2", "PF Handle Suite.host_new_handle 4",
                                        "PF Handle Suite.host_dispose_handle", "ReleaseSuite PF Handle Suite 2"}));
    HookHost::hook = [](const Command&) { return PF_Err{PF_Err_NONE}; };
    host.ledger().startRecording();
    EXPECT_TRUE(host.about().ok());
    EXPECT_EQ(host.ledger().stopRecording(), std::vector<std::string>{}) << "every recording begins empty";
}

TEST_F(Protocol, SuitesCanBeHiddenWithAndWithoutAnError) {
    HookHost host;
    const auto answer = [&](Hidden how) {
        host.faults().hideSuite(kPFHandleSuite, how);
        SPErr error = -1;
        (void)host.during(PF_Cmd_ABOUT, [&](const Command& command) {
            const void* suite = &host;
            error = command.in->pica_basicP->AcquireSuite(kPFHandleSuite, kPFHandleSuiteVersion, &suite);
            EXPECT_EQ(suite, nullptr);
            return PF_Err_NONE;
        });
        return error;
    };
    EXPECT_EQ(answer(Hidden::WithNull), 0);
    EXPECT_NE(answer(Hidden::WithError), 0);
    EXPECT_TRUE(host.ledger().open().empty());
    host.faults().answerNull("call");
    EXPECT_TRUE(host.faults().answersNull("call"));
    host.faults().clear();
    EXPECT_FALSE(host.faults().answersNull("call"));
    EXPECT_FALSE(host.faults().hidden(kPFHandleSuite));
}

TEST_F(Protocol, AsManyLoansAreForgivenAsAsked) {
    Ledger ledger;
    for (int i = 0; i < 3; ++i) {
        ledger.lend(Loan::Handle, "4 bytes");
    }
    ledger.forgive(Loan::Handle, "4 bytes", 2);
    EXPECT_EQ(ledger.openCount(Loan::Handle, "4 bytes"), 1);
    ledger.forgive(Loan::Handle, "4 bytes", 2);
    EXPECT_EQ(ledger.forgiven(), (std::vector<OpenLoan>{{Loan::Handle, "4 bytes", 3}}));
}

TEST_F(Protocol, ResultsAreDescribedWithTheirText) {
    CommandResult result;
    result.error = 77;
    EXPECT_EQ(describe(result), "error 77");
    result.message = "why";
    EXPECT_EQ(describe(result), "error 77: why");
    result.exception = "thrown text";
    EXPECT_EQ(describe(result), "exception: thrown text");
}

// ---- Sequences ----

TEST_F(Protocol, SequenceDataMayComeBackInEitherRecord) {
    for (const bool inInput : {false, true}) {
        HookHost host;
        Instance instance(host);
        PF_Handle made = nullptr;
        HookHost::hook = [&](const Command& command) -> PF_Err {
            if (command.cmd == PF_Cmd_SEQUENCE_SETUP) {
                made = command.in->utils->host_new_handle(32);
                (inInput ? command.in->sequence_data : command.out->sequence_data) = made;
            } else if (command.cmd == PF_Cmd_GET_FLATTENED_SEQUENCE_DATA) {
                command.out->sequence_data = command.in->utils->host_new_handle(16);
            } else if (command.cmd == PF_Cmd_SEQUENCE_SETDOWN) {
                EXPECT_EQ(command.in->sequence_data, made);
                command.in->utils->host_dispose_handle(command.in->sequence_data);
                command.out->sequence_data = nullptr;
            }
            return PF_Err_NONE;
        };
        EXPECT_TRUE(instance.sequenceSetup().ok());
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(instance.sequenceData(), made);
        for (int i = 0; i < 2; ++i) {
            EXPECT_TRUE(instance.getFlattenedSequenceData().ok());
            EXPECT_EQ(instance.sequenceData(), made) << "its own data stay";
            EXPECT_NE(instance.storedData(), made);
            EXPECT_EQ(host.ledger().openCount(Loan::Handle, "16 bytes"), 1) << "the last copy alone";
        }
        EXPECT_TRUE(instance.sequenceSetdown().ok());
        EXPECT_EQ(host.newBreaches(), std::vector<std::string>{});
    }
}

// ---- Frames ----

TEST_F(Protocol, AFrameHasItsOwnTimeAndScale) {
    HookHost host;
    declare(host, {parameter(PF_Param_CHECKBOX, 1)});
    Instance instance(host);
    World input(Depth::Bits16, 7, 6);
    World output(Depth::Bits16, 6, 4);
    output.setOrigin(2, -1);
    FrameRequest request;
    request.input = &input;
    request.output = &output;
    request.time = 3;
    request.timeStep = 5;
    request.timeScale = 30;
    request.downsampleX = {1, 2};
    request.downsampleY = {1, 3};
    std::vector<PF_InData> seen;
    PF_PreRenderCallbacks preCallbacks{};
    HookHost::hook = [&](const Command& command) -> PF_Err {
        seen.push_back(*command.in);
        const PF_ProgPtr ref = command.in->effect_ref;
        PF_CheckoutResult result{};
        PF_RenderRequest area{};
        if (command.cmd == PF_Cmd_SMART_PRE_RENDER) {
            const auto& extra = *static_cast<PF_PreRenderExtra*>(command.extra);
            preCallbacks = *extra.cb;
            EXPECT_EQ(extra.input->bitdepth, 16);
            EXPECT_EQ(extra.cb->checkout_layer(ref, 0, 1, &extra.input->output_request, 3, 5, 30, &result), 0);
            const PF_LRect& rect = result.result_rect;
            EXPECT_EQ((std::vector<A_long>{rect.left, rect.top, rect.right, rect.bottom}),
                      (std::vector<A_long>{2, 0, 7, 3}));
            PF_ParamDef def{};
            EXPECT_EQ(command.in->inter.checkout_param(ref, 1, 3, 5, 30, &def), 0);
            host.faults().refuse("checkin_param", 44);
            EXPECT_EQ(command.in->inter.checkin_param(ref, &def), 44);
            EXPECT_EQ(host.ledger().openCount(Loan::Parameter, "1"), 0) << "refused, and yet given back";
            EXPECT_EQ(command.in->inter.checkout_param(ref, 1, 3, 5, 24, &def), 0) << "another scale";
            EXPECT_NE(command.in->inter.checkout_param(ref, 2, 3, 5, 30, &def), 0);
        } else if (command.cmd == PF_Cmd_SMART_RENDER) {
            EXPECT_NE(preCallbacks.checkout_layer(ref, 0, 2, &area, 3, 5, 30, &result), 0) << "too late";
        }
        return PF_Err_NONE;
    };
    EXPECT_TRUE(instance.render(request).ok());
    ASSERT_EQ(seen.size(), 2U);
    for (const PF_InData& in : seen) {
        EXPECT_EQ(in.current_time, 3);
        EXPECT_EQ(in.time_step, 5);
        EXPECT_EQ(in.local_time_step, 5);
        EXPECT_EQ(in.time_scale, 30U);
        EXPECT_EQ(in.downsample_x.den, 2U);
        EXPECT_EQ(in.downsample_y.den, 3U);
        EXPECT_EQ(in.width, 6);
        EXPECT_EQ(in.height, 4);
    }
    EXPECT_EQ(host.newBreaches(),
              (std::vector<std::string>{"checkout_param: the time of parameter 1 differs from the frame's",
                                        "checkout_param: no parameter has the index 2",
                                        "checkout_layer: not allowed in this command"}));
    EXPECT_EQ(host.ledger().openCount(Loan::Parameter, "1"), 0) << "the host took back the one left out";
    const World low(Depth::Bits16, 6, 3);
    request.input = &low;
    EXPECT_EQ(messageOf([&] { (void)instance.render(request); }),
              "the input of 6x3 pixels is smaller than the output of 6x4");
}

TEST_F(Protocol, WorldsSayWhichAreDeep) {
    EXPECT_EQ(World(Depth::Bits8, 2, 2).def().world_flags, 0);
    EXPECT_EQ(World(Depth::Bits16, 2, 2).def().world_flags, PF_WorldFlag_DEEP);
    EXPECT_EQ(World(Depth::Float32, 2, 2).def().world_flags, 0);
}

TEST_F(Protocol, PremiereProsFramesFailWithTheirFirstError) {
    const auto errorOf = [](std::vector<PF_Cmd> failing) {
        HookHost host(Profile::premierePro());
        Instance instance(host);
        const World input(Depth::Bits8, 2, 2);
        World output(Depth::Bits8, 2, 2);
        FrameRequest request;
        request.input = &input;
        request.output = &output;
        std::string commands;
        HookHost::hook = [&](const Command& command) -> PF_Err {
            commands += " " + std::to_string(command.cmd);
            const bool fails = std::find(failing.begin(), failing.end(), command.cmd) != failing.end();
            return fails ? 100 + command.cmd : PF_Err_NONE;
        };
        const A_long error = instance.render(request).error;
        return std::to_string(error) + " after" + commands;
    };
    EXPECT_EQ(errorOf({}), "0 after 10 11 12");
    EXPECT_EQ(errorOf({PF_Cmd_FRAME_SETUP}), "110 after 10");
    EXPECT_EQ(errorOf({PF_Cmd_RENDER}), "111 after 10 11 12");
    EXPECT_EQ(errorOf({PF_Cmd_FRAME_SETDOWN}), "112 after 10 11 12");
    EXPECT_EQ(errorOf({PF_Cmd_RENDER, PF_Cmd_FRAME_SETDOWN}), "111 after 10 11 12");
}

// ---- Panels ----

TEST_F(Protocol, ImagesAreDrawnAsTheirBufferHoldsThem) {
    HookHost host;
    PF_ParamDef greyed = parameter(PF_Param_CHECKBOX, 1);
    greyed.ui_flags = PF_PUI_DISABLED;
    declare(host, {greyed});
    Instance instance(host);
    ParameterValues values(host.parameters());
    Panel panel(instance, values);
    EXPECT_FALSE(panel.enabled(1)) << "as declared, before the first update";
    Surface surface(3, 2, {255, 0, 0, 0});
    HookHost::hook = [&](const Command& command) -> PF_Err {
        const auto& extra = *static_cast<PF_EventExtra*>(command.extra);
        const auto* ui =
            acquired<PF_EffectCustomUISuite>(command, kPFEffectCustomUISuite, kPFEffectCustomUISuiteVersion);
        const auto* draw = acquired<DRAWBOT_DrawbotSuite>(command, kDRAWBOT_DrawSuite, kDRAWBOT_DrawSuiteVersion);
        const auto* suppliers =
            acquired<DRAWBOT_SupplierSuite>(command, kDRAWBOT_SupplierSuite, kDRAWBOT_SupplierSuiteVersion);
        const auto* surfaces =
            acquired<DRAWBOT_SurfaceSuite>(command, kDRAWBOT_SurfaceSuite, kDRAWBOT_SurfaceSuiteVersion);
        DRAWBOT_DrawRef reference = nullptr;
        if (extra.e_type == PF_Event_DRAW) {
            DRAWBOT_SupplierRef supplier = nullptr;
            DRAWBOT_SurfaceRef target = nullptr;
            EXPECT_EQ(ui->PF_GetDrawingReference(extra.contextH, &reference), 0);
            EXPECT_EQ(draw->GetSupplier(reference, &supplier), 0);
            EXPECT_EQ(draw->GetSurface(reference, &target), 0);
            // Two rows of two pixels, and 4 bytes between them.
            const std::vector<std::uint8_t> pixels{200, 100, 50, 255, 10, 20, 30, 255, 9, 9, 9, 9,
                                                   40,  60,  80, 255, 1,  2,  3,  0,   9, 9, 9, 9};
            DRAWBOT_ImageRef image = nullptr;
            const auto make = [&](int width, int height, int rowBytes) {
                return suppliers->NewImageFromBuffer(supplier, width, height, rowBytes,
                                                     kDRAWBOT_PixelLayout_32BGRA_Straight, pixels.data(), &image);
            };
            EXPECT_NE(make(0, 2, 12), 0);
            EXPECT_NE(make(2, 2, 7), 0);
            EXPECT_EQ(make(2, 2, 12), 0);
            const auto object = reinterpret_cast<DRAWBOT_ObjectRef>(image);
            EXPECT_EQ(suppliers->RetainObject(object), 0);
            EXPECT_EQ(suppliers->ReleaseObject(object), 0);
            const DRAWBOT_PointF32 origin{1, 0};
            EXPECT_EQ(surfaces->DrawImage(target, image, &origin, 0.5F), 0) << "one reference is left";
            EXPECT_EQ(suppliers->ReleaseObject(object), 0);
            EXPECT_NE(surfaces->DrawImage(target, image, &origin, 0.5F), 0);
        } else {
            EXPECT_NE(ui->PF_GetDrawingReference(extra.contextH, &reference), 0);
            EXPECT_EQ(extra.u.do_click.when, 4321U);
            EXPECT_EQ(extra.u.do_click.num_clicks, 1);
        }
        for (const auto& [name, version] : {std::pair(kPFEffectCustomUISuite, kPFEffectCustomUISuiteVersion),
                                            std::pair(kDRAWBOT_DrawSuite, kDRAWBOT_DrawSuiteVersion),
                                            std::pair(kDRAWBOT_SupplierSuite, kDRAWBOT_SupplierSuiteVersion),
                                            std::pair(kDRAWBOT_SurfaceSuite, kDRAWBOT_SurfaceSuiteVersion)}) {
            EXPECT_EQ(command.in->pica_basicP->ReleaseSuite(name, version), 0);
        }
        return PF_Err_NONE;
    };
    EXPECT_TRUE(panel.draw(1, PF_EA_CONTROL, {{}, {0, 0, 3, 2}}, surface).command.ok());
    const auto colour = [&](int x, int y) {
        const PF_Pixel8& pixel = surface.at(x, y);
        return std::vector<int>{pixel.red, pixel.green, pixel.blue};
    };
    EXPECT_EQ(colour(0, 0), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(colour(1, 0), (std::vector<int>{25, 50, 100}));
    EXPECT_EQ(colour(2, 0), (std::vector<int>{15, 10, 5}));
    EXPECT_EQ(colour(1, 1), (std::vector<int>{40, 30, 20}));
    EXPECT_EQ(colour(2, 1), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(host.newBreaches().size(), 3U) << "no width, short rows, an image that is gone";
    EXPECT_TRUE(panel.click(1, 4321).command.ok());
    EXPECT_EQ(host.newBreaches(), std::vector<std::string>{
                                      "PF Effect Custom UI Suite.PF_GetDrawingReference: called outside a draw event"});
    EXPECT_TRUE(host.ledger().open().empty());
}

}  // namespace
}  // namespace quorvel::host
