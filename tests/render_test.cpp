// SPDX-License-Identifier: MIT
// Whole frames and the render protocol, through the module's entry points.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "host/host.h"
#include "host/instance.h"
#include "plugins/after_effects/parameters/param_index.h"
#include "plugins/after_effects/parameters/param_values.h"
#include "tests/support/host_frame.h"

namespace quorvel::test {
namespace {

using host::FrameRequest;
using host::Host;
using host::Instance;
using host::ParameterValues;
using host::Profile;

/// A host with the module set up in it.
struct Started : Host {
    explicit Started(Profile profile) : Host(QUORVEL_MODULE, profile) { start(); }
};

ParameterValues valuesOf(const Host& host, const Settings& settings, const World* layer, int fraction) {
    ParameterValues values(host.parameters());
    values.setPopup(PARAM_CHANNELS, settings.channels + 1);
    values.setFloat(PARAM_MOSAIC_INTENSITY, settings.mosaicIntensity);
    values.setFixed(PARAM_GRID_WIDTH, settings.gridWidth * 65536 + fraction);
    values.setFixed(PARAM_GRID_HEIGHT, settings.gridHeight * 65536 + fraction);
    values.setFixed(PARAM_MAX_ITERATIONS, settings.maxIterations * 65536 + fraction);
    values.setPopup(PARAM_CURVE, settings.curveType + 1);
    values.setFixed(PARAM_CURVE_PHASE, settings.curvePhase);
    values.setFloat(PARAM_CURVE_SMOOTHNESS, settings.curveSmoothness);
    values.setFixed(PARAM_CURVE_PHASE_SPLIT, settings.curvePhaseSplit);
    values.setLayer(PARAM_INTENSITY_SOURCE, layer);
    return values;
}

/// Renders the frame through a host, and holds what comes out against `expected`.
template <typename Depth>
testing::AssertionResult rendersAs(PixelView<const typename Depth::Channel> expected, Host& host, Instance& instance,
                                   const RandomFrame<Depth>& frame) {
    World input = worldOf(frame.source.view());
    World output = worldOf(frame.output.view());
    std::optional<World> layer;
    if (frame.layer) {
        layer = worldOf(frame.layer->view());
    }
    const World source = input.clone();
    const World before = output.clone();
    input.setOrigin(frame.originX, frame.originY);
    output.setOrigin(frame.originX, frame.originY);
    const auto fraction = static_cast<int>(frame.seed * 7919U % 65536U);  // only whole parts count
    const ParameterValues values = valuesOf(host, frame.settings, layer ? &*layer : nullptr, fraction);
    FrameRequest request;
    request.input = frame.inPlace ? &output : &input;
    request.output = &output;
    request.values = &values;
    request.time = static_cast<A_long>(frame.seed);
    request.downsampleX = {1, static_cast<A_u_long>(frame.seed % 3)};  // read by nobody, not even as a division by zero
    const host::CommandResult result = instance.render(request);
    if (!result.ok()) {
        return testing::AssertionFailure() << describe(result);
    }
    if (input.memory() != source.memory()) {
        return testing::AssertionFailure() << "the source was written";
    }
    return holds<typename Depth::Channel>(expected, before, output);
}

template <typename Depth>
class WholeFrames : public testing::Test {};
using Depths = testing::Types<Depth8, Depth16, DepthFloat>;
TYPED_TEST_SUITE(WholeFrames, Depths);

TYPED_TEST(WholeFrames, AreTheSameInBothHostsThePlainKernelAndTheModel) {
    Started afterEffects(Profile::afterEffects());
    Started premierePro(Profile::premierePro());
    Instance layerEffect(afterEffects);
    Instance clipEffect(premierePro);
    for (std::uint64_t seed = 3001; seed <= 3700; ++seed) {
        const auto frame = randomFrame<TypeParam>(seed, FrameFor::Hosts);
        const auto expected = modelled(frame);
        ASSERT_EQ(difference(viewOf(expected), renderedPlainly(frame).view(), currentTest()), "")
            << "plain kernel, " << frame.description();
        ASSERT_TRUE(rendersAs<TypeParam>(viewOf(expected), afterEffects, layerEffect, frame))
            << "After Effects, " << frame.description();
        ASSERT_TRUE(rendersAs<TypeParam>(viewOf(expected), premierePro, clipEffect, frame))
            << "Premiere Pro, " << frame.description();
    }
    EXPECT_EQ(afterEffects.ledger().breaches(), std::vector<std::string>{});
    EXPECT_EQ(premierePro.ledger().breaches(), std::vector<std::string>{});
}

TYPED_TEST(WholeFrames, AreTheSameOnSixteenThreads) {
    Started afterEffects(Profile::afterEffects());
    Started premierePro(Profile::premierePro());
    Instance shared(afterEffects);
    std::vector<std::thread> threads;
    for (std::uint64_t t = 0; t < 16; ++t) {
        threads.emplace_back([&, t] {
            Instance own(premierePro);  // Premiere Pro never renders one instance on two threads
            for (std::uint64_t seed = 4001 + t; seed <= 4128; seed += 16) {
                const auto frame = randomFrame<TypeParam>(seed, FrameFor::Hosts);
                const auto expected = renderedPlainly(frame);
                EXPECT_TRUE(rendersAs<TypeParam>(expected.view(), t % 2 == 0 ? afterEffects : premierePro,
                                                 t % 2 == 0 ? shared : own, frame))
                    << "thread " << t << ", " << frame.description();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// A small 8-bit frame that the defaults change.
struct SmallFrame {
    World input{host::Depth::Bits8, 40, 30};
    World output{host::Depth::Bits8, 40, 30};
    World layer{host::Depth::Bits8, 40, 30};
    ParameterValues values;
    FrameRequest request;

    explicit SmallFrame(const Host& host) : values(host.parameters()) {
        for (std::size_t i = 0; i < input.memory().size(); ++i) {
            input.memory()[i] = static_cast<std::byte>(i * i % 251);
        }
        values.setLayer(PARAM_INTENSITY_SOURCE, &layer);
        request.input = &input;
        request.output = &output;
        request.values = &values;
    }
    bool rendered() const {
        return std::any_of(output.memory().begin(), output.memory().end(),
                           [](std::byte b) { return b != std::byte{}; });
    }
};

using Calls = std::vector<std::string>;

enum class Stage { PreRender, SmartRender, PlainRender };

/// What the module calls when nothing goes wrong.
Calls normalCalls(Stage stage) {
    static constexpr std::string_view kCalls[] = {
        "AcquireSuite PF Handle Suite 2;PF Handle Suite.host_new_handle 240;PF Handle Suite.host_lock_handle;"
        "checkout_param 2;checkout_param 4;checkout_param 5;checkout_param 6;checkout_param 7;checkout_param 8;"
        "checkout_param 9;checkout_param 10;checkout_param 11;checkout_layer 3 id 3;checkout_layer 0 id 0;"
        "PF Handle Suite.host_unlock_handle;ReleaseSuite PF Handle Suite 2",
        "AcquireSuite PF Handle Suite 2;PF Handle Suite.host_lock_handle;checkout_layer_pixels 0;checkout_output;"
        "checkout_layer_pixels 3;AcquireSuite PF World Suite 2;PF World Suite.PF_GetPixelFormat;"
        "checkin_layer_pixels 3;checkin_layer_pixels 0;PF Handle Suite.host_unlock_handle;"
        "ReleaseSuite PF World Suite 2;ReleaseSuite PF Handle Suite 2",
        "checkout_param 2;AcquireSuite PF Pixel Format Suite 1;checkout_param 0;PF Pixel Format Suite.GetPixelFormat;"
        "checkin_param 2;ReleaseSuite PF Pixel Format Suite 1"};
    std::istringstream text{std::string(kCalls[static_cast<std::size_t>(stage)])};
    Calls calls;
    for (std::string call; std::getline(text, call, ';');) {
        calls.push_back(call);
    }
    return calls;
}

constexpr PF_Err kRefused = 99;
enum class Then {
    Stops,   ///< releases the suites it holds and calls nothing else
    GoesOn,  ///< makes all the other calls
};

/// One call refused with kRefused, and what becomes of the command.
struct Refusal {
    Stage stage;
    std::string call;
    PF_Err result;
    Then then;
    bool rendered = false;
};

/// The name that faults know a recorded call by: without its argument.
std::string nameOf(const std::string& call) {
    return call.starts_with("PF ") ? call.substr(0, call.find(' ', call.find('.'))) : call.substr(0, call.find(' '));
}

/// The calls of a command that ends with the last of these, refused: a missing suite is reported, held ones released.
Calls stoppedCalls(const Calls& made) {
    Calls calls = made;
    if (made.back().starts_with("AcquireSuite")) {
        calls.push_back("utils.ansi.sprintf");
    }
    for (auto call = made.rbegin() + 1; call < made.rend(); ++call) {
        if (call->starts_with("AcquireSuite")) {
            calls.push_back("ReleaseSuite" + call->substr(call->find(' ')));
        }
    }
    return calls;
}

class Protocol : public testing::Test {
protected:
    /// Sends the stage's command, recording its calls; the stages before it are sent first, unharmed.
    host::CommandResult send(Stage stage, SmallFrame& frame, auto harm) {
        Host& sender = stage == Stage::PlainRender ? premierePro : afterEffects;
        Instance instance(sender);
        sender.ledger().stopRecording();
        std::optional<host::PreRender> preRender;
        if (stage == Stage::SmartRender) {
            auto [result, outcome] = instance.preRender(frame.request);
            EXPECT_TRUE(result.ok());
            preRender.emplace(std::move(outcome));
        }
        harm(sender.faults());
        sender.ledger().startRecording();
        const host::CommandResult result = stage == Stage::PreRender ? instance.preRender(frame.request).first
                                           : stage == Stage::SmartRender
                                               ? instance.smartRender(*preRender, frame.request)
                                               : instance.plainRender(frame.request);
        calls = sender.ledger().stopRecording();
        sender.faults().clear();
        for (const host::OpenLoan& loan : sender.ledger().open()) {
            EXPECT_NE(loan.kind, host::Loan::Suite) << loan.name << " was not released";
        }
        return result;
    }
    host::CommandResult send(Stage stage, SmallFrame& frame) {
        return send(stage, frame, [](host::Faults&) {});
    }

    Started afterEffects{Profile::afterEffects()};
    Started premierePro{Profile::premierePro()};
    Calls calls;
};

TEST_F(Protocol, CallsInOrder) {
    for (const Stage stage : {Stage::PreRender, Stage::SmartRender, Stage::PlainRender}) {
        SmallFrame frame(stage == Stage::PlainRender ? premierePro : afterEffects);
        EXPECT_TRUE(send(stage, frame).ok());
        EXPECT_EQ(calls, normalCalls(stage));
        EXPECT_EQ(frame.rendered(), stage != Stage::PreRender);
    }
}

TEST_F(Protocol, EveryRefusalEndsAsItShould) {
    const Refusal refusals[] = {
        {Stage::PreRender, "AcquireSuite PF Handle Suite 2", A_Err_MISSING_SUITE, Then::Stops},
        {Stage::PreRender, "PF Handle Suite.host_new_handle 240", PF_Err_OUT_OF_MEMORY, Then::Stops},
        {Stage::PreRender, "PF Handle Suite.host_lock_handle", PF_Err_INTERNAL_STRUCT_DAMAGED, Then::Stops},
        {Stage::PreRender, "checkout_param 2", kRefused, Then::Stops},
        {Stage::PreRender, "checkout_param 11", kRefused, Then::Stops},
        {Stage::PreRender, "checkout_layer 3 id 3", kRefused, Then::Stops},
        {Stage::PreRender, "checkout_layer 0 id 0", kRefused, Then::GoesOn},
        {Stage::SmartRender, "AcquireSuite PF Handle Suite 2", A_Err_MISSING_SUITE, Then::Stops},
        {Stage::SmartRender, "PF Handle Suite.host_lock_handle", PF_Err_INTERNAL_STRUCT_DAMAGED, Then::Stops},
        {Stage::SmartRender, "checkout_layer_pixels 0", kRefused, Then::Stops},
        {Stage::SmartRender, "checkout_output", kRefused, Then::Stops},
        {Stage::SmartRender, "checkout_layer_pixels 3", kRefused, Then::Stops},
        {Stage::SmartRender, "AcquireSuite PF World Suite 2", A_Err_MISSING_SUITE, Then::Stops},
        {Stage::SmartRender, "PF World Suite.PF_GetPixelFormat", PF_Err_UNRECOGNIZED_PARAM_TYPE, Then::GoesOn},
        {Stage::SmartRender, "checkin_layer_pixels 3", PF_Err_NONE, Then::GoesOn, true},
        {Stage::SmartRender, "checkin_layer_pixels 0", kRefused, Then::GoesOn, true},
        {Stage::PlainRender, "checkout_param 2", kRefused, Then::Stops},
        {Stage::PlainRender, "AcquireSuite PF Pixel Format Suite 1", A_Err_MISSING_SUITE, Then::Stops},
        {Stage::PlainRender, "checkout_param 0", kRefused, Then::GoesOn},
        {Stage::PlainRender, "PF Pixel Format Suite.GetPixelFormat", PF_Err_NONE, Then::GoesOn, true},
        {Stage::PlainRender, "checkin_param 2", PF_Err_NONE, Then::GoesOn, true},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.call + " in stage " + std::to_string(static_cast<int>(refusal.stage)));
        const Calls normal = normalCalls(refusal.stage);
        const auto refused = std::find(normal.begin(), normal.end(), refusal.call);
        ASSERT_NE(refused, normal.end());
        const std::string name = nameOf(refusal.call);
        const auto skip = std::count_if(normal.begin(), refused, [&](const auto& c) { return nameOf(c) == name; });

        SmallFrame frame(refusal.stage == Stage::PlainRender ? premierePro : afterEffects);
        const host::CommandResult result = send(refusal.stage, frame, [&](host::Faults& faults) {
            faults.refuse(name, kRefused, static_cast<int>(skip), 1);
        });
        EXPECT_EQ(calls, refusal.then == Then::GoesOn ? normal : stoppedCalls(Calls(normal.begin(), refused + 1)));
        EXPECT_EQ(result.error, refusal.result) << describe(result);
        const bool missing = refusal.result == A_Err_MISSING_SUITE;
        EXPECT_EQ(result.message, missing ? "Not able to acquire AEFX Suite." : "");
        EXPECT_EQ(result.messageIsError, missing);
        EXPECT_EQ(frame.rendered(), refusal.rendered);
    }
}

TEST_F(Protocol, MissingPiecesEndQuietly) {
    SmallFrame frame(afterEffects);
    Calls nothingCheckedIn = normalCalls(Stage::SmartRender);
    nothingCheckedIn.erase(nothingCheckedIn.begin() + 4, nothingCheckedIn.end() - 1);
    EXPECT_TRUE(send(Stage::SmartRender, frame, [](host::Faults& faults) {
                    faults.answerNull("checkout_layer_pixels 0");
                }).ok());
    EXPECT_EQ(calls, nothingCheckedIn);
    EXPECT_TRUE(send(Stage::SmartRender, frame, [&](host::Faults&) { frame.request.output = nullptr; }).ok());
    EXPECT_EQ(calls, nothingCheckedIn);
    frame.request.output = &frame.output;
    EXPECT_EQ(send(Stage::SmartRender, frame,
                   [](host::Faults& faults) { faults.hideSuite("PF World Suite", host::Hidden::WithNull); })
                  .error,
              A_Err_MISSING_SUITE);
    EXPECT_FALSE(frame.rendered());

    SmallFrame clip(premierePro);
    clip.request.input = nullptr;
    EXPECT_TRUE(send(Stage::PlainRender, clip).ok());
    EXPECT_FALSE(clip.rendered());

    Instance instance(afterEffects);
    EXPECT_TRUE(instance.plainRender(frame.request).ok()) << "After Effects renders otherwise";
    EXPECT_FALSE(frame.rendered());
    auto [result, preRender] = instance.preRender(frame.request);
    ASSERT_TRUE(result.ok());
    void* const record = std::exchange(preRender.preRenderData(), nullptr);
    EXPECT_EQ(instance.smartRender(preRender, frame.request).error, PF_Err_INTERNAL_STRUCT_DAMAGED);
    preRender.preRenderData() = record;
}

TEST_F(Protocol, UnknownPixelFormatsAreAnErrorAndEverythingIsCheckedIn) {
    for (const Stage stage : {Stage::SmartRender, Stage::PlainRender}) {
        SmallFrame frame(stage == Stage::PlainRender ? premierePro : afterEffects);
        frame.request.pixelFormat = PF_PixelFormatCode("BGRA");
        // The first error wins over that of the input's check-in.
        EXPECT_EQ(
            send(stage, frame, [](host::Faults& faults) { faults.refuse("checkin_layer_pixels", kRefused); }).error,
            PF_Err_UNRECOGNIZED_PARAM_TYPE);
        EXPECT_EQ(calls, normalCalls(stage));
        EXPECT_FALSE(frame.rendered());
    }
}

TEST_F(Protocol, PreRenderKeepsTheValuesAndTheRectangles) {
    SmallFrame frame(afterEffects);
    frame.input.setOrigin(3, -4);
    frame.output.setOrigin(3, -4);
    frame.values.setPopup(PARAM_CHANNELS, 6);
    frame.values.setFixed(PARAM_GRID_WIDTH, 16 * 65536 + 49152);
    frame.values.setPopup(PARAM_CURVE, 6);
    frame.values.setFixed(PARAM_CURVE_PHASE, -90 * 65536);
    frame.values.setFloat(PARAM_CURVE_SMOOTHNESS, 2.5);
    frame.values.setFixed(PARAM_CURVE_PHASE_SPLIT, 720 * 65536);
    Instance instance(afterEffects);
    auto [result, preRender] = instance.preRender(frame.request);
    ASSERT_TRUE(result.ok());
    for (const PF_LRect& rect : {preRender.resultRect(), preRender.maxResultRect()}) {
        EXPECT_EQ((std::vector{rect.left, rect.top, rect.right, rect.bottom}), (std::vector{3, -4, 43, 26}));
    }
    const std::vector<std::byte> record = instance.bytesOf(static_cast<PF_Handle>(preRender.preRenderData()));
    ASSERT_EQ(record.size(), sizeof(ParamValues));
    ParamValues stored{};
    std::memcpy(&stored, record.data(), sizeof stored);
    EXPECT_EQ(stored.settings.channels, 5);
    EXPECT_EQ(stored.settings.mosaicIntensity, 0.25);
    EXPECT_EQ(stored.settings.gridWidth, 16);
    EXPECT_EQ(stored.settings.gridHeight, 9);
    EXPECT_EQ(stored.settings.maxIterations, 32);
    EXPECT_EQ(stored.settings.curveType, 5);
    EXPECT_EQ(stored.settings.curvePhase, -5898240);
    EXPECT_EQ(stored.settings.curveSmoothness, 2.5);
    EXPECT_EQ(stored.settings.curvePhaseSplit, 47185920);
    EXPECT_EQ(stored.intensityLayer, nullptr);
}

TEST_F(Protocol, ChoicesThatDoNotExistAreSafe) {
    SmallFrame frame(afterEffects);
    Instance instance(afterEffects);
    const auto stored = [&] {
        auto [result, preRender] = instance.preRender(frame.request);
        EXPECT_TRUE(result.ok());
        ParamValues values{};
        std::memcpy(&values, instance.bytesOf(static_cast<PF_Handle>(preRender.preRenderData())).data(), sizeof values);
        return values.settings;
    };
    constexpr A_long kLowest = std::numeric_limits<A_long>::min();
    frame.values.setPopup(PARAM_CHANNELS, kLowest);
    frame.values.setPopup(PARAM_CURVE, kLowest);
    EXPECT_EQ(stored().channels, std::numeric_limits<A_long>::max());
    EXPECT_EQ(stored().curveType, std::numeric_limits<A_long>::max());
    EXPECT_TRUE(instance.render(frame.request).ok());
    EXPECT_FALSE(frame.rendered()) << "no channel is chosen";

    frame.values.setPopup(PARAM_CHANNELS, 1);
    const auto renderedWith = [&](A_long curve) {
        frame.values.setPopup(PARAM_CURVE, curve);
        EXPECT_TRUE(instance.render(frame.request).ok());
        return frame.output.memory().clone();
    };
    EXPECT_TRUE(renderedWith(kLowest) == renderedWith(7));
}

TEST_F(Protocol, RenderUsesTheValuesOfItsPreRender) {
    SmallFrame frame(afterEffects);
    Instance instance(afterEffects);
    const auto renderedWith = [&](A_long channelsAtPreRender, A_long channelsAtRender) {
        frame.values.setPopup(PARAM_CHANNELS, channelsAtPreRender);
        auto [asked, prepared] = instance.preRender(frame.request);
        frame.values.setPopup(PARAM_CHANNELS, channelsAtRender);
        EXPECT_TRUE(asked.ok() && instance.smartRender(prepared, frame.request).ok());
        return frame.output.memory().clone();
    };
    const auto alphaOnly = renderedWith(6, 6);
    EXPECT_TRUE(renderedWith(6, 1) == alphaOnly);
    EXPECT_FALSE(renderedWith(1, 6) == alphaOnly);
}

}  // namespace
}  // namespace quorvel::test
