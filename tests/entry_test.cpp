// SPDX-License-Identifier: MIT
// Identity, set-up, parameters and sequence data, through the module's entry points.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "effect/parameters.h"
#include "host/host.h"
#include "host/instance.h"

namespace quorvel::test {
namespace {

using host::Hidden;
using host::Host;
using host::Instance;
using DeclaredParameter = host::Parameter;
using host::Profile;
using Calls = std::vector<std::string>;

Calls callsDuring(Host& host, auto action) {
    host.ledger().startRecording();
    action();
    return host.ledger().stopRecording();
}

constexpr PF_Err kRefused = 99;

TEST(Identity, IsToldOnceAndTheAnswerComesBack) {
    const Host host(QUORVEL_MODULE, Profile::afterEffects());
    EXPECT_EQ(host.module().identity(),
              (host::Identity{"Quorvel", "Quorvel", "Orvane", "EffectMain", 0x65464B54, 13, 27, 8}));
    const PF_PluginDataCB refuse = [](PF_PluginDataPtr calls, const A_u_char*, const A_u_char*, const A_u_char*,
                                      const A_u_char*, A_long, A_long, A_long, A_long) -> A_Err {
        ++*static_cast<int*>(calls);
        return kRefused;
    };
    int calls = 0;
    EXPECT_EQ(host.module().pluginDataEntry()(&calls, refuse, nullptr, nullptr, nullptr), kRefused);
    EXPECT_EQ(calls, 1);
}

TEST(Commands, AboutSaysWhoThisIs) {
    Host host(QUORVEL_MODULE, Profile::afterEffects());
    const host::CommandResult about = host.about();
    EXPECT_TRUE(about.ok());
    EXPECT_FALSE(about.messageIsError);
    EXPECT_EQ(about.message.substr(0, about.message.find('\r')), "Quorvel, v1.3.0");
    EXPECT_GT(about.message.size(), std::string("Quorvel, v1.3.0\r").size());
}

TEST(Commands, OthersDoNothing) {
    Host host(QUORVEL_MODULE, Profile::afterEffects(13, 8));
    host.start();
    std::vector<PF_Cmd> commands = {PF_Cmd_EVENT, -1, 2, PF_Cmd_GLOBAL_SETDOWN, 9, 10, 12, 25, 26, 27, 1000};
    for (PF_Cmd cmd = 16; cmd <= 22; ++cmd) {
        commands.push_back(cmd);
    }
    for (PF_Cmd cmd = 29; cmd <= 34; ++cmd) {
        commands.push_back(cmd);
    }
    for (const PF_Cmd cmd : commands) {
        const Calls calls = callsDuring(host, [&] {
            const host::CommandResult result = host.send(cmd, nullptr, nullptr, nullptr);
            EXPECT_TRUE(result.ok() && result.message.empty()) << "command " << cmd << ": " << describe(result);
        });
        EXPECT_EQ(calls, Calls{}) << "command " << cmd;
    }
}

TEST(GlobalSetup, ReportsVersionAndFlags) {
    for (const Profile& profile : {Profile::afterEffects(), Profile::afterEffects(13, 8), Profile::premierePro()}) {
        Host host(QUORVEL_MODULE, profile);
        const Calls calls = callsDuring(host, [&] { EXPECT_TRUE(host.globalSetup().ok()); });
        EXPECT_EQ(host.capabilities().version, 0x00098601U);
        EXPECT_EQ(host.capabilities().outFlags, 0x06008000);
        EXPECT_EQ(host.capabilities().outFlags2, 0x08801410);
        if (profile.application == host::Application::AfterEffects) {
            EXPECT_EQ(calls, Calls{});
            continue;
        }
        EXPECT_EQ(calls,
                  (Calls{"AcquireSuite PF Pixel Format Suite 1", "PF Pixel Format Suite.ClearSupportedPixelFormats",
                         "PF Pixel Format Suite.AddSupportedPixelFormat argb",
                         "PF Pixel Format Suite.AddSupportedPixelFormat Argb",
                         "PF Pixel Format Suite.AddSupportedPixelFormat ARgb", "AcquireSuite PF Utility Suite 4",
                         "PF Utility Suite.EffectWantsCheckedOutFramesToMatchRenderPixelFormat",
                         "ReleaseSuite PF Utility Suite 4", "ReleaseSuite PF Pixel Format Suite 1"}));
    }
}

TEST(GlobalSetup, SaysThatPremiereProLacksASuite) {
    for (const char* suite : {"PF Pixel Format Suite", "PF Utility Suite"}) {
        for (const Hidden how : {Hidden::WithError, Hidden::WithNull}) {
            Host host(QUORVEL_MODULE, Profile::premierePro());
            host.faults().hideSuite(suite, how);
            const host::CommandResult result = host.globalSetup();
            EXPECT_EQ(result.error, A_Err_MISSING_SUITE) << suite;
            EXPECT_EQ(result.message, "Not able to acquire AEFX Suite.") << suite;
            EXPECT_TRUE(result.messageIsError) << suite;
            EXPECT_TRUE(host.ledger().open().empty() && host.ledger().breaches().empty()) << suite;
        }
    }
}

/// A declaration as one line of text, with all that its type holds.
std::string lineOf(const DeclaredParameter& parameter) {
    const PF_ParamDef& def = parameter.def;
    std::ostringstream line;
    line << def.uu.id << " '" << def.name << "' type " << def.param_type << " flags " << def.flags << " ui "
         << def.ui_flags;
    const auto ranges = [&](const auto& slider) {
        line << " valid " << slider.valid_min << ".." << slider.valid_max << " shown " << slider.slider_min << ".."
             << slider.slider_max << " value " << slider.value << " default " << slider.dephault << " precision "
             << slider.precision << " display " << slider.display_flags << slider.value_desc;
    };
    switch (def.param_type) {
        case PF_Param_POPUP:
            line << " value " << def.u.pd.value << " default " << def.u.pd.dephault << " of " << def.u.pd.num_choices;
            for (const std::string& choice : parameter.choices) {
                line << '|' << choice;
            }
            break;
        case PF_Param_LAYER:
            line << " default " << def.u.ld.dephault;
            break;
        case PF_Param_FLOAT_SLIDER:
            ranges(def.u.fs_d);
            line << " tolerance " << def.u.fs_d.curve_tolerance << " slider flags " << def.u.fs_d.fs_flags;
            break;
        case PF_Param_FIX_SLIDER:
            ranges(def.u.fd);
            line << def.u.fd.value_str;
            break;
        case PF_Param_ANGLE:
            line << " value " << def.u.ad.value << " default " << def.u.ad.dephault;
            break;
        case PF_Param_ARBITRARY_DATA:
            line << " id " << def.u.arb_d.id << (def.u.arb_d.dephault != nullptr || def.u.arb_d.value != nullptr);
            break;
        default:
            break;
    }
    if (const auto& ui = parameter.customUI) {
        line << " size " << def.ui_width << 'x' << def.ui_height << " events " << ui->events << " comp "
             << ui->comp_ui_width << 'x' << ui->comp_ui_height << '@' << ui->comp_ui_alignment << " layer "
             << ui->layer_ui_width << 'x' << ui->layer_ui_height << '@' << ui->layer_ui_alignment << " preview "
             << ui->preview_ui_width << 'x' << ui->preview_ui_height << '@' << ui->preview_ui_alignment;
    }
    return line.str();
}

const Calls kEveryHost = {
    "1 'Channels' type 7 flags 0 ui 0 value 1 default 1 of 6|Luminosity|RGB|Blue|Green|Red|Alpha",
    "6 'Intensity Source' type 0 flags 0 ui 0 default 0",
    "2 'Mosaic Intensity' type 10 flags 0 ui 0 valid 0..1 shown 0..1 value 0.25 default 0.25 precision 3 display 1"
    " tolerance 0.05 slider flags 0",
    "3 'Grid Width' type 2 flags 0 ui 0 valid 65536..2097152 shown 65536..2097152 value 1048576 default 1048576"
    " precision 0 display 0",
    "4 'Grid Height' type 2 flags 0 ui 0 valid 65536..2097152 shown 65536..2097152 value 589824 default 589824"
    " precision 0 display 0",
    "5 'Maximum Iterations' type 2 flags 0 ui 0 valid 65536..2097152 shown 65536..2097152 value 2097152"
    " default 2097152 precision 0 display 0",
    "8 'Curve' type 7 flags 0 ui 0 value 1 default 1 of 6|Linear Ramp Up|Linear Ramp Down|Triangle Wave|Sine Wave"
    "|Exp Up|Exp Down",
    "9 'Curve Phase' type 3 flags 32 ui 0 value 0 default 0",
    "10 'Curve Smoothness' type 10 flags 0 ui 0 valid 0..16 shown 0..16 value 0 default 0 precision 3 display 0"
    " tolerance 0.05 slider flags 0",
    "12 'Curve Phase Split (RGB)' type 3 flags 32 ui 0 value 0 default 0",
};
const std::string kHeaderUI = " size 320x17 events 255 comp 0x0@0 layer 0x0@0 preview 0x0@0";
const std::string kHeader = "7 '' type 9 flags 66 ui 1" + kHeaderUI;
const std::string kHeaderAsControl = "7 'About' type 9 flags 66 ui 2" + kHeaderUI;
const std::string kGraphUI = " size 50x50 events 12 comp 50x50@1 layer 50x50@1 preview 50x50@0";
const std::string kGraph = "11 'Curve Graph' type 9 flags 2 ui 2" + kGraphUI;
const std::string kPremiereGraph = "11 'Curve Graph' type 11 flags 2 ui 2 id 110" + kGraphUI;

TEST(Parameters, AreDeclaredAsEachHostNeedsThem) {
    const struct {
        Profile profile;
        std::string header;
        std::string graph;
        std::vector<int> checkedOut;  ///< indices of ids 1, 2, 3, 4, 5, 8, 9, 10, 12 in a frame of this host
    } table[] = {
        {Profile::afterEffects(13, 8), "", "", {1, 3, 4, 5, 6, 7, 8, 9, 10}},
        {Profile::afterEffects(12, 20), "", "", {1, 3, 4, 5, 6, 7, 8, 9, 10}},
        {Profile::afterEffects(13, 9), kHeader, kGraph, {2, 4, 5, 6, 7, 8, 9, 10, 11}},
        {Profile::afterEffects(13, 22), kHeader, kGraph, {2, 4, 5, 6, 7, 8, 9, 10, 11}},
        {Profile::afterEffects(13, 23), kHeaderAsControl, kGraph, {2, 4, 5, 6, 7, 8, 9, 10, 11}},
        {Profile::afterEffects(13, 27), kHeader, kGraph, {2, 4, 5, 6, 7, 8, 9, 10, 11}},
        {Profile::afterEffects(14, 0), kHeader, kGraph, {2, 4, 5, 6, 7, 8, 9, 10, 11}},
        {Profile::premierePro(13, 4), "", kPremiereGraph, {}},
        {Profile::premierePro(13, 23), "", kPremiereGraph, {}},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(std::to_string(row.profile.apiVersion.major) + "." + std::to_string(row.profile.apiVersion.minor));
        Host host(QUORVEL_MODULE, row.profile);
        host.start();
        Calls declared;
        for (const DeclaredParameter& parameter : host.parameters()) {
            declared.push_back(lineOf(parameter));
        }
        declared.erase(declared.begin());
        Calls expected = kEveryHost;
        if (!row.header.empty()) {
            expected.insert(expected.begin(), row.header);
        }
        if (!row.graph.empty()) {
            expected.push_back(row.graph);
        }
        EXPECT_EQ(declared, expected);
        EXPECT_EQ(host.reportedParameterCount(), static_cast<A_long>(expected.size()) + 1);
        if (row.checkedOut.empty()) {
            continue;
        }
        Instance instance(host);
        const Calls calls = callsDuring(host, [&] { EXPECT_TRUE(instance.preRender({}).first.ok()); });
        for (std::size_t i = 0; i < row.checkedOut.size(); ++i) {
            EXPECT_EQ(calls.at(i + 3), "checkout_param " + std::to_string(row.checkedOut[i]));
        }
    }
}

/// Smallest, largest and default value, of those that the parameter's type has, in the units of the effect's table.
std::vector<double> numbersOf(const PF_ParamDef& def) {
    switch (def.param_type) {
        case PF_Param_FLOAT_SLIDER:
            return {def.u.fs_d.valid_min, def.u.fs_d.valid_max, def.u.fs_d.dephault};
        case PF_Param_FIX_SLIDER:
            return {def.u.fd.valid_min / 65536.0, def.u.fd.valid_max / 65536.0, def.u.fd.dephault / 65536.0};
        case PF_Param_POPUP:
            return {def.u.pd.dephault - 1.0};
        case PF_Param_ANGLE:
            return {def.u.ad.dephault / 65536.0};
        default:
            return {};
    }
}

TEST(Parameters, AreThoseOfTheEffectsTable) {
    Host host(QUORVEL_MODULE, Profile::afterEffects());
    host.start();
    for (const Parameter& parameter : parameters()) {
        SCOPED_TRACE(parameter.name);
        const DeclaredParameter* declared = host.findParameter(parameter.name);
        ASSERT_NE(declared, nullptr);
        EXPECT_EQ(declared->id(), static_cast<A_long>(parameter.id));
        const bool ranged = parameter.kind == ParameterKind::Slider || parameter.kind == ParameterKind::Count;
        EXPECT_EQ(numbersOf(declared->def),
                  parameter.kind == ParameterKind::Layer ? std::vector<double>{}
                  : ranged ? (std::vector<double>{parameter.minimum, parameter.maximum, parameter.defaultValue})
                           : std::vector<double>{parameter.defaultValue});
        std::string choices;
        for (const std::string& choice : declared->choices) {
            choices += (choices.empty() ? "" : "|") + choice;
        }
        EXPECT_EQ(choices, parameter.choices);
    }
    EXPECT_EQ(host.parameters().size(), parameters().size() + 3) << "the input layer, the banner and the graph";
}

TEST(Parameters, KeepTheirIdsWhateverTheHostWritesIntoTheRecord) {
    static PF_Err (*addParam)(PF_ProgPtr, PF_ParamIndex, PF_ParamDef*);
    for (const A_long id : {0, 1, 13, 77, -1, std::numeric_limits<A_long>::max()}) {
        static A_long written;
        written = id;
        Host host(QUORVEL_MODULE, Profile::afterEffects());
        addParam = host.inData().inter.add_param;
        host.inData().inter.add_param = [](PF_ProgPtr effect, PF_ParamIndex index, PF_ParamDef* def) {
            const PF_Err error = addParam(effect, index, def);
            *def = {};
            def->uu.id = written;
            return error;
        };
        host.start();
        ASSERT_EQ(host.parameters().size(), 13U);
        Instance instance(host);
        const Calls calls = callsDuring(host, [&] { EXPECT_TRUE(instance.preRender({}).first.ok()); });
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "checkout_param 2"), 1) << "Channels";
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "checkout_param 11"), 1) << "Curve Phase Split (RGB)";
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "checkout_layer 3 id 3"), 1) << "Intensity Source";
    }
}

TEST(Parameters, TheFirstRefusedDeclarationIsTheLastCall) {
    Host host(QUORVEL_MODULE, Profile::afterEffects());
    host.faults().refuse("add_param", kRefused, 2);
    const Calls calls = callsDuring(host, [&] { EXPECT_EQ(host.paramsSetup().error, kRefused); });
    EXPECT_EQ(calls, (Calls{"add_param", "register_ui", "utils.ansi.strcpy", "add_param Channels", "utils.ansi.strcpy",
                            "add_param Intensity Source"}));
    EXPECT_EQ(host.reportedParameterCount(), std::nullopt);
}

TEST(Parameters, RefusedControlsCountAsDeclared) {
    const struct {
        std::string call;
        int skip;
    } refusals[] = {{"add_param", 0}, {"add_param", 11}, {"register_ui", 0}, {"register_ui", 1}};
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.call + " after " + std::to_string(refusal.skip));
        Host host(QUORVEL_MODULE, Profile::afterEffects());
        host.faults().refuse(refusal.call, kRefused, refusal.skip, 1);
        const Calls calls = callsDuring(host, [&] { EXPECT_TRUE(host.paramsSetup().ok()); });
        EXPECT_EQ(host.reportedParameterCount(), 13);
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "register_ui"), refusal.call == "add_param" ? 1 : 2);
    }
}

TEST(Parameters, ACountThatDisagreesIsAnException) {
    Host host(QUORVEL_MODULE, Profile::afterEffects());
    ASSERT_TRUE(host.paramsSetup().ok());
    EXPECT_TRUE(host.paramsSetup().ok()) << "the same set again";
    host.inData().version = {13, 8};
    EXPECT_EQ(host.paramsSetup().exception,
              "Reported parameter count does not match actual parameter count. This would lead to incorrect values.");

    // In Premiere Pro, an event's look-up of the banner makes it a known parameter.
    Host premierePro(QUORVEL_MODULE, Profile::premierePro());
    ASSERT_TRUE(premierePro.paramsSetup().ok());
    PF_EventExtra none{};
    ASSERT_TRUE(premierePro.send(PF_Cmd_EVENT, nullptr, nullptr, &none).ok());
    EXPECT_FALSE(premierePro.paramsSetup().exception.empty());
}

class SequenceData : public testing::Test {
protected:
    /// Gives the instance a block of that size, filled with a marker.
    PF_Handle give(std::size_t size) {
        const PF_Handle handle = instance.newHandle(size);
        std::fill_n(static_cast<std::byte*>(*handle), size, std::byte{0xAB});
        return instance.sequenceData() = handle;
    }
    /// 240 bytes, the first `marked` of which came from `give`.
    static std::vector<std::byte> block(std::size_t marked) {
        std::vector<std::byte> bytes(240);
        std::fill_n(bytes.begin(), marked, std::byte{0xAB});
        return bytes;
    }
    Calls calls(auto command) {
        return callsDuring(host, [&] { EXPECT_TRUE((instance.*command)().ok()); });
    }
    std::int64_t handlesOut(const char* size) { return host.ledger().openCount(host::Loan::Handle, size); }

    Host host{QUORVEL_MODULE, Profile::afterEffects()};
    Instance instance{host};
};

const Calls kCreate = {"utils.host_new_handle 240"};
const Calls kResize = {"utils.host_get_handle_size", "utils.host_resize_handle 240"};
const Calls kCopy = {"AcquireSuite PF Handle Suite 2", "PF Handle Suite.host_new_handle 240",
                     "PF Handle Suite.host_lock_handle", "PF Handle Suite.host_get_handle_size"};
const Calls kCopied = {"PF Handle Suite.host_unlock_handle", "ReleaseSuite PF Handle Suite 2"};

Calls together(Calls first, const Calls& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST_F(SequenceData, IsCreatedOrBroughtToSize) {
    for (const auto command : {&Instance::sequenceSetup, &Instance::sequenceResetup}) {
        Instance fresh(host);
        EXPECT_EQ(callsDuring(host, [&] { EXPECT_TRUE((fresh.*command)().ok()); }), kCreate);
        EXPECT_EQ(fresh.bytesOf(fresh.sequenceData()), block(0));
        EXPECT_EQ(host.outData().flat_sdata_size, 240);

        Instance poor(host);
        host.faults().refuse("utils.host_new_handle", kRefused);
        const host::CommandResult result = (poor.*command)();
        host.faults().clear();
        EXPECT_EQ(result.error, PF_Err_INTERNAL_STRUCT_DAMAGED);
        EXPECT_EQ(result.message, "Internal Error");
        EXPECT_TRUE(result.messageIsError);
        EXPECT_EQ(poor.sequenceData(), nullptr);
    }
    const PF_Handle given = give(100);
    EXPECT_EQ(calls(&Instance::sequenceResetup), Calls{});
    EXPECT_EQ(instance.bytesOf(given).size(), 100U);
    EXPECT_EQ(calls(&Instance::sequenceSetup), kResize);
    EXPECT_EQ(instance.sequenceData(), given);
    std::vector<std::byte> grown = instance.bytesOf(given);
    ASSERT_EQ(grown.size(), 240U);
    EXPECT_NE(grown.back(), std::byte{0}) << "nothing is cleared";
    std::fill(grown.begin() + 100, grown.end(), std::byte{0});
    EXPECT_EQ(grown, block(100)) << "what it held stays";
    EXPECT_EQ(calls(&Instance::sequenceSetup), Calls{kResize[0]});
}

TEST_F(SequenceData, WithoutABlockGetsOneBeforeItIsUsed) {
    const PF_Handle empty = instance.sequenceData() = instance.newHandle(240, true);
    EXPECT_EQ(calls(&Instance::sequenceResetup), Calls{});
    EXPECT_EQ(calls(&Instance::sequenceSetup), kResize);
    EXPECT_EQ(instance.sequenceData(), empty);
    EXPECT_EQ(instance.bytesOf(empty).size(), 240U);
    ASSERT_TRUE(instance.sequenceSetdown().ok());

    // A host that cannot give it one: the handle stays as it is, and goes as any other.
    host.faults().refuse("utils.host_resize_handle", kRefused);
    instance.sequenceData() = instance.newHandle(240, true);
    EXPECT_EQ(calls(&Instance::sequenceSetup), kResize);
    EXPECT_EQ(calls(&Instance::sequenceSetdown), together(kResize, {"utils.host_dispose_handle"}));
    EXPECT_EQ(instance.sequenceData(), nullptr);
    EXPECT_TRUE(host.ledger().open().empty());
    EXPECT_EQ(host.ledger().breaches(), Calls{});
}

TEST_F(SequenceData, IsFlattenedIntoACopy) {
    for (const std::size_t size : {240U, 100U, 300U}) {
        const std::string name = std::to_string(size) + " bytes";
        const PF_Handle own = give(size);
        EXPECT_EQ(calls(&Instance::getFlattenedSequenceData), together(kCopy, kCopied));
        EXPECT_EQ(instance.sequenceData(), own);
        EXPECT_EQ(instance.bytesOf(own).size(), size);
        EXPECT_EQ(instance.bytesOf(instance.storedData()), block(std::min<std::size_t>(size, 240)));

        EXPECT_EQ(calls(&Instance::sequenceFlatten),
                  together(together(kCopy, {"PF Handle Suite.host_dispose_handle"}), kCopied));
        EXPECT_NE(instance.sequenceData(), own);
        EXPECT_EQ(instance.bytesOf(instance.sequenceData()), block(std::min<std::size_t>(size, 240)));
        EXPECT_EQ(handlesOut("240 bytes"), 2) << "the instance's and the stored one";
        EXPECT_EQ(handlesOut(name.c_str()), size == 240 ? 2 : 0);
        ASSERT_TRUE(instance.sequenceSetdown().ok());
    }
    EXPECT_EQ(host.ledger().breaches(), Calls{});
}

TEST_F(SequenceData, FlatteningFailsWithoutLoss) {
    const struct {
        const char* refused;
        PF_Err result;
    } table[] = {
        {"PF Handle Suite.host_new_handle", PF_Err_INTERNAL_STRUCT_DAMAGED},
        {"PF Handle Suite.host_lock_handle", PF_Err_NONE},
        {"AcquireSuite", PF_Err_BAD_CALLBACK_PARAM},
    };
    for (const auto command : {&Instance::sequenceFlatten, &Instance::getFlattenedSequenceData}) {
        instance.sequenceData() = nullptr;
        EXPECT_EQ((instance.*command)().error, PF_Err_INTERNAL_STRUCT_DAMAGED);
        const PF_Handle empty = instance.sequenceData() = instance.newHandle(240, true);
        EXPECT_EQ(calls(command), Calls{}) << "a handle without a block";
        EXPECT_EQ(instance.sequenceData(), empty);
        const PF_Handle own = give(240);
        for (const auto& [refused, expected] : table) {
            host.faults().refuse(refused, kRefused);
            const host::CommandResult result = (instance.*command)();
            host.faults().clear();
            EXPECT_EQ(result.error, expected) << refused;
            EXPECT_EQ(result.message, "") << refused;
            EXPECT_EQ(instance.sequenceData(), own) << refused;
            EXPECT_EQ(instance.storedData(), nullptr) << refused;
        }
        host.faults().hideSuite("PF Handle Suite", Hidden::WithNull);
        EXPECT_EQ((instance.*command)().error, PF_Err_BAD_CALLBACK_PARAM);
        host.faults().clear();
        EXPECT_EQ(host.ledger().openCount(host::Loan::Suite, "PF Handle Suite 2"), 0);
    }
}

TEST_F(SequenceData, IsBroughtToSizeBeforeItGoes) {
    EXPECT_EQ(calls(&Instance::sequenceSetdown), Calls{});
    give(100);
    EXPECT_EQ(calls(&Instance::sequenceSetdown), together(kResize, {"utils.host_dispose_handle"}));
    give(240);
    EXPECT_EQ(calls(&Instance::sequenceSetdown), together({kResize[0]}, {"utils.host_dispose_handle"}));
    EXPECT_EQ(instance.sequenceData(), nullptr);
    EXPECT_TRUE(host.ledger().open().empty());
    EXPECT_EQ(host.ledger().breaches(), Calls{});
}

}  // namespace
}  // namespace quorvel::test
