// SPDX-License-Identifier: MIT
// The reference host's own behaviour: what it owns, what it notices, what it refuses.
#include "host/host.h"
#include "host/instance.h"
#include "host/panel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/hook_host.h"
#include "tests/support/temporary_folder.h"

namespace quorvel::host {
namespace {

std::string messageOf(const std::filesystem::path& module) {
    try {
        const Module loaded(module);
        return "";
    } catch (const HostError& error) {
        return error.what();
    }
}

TEST(World, RowsLieWhereTheLayoutSays) {
    for (const Depth depth : {Depth::Bits8, Depth::Bits16, Depth::Float32}) {
        for (const bool bottomUp : {false, true}) {
            World world(depth, 5, 3, {16, bottomUp});
            const int rowBytes = 5 * pixelBytes(depth) + 16;
            EXPECT_EQ(world.rowBytes(), bottomUp ? -rowBytes : rowBytes);
            EXPECT_EQ(world.memory().size(), static_cast<std::size_t>(3 * rowBytes));
            world.row(2)[0] = std::byte{7};
            EXPECT_EQ(world.memory()[bottomUp ? 0 : static_cast<std::size_t>(2 * rowBytes)], std::byte{7});
            World copy = world.clone();
            copy.row(2)[0] = std::byte{9};
            EXPECT_EQ(world.row(2)[0], std::byte{7});
            EXPECT_EQ(copy.row(2)[0], std::byte{9});
        }
    }
    EXPECT_THROW(World(Depth::Bits8, kMaximumDimension + 1, 1), HostError);
    EXPECT_THROW(World(Depth::Bits8, 1, 0), HostError);
}

#if defined(_WIN32)
constexpr bool kWindows = true;
#else
constexpr bool kWindows = false;
#endif

/// Files in a folder of the test's own.
class ModuleLoading : public testing::Test {
protected:
    std::filesystem::path write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }
    const std::filesystem::path& folder() const { return folder_.path(); }
    std::filesystem::path path(const std::string& name) const { return folder() / name; }

private:
    test::TemporaryFolder folder_;
};

/// The shortest shared object that has a section table.
std::string emptyElf(unsigned machine) {
    std::string bytes(128, '\0');
    bytes.replace(0, 6,
                  "\x7F"
                  "ELF\2\1");
    bytes[16] = 3;                           // a shared object
    bytes[18] = static_cast<char>(machine);  // below 256
    bytes[40] = bytes[58] = 64;              // the section table's place and its entries' size
    bytes[60] = 1;                           // one section
    return bytes;
}

/// The shortest 64-bit library that has an optional header.
std::string emptyPe(unsigned machine) {
    std::string bytes(200, '\0');
    bytes.replace(0, 2, "MZ");
    bytes[0x3C] = 64;
    bytes.replace(64, 2, "PE");
    bytes[68] = static_cast<char>(machine);
    bytes[69] = static_cast<char>(machine >> 8);
    bytes[87] = 0x20;  // a library
    bytes.replace(88, 2, "\x0B\x02");
    return bytes;
}

TEST_F(ModuleLoading, SaysWhatIsWrongWithAFile) {
    const auto text = write("text.so", "plain text");
    EXPECT_EQ(messageOf(path("missing.so")), path("missing.so").string() + ": no such module");
    EXPECT_EQ(messageOf(folder()), folder().string() + ": not a module: not a regular file");
    const std::string start = text.string() + ": not a loadable module: ";
    EXPECT_EQ(messageOf(text), start + (kWindows ? "damaged, or not a 64-bit Windows library" : "file too short"));
    EXPECT_EQ(messageOf(HOOK_WITHOUT_IDENTITY), HOOK_WITHOUT_IDENTITY ": no entry point \"PluginDataEntryFunction\"");
    EXPECT_EQ(messageOf(HOOK_WITHOUT_ENTRY), HOOK_WITHOUT_ENTRY ": no entry point \"EffectMain\"");
    EXPECT_EQ(messageOf(HOOK_WITHOUT_LIMIT),
              HOOK_WITHOUT_LIMIT ": PluginDataEntryFunction described 2 effects, expected 1");
    EXPECT_EQ(messageOf(HOOK_WITHOUT_SUCCESS), HOOK_WITHOUT_SUCCESS ": PluginDataEntryFunction failed with error 4");
    // The name is shown in UTF-8, whatever the system's code page.
    const std::string message = messageOf(folder() / u8"quorvel-\u6A21.so");
    EXPECT_TRUE(message.ends_with("quorvel-\xE6\xA8\xA1.so: no such module")) << message;
}

TEST_F(ModuleLoading, RefusesAModuleOfAnotherSystemOrProcessor) {
    constexpr unsigned kElfX86_64 = 62;
    constexpr unsigned kElfArm64 = 183;
    constexpr unsigned kPeX86_64 = 0x8664;
    constexpr unsigned kPeArm64 = 0xAA64;
    const auto foreign = write("foreign", kWindows ? emptyElf(kElfX86_64) : emptyPe(kPeX86_64));
    EXPECT_EQ(messageOf(foreign), foreign.string() + (kWindows ? ": a Linux module, not one for Windows"
                                                               : ": a Windows module, not one for Linux"));
    const auto arm = write("arm", kWindows ? emptyPe(kPeArm64) : emptyElf(kElfArm64));
    EXPECT_EQ(messageOf(arm), arm.string() + ": a module for another processor");
    const auto empty = write("empty", kWindows ? emptyPe(kPeX86_64) : emptyElf(kElfX86_64));
    EXPECT_EQ(messageOf(empty), empty.string() + ": no entry point \"PluginDataEntryFunction\"");
}

TEST_F(ModuleLoading, EveryHostHasACopyOfItsOwn) {
    Host newest(QUORVEL_MODULE, Profile::afterEffects());
    Host oldest(QUORVEL_MODULE, Profile::afterEffects(13, 8));
    Host premiere(QUORVEL_MODULE, Profile::premierePro());
    newest.start();
    oldest.start();
    premiere.start();
    EXPECT_EQ(newest.parameters().size(), 13U);
    EXPECT_EQ(oldest.parameters().size(), 11U);
    EXPECT_EQ(premiere.parameters().size(), 12U);
    ASSERT_NE(newest.findParameter("grid width"), nullptr);
    EXPECT_EQ(newest.findParameter("grid width")->index, 5);
    EXPECT_EQ(oldest.findParameter("grid width")->index, 4);
    EXPECT_EQ(newest.findParameter("grid"), nullptr);
}

TEST(Ledger, NoticesWhatIsNotBalanced) {
    Ledger ledger;
    ledger.lend(Loan::Suite, "A 1");
    ledger.lend(Loan::Suite, "A 1");
    ledger.takeBack(Loan::Suite, "A 1");
    EXPECT_EQ(ledger.open(), (std::vector<OpenLoan>{{Loan::Suite, "A 1", 1}}));
    ledger.takeBack(Loan::Suite, "B 1");
    EXPECT_EQ(ledger.breaches(), std::vector<std::string>{"suite \"B 1\" released but never acquired"});
    ledger.forgive(Loan::Suite, "A 1", 1);
    EXPECT_TRUE(ledger.open().empty());
    EXPECT_EQ(ledger.forgiven(), (std::vector<OpenLoan>{{Loan::Suite, "A 1", 1}}));
}

TEST(Commands, BringBackWhateverTheModuleDid) {
    HookHost host;
    CommandResult result = host.during(PF_Cmd_ABOUT, [](const Command& command) {
        std::fill(std::begin(command.out->return_msg), std::end(command.out->return_msg), 'x');
        command.out->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
        return PF_Err{77};
    });
    EXPECT_EQ(result.error, 77);
    EXPECT_EQ(result.message, std::string(256, 'x')) << "a message need not have an end";
    EXPECT_TRUE(result.messageIsError);
    result = host.during(PF_Cmd_ABOUT, [](const Command&) -> PF_Err { throw std::runtime_error("thrown text"); });
    EXPECT_EQ(result.exception, "thrown text");
    EXPECT_EQ(result.message, "");
    EXPECT_FALSE(result.messageIsError);
    result = host.during(PF_Cmd_ABOUT, [](const Command&) -> PF_Err { throw 5; });
    EXPECT_EQ(result.exception, "unknown exception");
    EXPECT_FALSE(result.ok());
}

TEST(Commands, OfTwoHostsMayBeNested) {
    HookHost outer;
    Host inner(QUORVEL_MODULE, Profile::afterEffects());
    EXPECT_TRUE(outer
                    .during(PF_Cmd_ABOUT,
                            [&](const Command& command) {
                                inner.start();
                                const PF_Handle handle = command.in->utils->host_new_handle(8);
                                EXPECT_EQ(outer.ledger().openCount(Loan::Handle, "8 bytes"), 1);
                                command.in->utils->host_dispose_handle(handle);
                                return PF_Err_NONE;
                            })
                    .ok());
    EXPECT_TRUE(outer.ledger().open().empty() && inner.ledger().open().empty());
    EXPECT_EQ(outer.inData().utils->host_new_handle(8), nullptr) << "outside a command";
}

TEST(Handles, KeepTheirContentAndTheirPlaceWhileTheyGrow) {
    HookHost host;
    (void)host.during(PF_Cmd_ABOUT, [](const Command& command) {
        const PF_UtilCallbacks& utils = *command.in->utils;
        PF_Handle handle = utils.host_new_handle(3);
        const PF_Handle before = handle;
        std::memcpy(utils.host_lock_handle(handle), "abc", 3);
        EXPECT_NE(utils.host_resize_handle(5000, &handle), 0) << "locked";
        utils.host_unlock_handle(handle);
        EXPECT_EQ(utils.host_resize_handle(5000, &handle), 0);
        EXPECT_NE(utils.host_resize_handle(~A_HandleSize{0}, &handle), 0);
        EXPECT_EQ(handle, before);
        EXPECT_EQ(utils.host_get_handle_size(handle), 5000U);
        EXPECT_EQ(std::memcmp(*handle, "abc", 3), 0);
        utils.host_dispose_handle(handle);
        EXPECT_EQ(utils.host_new_handle(~A_HandleSize{0}), nullptr);
        return PF_Err_NONE;
    });
    EXPECT_EQ(host.newBreaches(), std::vector<std::string>{"host_resize_handle: the handle is locked"});
    EXPECT_TRUE(host.ledger().open().empty());
}

TEST(Breaches, AreRecordedOneByOneInAnyCommand) {
    HookHost host;
    const auto noticed = [&](const char* what, auto code) {
        (void)host.during(PF_Cmd_GLOBAL_SETUP, [&](const Command& command) {
            code(command, *command.in->utils);
            return PF_Err_NONE;
        });
        const std::vector<std::string> breaches = host.newBreaches();
        ASSERT_EQ(breaches.size(), 1U) << what;
        EXPECT_EQ(breaches[0], what);
    };
    void* loose = nullptr;
    PF_ParamDef def{};
    noticed("host_lock_handle: not a handle of this host",
            [&](const Command&, const PF_UtilCallbacks& utils) { utils.host_lock_handle(&loose); });
    noticed("host_unlock_handle: the handle is not locked", [&](const Command&, const PF_UtilCallbacks& utils) {
        // Another handle of that size is locked: its lock is not taken for this one's.
        utils.host_lock_handle(utils.host_new_handle(4));
        utils.host_unlock_handle(utils.host_new_handle(4));
    });
    noticed("suite \"PF Handle Suite 2\" released but never acquired",
            [](const Command& command, const PF_UtilCallbacks&) {
                command.in->pica_basicP->ReleaseSuite(kPFHandleSuite, kPFHandleSuiteVersion);
            });
    noticed("add_param: called outside parameter set-up", [&](const Command& command, const PF_UtilCallbacks&) {
        EXPECT_NE(command.in->inter.add_param(command.in->effect_ref, -1, &def), 0);
    });
    noticed("checkin_param: effect_ref is not this host's", [&](const Command& command, const PF_UtilCallbacks&) {
        EXPECT_NE(command.in->inter.checkin_param(&def, &def), 0);
    });
    noticed("checkout_param: no parameter can be checked out in this command",
            [&](const Command& command, const PF_UtilCallbacks&) {
                EXPECT_NE(command.in->inter.checkout_param(command.in->effect_ref, 0, 0, 1, 24, &def), 0);
            });
    noticed("called a function that this host does not implement",
            [](const Command&, const PF_UtilCallbacks& utils) { utils.new_world(); });
    noticed("utils.ansi.sprintf: the text is longer than return_msg",
            [](const Command& command, const PF_UtilCallbacks& utils) {
                utils.ansi.sprintf(command.out->return_msg + 250, "%s", "seven characters and more");
                EXPECT_STREQ(command.out->return_msg + 250, "seven");
            });
}

TEST(Breaches, IncludeShowingACopyOfAPanelsDefinition) {
    HookHost host;
    HookHost::hook = [](const Command& command) -> PF_Err {
        if (command.cmd == PF_Cmd_PARAMS_SETUP) {
            PF_ParamDef def{};
            def.param_type = PF_Param_CHECKBOX;
            EXPECT_EQ(command.in->inter.add_param(command.in->effect_ref, -1, &def), 0);
            command.out->num_params = 2;
        }
        return PF_Err_NONE;
    };
    host.start();
    Instance instance(host);
    ParameterValues values(host.parameters());
    Panel panel(instance, values);
    HookHost::hook = [](const Command& command) -> PF_Err {
        const auto* suite = acquired<PF_ParamUtilsSuite>(command, kPFParamUtilsSuite, kPFParamUtilsSuiteVersion);
        const PF_ParamDef copy = *command.params[1];
        command.params[1]->ui_flags = PF_PUI_DISABLED;
        EXPECT_EQ(suite->PF_UpdateParamUI(command.in->effect_ref, 1, command.params[1]), 0);
        EXPECT_NE(suite->PF_UpdateParamUI(command.in->effect_ref, 1, &copy), 0);
        return command.in->pica_basicP->ReleaseSuite(kPFParamUtilsSuite, kPFParamUtilsSuiteVersion);
    };
    EXPECT_TRUE(panel.update().ok());
    EXPECT_FALSE(panel.enabled(1));
    const std::vector<std::string> breaches = host.newBreaches();
    EXPECT_EQ(breaches,
              std::vector<std::string>{"PF Param Utils Suite.PF_UpdateParamUI: the definition is not the panel's own"});
    HookHost::hook = nullptr;
}

TEST(Suites, BelongToTheirApplication) {
    for (const auto& profile : {Profile::afterEffects(), Profile::premierePro()}) {
        const bool premiere = profile.application == Application::PremierePro;
        HookHost host(profile);
        (void)host.during(PF_Cmd_GLOBAL_SETUP, [&](const Command& command) {
            EXPECT_NE(acquired<void>(command, kPFHandleSuite, 2), nullptr);
            EXPECT_EQ(acquired<void>(command, kPFHandleSuite, 1), nullptr);
            EXPECT_EQ(acquired<void>(command, kPFPixelFormatSuite, 1) != nullptr, premiere);
            EXPECT_EQ(acquired<void>(command, kPFUtilitySuite, 4) != nullptr, premiere);
            host.faults().hideSuite(kPFHandleSuite, Hidden::WithNull);
            EXPECT_EQ(acquired<void>(command, kPFHandleSuite, 2), nullptr);
            host.faults().refuse("AcquireSuite PF World Suite 2", 99);
            const void* suite = &host;
            EXPECT_EQ(command.in->pica_basicP->AcquireSuite(kPFWorldSuite, 2, &suite), 99);
            EXPECT_EQ(suite, nullptr);
            return PF_Err_NONE;
        });
        EXPECT_EQ(host.ledger().openCount(Loan::Suite, "PF Handle Suite 2"), 1) << "never released";
    }
}

TEST(Frames, LendWorldsOnceAndInOrder) {
    HookHost host;
    Instance instance(host);
    const World input(Depth::Bits8, 6, 4);
    World output(Depth::Bits8, 6, 4);
    output.setOrigin(2, -1);
    FrameRequest request;
    request.input = &input;
    request.output = &output;
    HookHost::hook = [&](const Command& command) -> PF_Err {
        const PF_ProgPtr ref = command.in->effect_ref;
        if (command.cmd == PF_Cmd_SMART_PRE_RENDER) {
            const auto& extra = *static_cast<PF_PreRenderExtra*>(command.extra);
            PF_CheckoutResult result{};
            const auto checkout = [&](PF_ParamIndex index, A_long id) {
                return extra.cb->checkout_layer(ref, index, id, &extra.input->output_request, 0, 1, 24, &result);
            };
            EXPECT_EQ(checkout(0, 7), 0);
            EXPECT_EQ(result.result_rect.left, 2);
            EXPECT_EQ(result.result_rect.bottom, 3);
            EXPECT_EQ(result.max_result_rect.right, 6);
            EXPECT_NE(checkout(0, 7), 0);
            EXPECT_NE(checkout(1, 8), 0);
            extra.output->pre_render_data = command.in->utils->host_new_handle(16);
            command.in->utils->host_lock_handle(static_cast<PF_Handle>(extra.output->pre_render_data));
            return PF_Err_NONE;
        }
        const PF_SmartRenderCallbacks& cb = *static_cast<PF_SmartRenderExtra*>(command.extra)->cb;
        PF_EffectWorld* world = nullptr;
        EXPECT_EQ(cb.checkout_output(ref, &world), 0);
        EXPECT_EQ(world->origin_x, 2);
        EXPECT_EQ(world->world_flags, PF_WorldFlag_WRITEABLE);
        EXPECT_EQ(cb.checkout_layer_pixels(ref, 7, &world), 0);
        world->width = 1;  // the module's own copy
        EXPECT_NE(cb.checkout_layer_pixels(ref, 7, &world), 0);
        EXPECT_NE(cb.checkout_layer_pixels(ref, 0, &world), 0);
        PF_EffectWorld strange{};
        PF_PixelFormat format = PF_PixelFormat_INVALID;
        const auto* worlds = acquired<PF_WorldSuite>(command, kPFWorldSuite, kPFWorldSuiteVersion);
        EXPECT_NE(worlds->PF_GetPixelFormat(&strange, &format), 0);
        EXPECT_EQ(worlds->PF_GetPixelFormat(world, &format), 0);
        EXPECT_EQ(format, PF_PixelFormat_ARGB32);
        return command.in->pica_basicP->ReleaseSuite(kPFWorldSuite, kPFWorldSuiteVersion);
    };
    EXPECT_TRUE(instance.render(request).ok());
    EXPECT_EQ(input.width(), 6);
    EXPECT_TRUE(host.ledger().open().empty());
    EXPECT_EQ(host.ledger().forgiven(),
              (std::vector<OpenLoan>{
                  {Loan::Handle, "16 bytes", 1}, {Loan::HandleLock, "16 bytes", 1}, {Loan::LayerPixels, "7", 1}}));
    EXPECT_EQ(host.newBreaches(),
              (std::vector<std::string>{"checkout_layer: checkout id 7 is already in use",
                                        "checkout_layer: no layer parameter has the index 1",
                                        "checkout_output: called before the input's pixels were checked out",
                                        "checkout_layer_pixels: the pixels of checkout id 7 were already checked out",
                                        "checkout_layer_pixels: checkout id 0 was not requested in pre-render",
                                        "PF World Suite.PF_GetPixelFormat: world does not belong to this frame"}));

    World small(Depth::Bits8, 5, 4);
    request.input = &small;
    EXPECT_THROW((void)instance.render(request), HostError) << "does not cover the output";
    World deep(Depth::Float32, 6, 4);
    request.input = &deep;
    EXPECT_THROW((void)instance.render(request), HostError) << "another depth";
}

TEST(Faults, RefuseTheChosenTimes) {
    Faults faults;
    faults.refuse("call", 77, 1, 2);
    std::vector<PF_Err> answers;
    for (int i = 0; i < 4; ++i) {
        answers.push_back(faults.refusal("call").value_or(0));
    }
    EXPECT_EQ(answers, (std::vector<PF_Err>{0, 77, 77, 0}));
    EXPECT_FALSE(faults.refusal("other"));
}

/// A frame of one grey, in which every pixel's value tells the thread that asked for it.
World greyWorld(Depth depth, std::uint8_t grey) {
    World world(depth, 40, 30);
    std::fill(world.memory().begin(), world.memory().end(), std::byte{grey});
    return world;
}

TEST(Frames, LongSequencesOnManyThreadsLeaveNothingBehind) {
    Host host(QUORVEL_MODULE, Profile::afterEffects());
    host.start();
    Instance instance(host);
    ASSERT_TRUE(instance.sequenceSetup().ok());
    const std::vector<OpenLoan> before = host.ledger().open();
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (int frame = 0; frame < 20; ++frame) {
                const World input = greyWorld(Depth::Bits8, static_cast<std::uint8_t>(t * 20 + frame));
                World output = greyWorld(Depth::Bits8, 255);
                FrameRequest request;
                request.input = &input;
                request.output = &output;
                request.time = frame;
                EXPECT_TRUE(instance.render(request).ok());
                EXPECT_EQ(output.memory(), input.memory());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(host.ledger().open(), before);
    EXPECT_EQ(host.ledger().breaches(), std::vector<std::string>{});
    // By design the effect keeps one handle a pre-render and checks no value parameter in.
    for (const OpenLoan& loan : host.ledger().forgiven()) {
        EXPECT_TRUE(loan.kind == Loan::Parameter || (loan.kind == Loan::Handle && loan.name == "240 bytes"))
            << loanName(loan.kind) << ' ' << loan.name;
    }
}

}  // namespace
}  // namespace quorvel::host
