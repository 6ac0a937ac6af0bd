// SPDX-License-Identifier: MIT
// The effect's own controls: what they draw, when, and what they leave behind when the host fails them.
#include "host/panel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/failing_memory.h"
#include "tests/support/graph_model.h"

namespace quorvel::test {
namespace {

using host::Faults;
using host::Hidden;
using host::Loan;
using host::Profile;
using host::Surface;

enum Id : A_long { kChannels = 1, kIntensity = 2, kHeader = 7, kCurve = 8, kPhase = 9, kSmoothness = 10, kGraph = 11 };
constexpr A_long kSplit = 12;
constexpr PF_Err kRefused = 99;
constexpr A_long kUntouched = 0x40;
constexpr PF_ParamIndex kNowhere = -1;

constexpr int kGraphLeft = 7;
constexpr int kGraphTop = 30;
constexpr int kHeaderLeft = 3;
constexpr int kHeaderTop = 5;
const host::Panel::Frames kFrames{{kHeaderLeft, kHeaderTop, kHeaderLeft + 320, kHeaderTop + 17},
                                  {kGraphLeft, kGraphTop, kGraphLeft + 50, kGraphTop + 50}};

const std::vector<Profile> kBothHosts = {Profile::afterEffects(), Profile::premierePro()};

/// A host with one instance and its panel.
struct Stage {
    explicit Stage(Profile profile = Profile::afterEffects()) : host(QUORVEL_MODULE, profile) { host.start(); }

    PF_ParamIndex indexOf(A_long id) {
        const auto& declared = host.parameters();
        const auto found =
            std::find_if(declared.begin() + 1, declared.end(), [id](const auto& p) { return p.id() == id; });
        return found == declared.end() ? kNowhere : found->index;
    }
    PF_EventExtra drawEvent(PF_ParamIndex index, PF_EffectArea area) {
        PF_EventExtra extra{};
        extra.contextH = panel().context();
        extra.e_type = PF_Event_DRAW;
        extra.effect_win = {index, area, kFrames.control, kFrames.title, 0};
        extra.evt_out_flags = kUntouched;
        return extra;
    }
    std::vector<std::string> callsDuring(const std::function<void()>& action) {
        host.ledger().startRecording();
        action();
        return host.ledger().stopRecording();
    }
    host::ParameterValues& values() { return values_ ? *values_ : values_.emplace(host.parameters()); }
    host::Panel& panel() { return panel_ ? *panel_ : panel_.emplace(instance, values()); }

    host::Host host;
    host::Instance instance{host};

private:
    std::optional<host::ParameterValues> values_;
    std::optional<host::Panel> panel_;
};

void set(host::ParameterValues& values, const model::Settings& settings) {
    values.setPopup(kChannels, settings.channels + 1);
    values.setPopup(kCurve, settings.curve + 1);
    values.setFixed(kPhase, settings.phase);
    values.setFloat(kSmoothness, settings.smoothness);
    values.setFixed(kSplit, settings.split);
}

constexpr int degrees(double angle) {
    return static_cast<int>(angle * 65536);
}

std::string nameOf(const model::Settings& s) {
    return "channels " + std::to_string(s.channels) + ", curve " + std::to_string(s.curve) + ", phase " +
           std::to_string(s.phase) + ", smoothness " + std::to_string(s.smoothness) + ", split " +
           std::to_string(s.split);
}

/// The first pixel of the surface that is not the model's, as text; empty when all are.
std::string difference(const Surface& surface, const model::Graph& graph) {
    for (int y = 0; y < surface.height(); ++y) {
        for (int x = 0; x < surface.width(); ++x) {
            const bool inside = x >= kGraphLeft && y >= kGraphTop && x < kGraphLeft + 50 && y < kGraphTop + 50;
            const int grey = inside ? graph.grey(x - kGraphLeft, y - kGraphTop) : 0;
            const PF_Pixel8& pixel = surface.at(x, y);
            if (pixel.alpha != grey || pixel.red != grey || pixel.green != grey || pixel.blue != grey) {
                return std::to_string(x) + "," + std::to_string(y) + ": " + std::to_string(pixel.alpha) + " for " +
                       std::to_string(grey);
            }
        }
    }
    return {};
}

TEST(Surface, LaysImagesOverWhatIsThere) {
    const host::DrawImage image{2, 1, {10, 20, 30, 255, 100, 100, 100, 64}};
    Surface clear(3, 2);
    clear.draw(image, 0.5F, 0.49F, 1.0F);  // halves to the right
    EXPECT_EQ(clear.at(0, 0).alpha, 0);
    EXPECT_EQ(clear.at(1, 0).red, 30);
    EXPECT_EQ(clear.at(1, 0).blue, 10);
    EXPECT_EQ(clear.at(2, 0).green, 100);
    EXPECT_EQ(clear.at(2, 0).alpha, 64);
    Surface grey(1, 1, {255, 200, 200, 200});
    grey.draw(image, -1.0F, 0.0F, 1.0F);
    EXPECT_EQ(grey.at(0, 0).red, 175);  // (64 * 100 + 191 * 200) / 255
    EXPECT_EQ(grey.at(0, 0).alpha, 255);
    Surface thin(1, 1, {64, 200, 0, 0});
    thin.draw(image, -1.0F, 0.0F, 0.5F);
    EXPECT_EQ(thin.at(0, 0).alpha, 88);  // 32 + 64 * 223 / 255
    EXPECT_EQ(thin.at(0, 0).red, 164);   // weights 32 * 255 and 64 * 223
    for (const float far : {-2.0F, 3.0F, 1e30F, -1e30F, std::nanf("")}) {
        Surface untouched(3, 2);
        untouched.draw(image, far, 0.0F, 1.0F);
        untouched.draw(image, 0.0F, far, 1.0F);
        EXPECT_EQ(untouched.world().memory(), Surface(3, 2).world().memory()) << far;
    }
}

TEST(Graph, IsThePlainModelPixelForPixel) {
    for (const Profile& profile : kBothHosts) {
        Stage stage(profile);
        const auto check = [&](const model::Settings& settings) {
            set(stage.values(), settings);
            Surface surface(60, 90);
            const auto result = stage.panel().draw(stage.indexOf(kGraph), PF_EA_CONTROL, kFrames, surface);
            ASSERT_TRUE(result.handled()) << nameOf(settings);
            ASSERT_EQ(difference(surface, model::Graph(settings)), "") << nameOf(settings);
        };
        model::Settings settings;
        for (settings.curve = 0; settings.curve < 6; ++settings.curve) {
            for (const double phase : {0.0, 90.0, -3.75, -360.0, -356.25, 1234.5, -32768.0}) {
                settings.phase = degrees(phase);
                for (const double smoothness : {0.0, 0.4, 3.0, 15.75, 16.0}) {
                    settings.smoothness = smoothness;
                    for (settings.channels = 0; settings.channels < 6; ++settings.channels) {
                        for (const double split : {0.0, 37.5, -765.0}) {
                            settings.split = degrees(split);
                            check(settings);
                        }
                    }
                }
            }
        }
        EXPECT_TRUE(stage.host.ledger().open().empty());
        EXPECT_TRUE(stage.host.ledger().breaches().empty());
    }
}

TEST(Graph, OfChoicesThatDoNotExistIsOneCurveAlongTheBottom) {
    for (const A_long choice : {std::numeric_limits<A_long>::min(), 0, 7, std::numeric_limits<A_long>::max()}) {
        Stage stage;
        stage.values().setPopup(kCurve, choice);
        stage.values().setPopup(kChannels, choice);
        stage.values().setFixed(kSplit, degrees(40));
        Surface surface(60, 90);
        ASSERT_TRUE(stage.panel().draw(stage.indexOf(kGraph), PF_EA_CONTROL, kFrames, surface).handled()) << choice;
        EXPECT_EQ(difference(surface, model::Graph({.curve = -1})), "") << choice;
    }
}

TEST(Events, DrawOnlyWhereTheControlsAre) {
    struct Case {
        Profile profile;
        bool graph;
        PF_EffectArea header;
    };
    const Case cases[] = {{Profile::afterEffects(13, 8), false, PF_EA_NONE},
                          {Profile::afterEffects(13, 9), true, PF_EA_PARAM_TITLE},
                          {Profile::afterEffects(13, 22), true, PF_EA_PARAM_TITLE},
                          {Profile::afterEffects(13, 23), true, PF_EA_CONTROL},
                          {Profile::afterEffects(13, 27), true, PF_EA_PARAM_TITLE},
                          {Profile::afterEffects(14, 0), true, PF_EA_PARAM_TITLE},
                          {Profile::premierePro(), true, PF_EA_PARAM_TITLE},
                          {Profile::premierePro(13, 23), true, PF_EA_CONTROL}};
    for (const Case& wanted : cases) {
        Stage stage(wanted.profile);
        SCOPED_TRACE(std::to_string(wanted.profile.apiVersion.minor));
        // A banner that was not declared counts as index 0, the input layer, which no host draws on its own.
        const PF_ParamIndex header = std::max(0, stage.indexOf(kHeader));
        std::vector<PF_ParamIndex> indices = {-5, 99};
        for (PF_ParamIndex i = 0; i < stage.values().count(); ++i) {
            indices.push_back(i);
        }
        for (const PF_ParamIndex index : indices) {
            for (PF_EffectArea area = -1; area <= 3; ++area) {
                const bool graph = wanted.graph && index == stage.indexOf(kGraph) && area == PF_EA_CONTROL;
                const bool banner = wanted.header != PF_EA_NONE && index == header && area == wanted.header;
                PF_EventExtra extra = stage.drawEvent(index, area);
                Surface surface(400, 100);
                host::EventResult result;
                const auto calls = stage.callsDuring([&] { result = stage.panel().sendEvent(extra, &surface); });
                EXPECT_TRUE(result.command.ok());
                EXPECT_EQ(result.outFlags, graph || banner ? PF_EO_HANDLED_EVENT : kUntouched) << index << ' ' << area;
                const std::string place = graph || area == PF_EA_CONTROL ? "7,30" : "3,5";
                EXPECT_EQ(std::count(calls.begin(), calls.end(), "DRAWBOT Surface Suite.DrawImage at " + place),
                          graph || banner ? 1 : 0)
                    << index << ' ' << area;
                EXPECT_EQ(calls.empty(), !graph && !banner);
            }
        }
        for (const PF_EventType type : {-1, 0, 1, 3, 5, 6, 7, 8, 9, 10, 11, 77}) {
            for (const A_long id : {kHeader, kGraph}) {
                PF_EventExtra extra = stage.drawEvent(stage.indexOf(id), PF_EA_CONTROL);
                extra.e_type = type;
                EXPECT_TRUE(stage.callsDuring([&] { (void)stage.panel().sendEvent(extra); }).empty());
                EXPECT_EQ(extra.evt_out_flags, kUntouched);
            }
        }
        EXPECT_TRUE(stage.host.ledger().breaches().empty());
    }
}

TEST(Banner, IsOnePictureWhereverItStands) {
    const auto drawn = [](Profile profile, PF_EffectArea area) {
        Stage stage(profile);
        Surface surface(330, 60);
        EXPECT_TRUE(stage.panel().draw(stage.indexOf(kHeader), area, {{4, 2, 0, 0}, {4, 2, 0, 0}}, surface).handled());
        return surface;
    };
    const Surface title = drawn(Profile::afterEffects(), PF_EA_PARAM_TITLE);
    EXPECT_EQ(title.world().memory(), drawn(Profile::afterEffects(13, 23), PF_EA_CONTROL).world().memory());
    int visible = 0;
    for (int y = 0; y < title.height(); ++y) {
        for (int x = 0; x < title.width(); ++x) {
            const bool inside = x >= 4 && x < 324 && y >= 2 && y < 19;
            EXPECT_TRUE(inside || title.at(x, y).alpha == 0) << x << ',' << y;
            visible += title.at(x, y).alpha != 0 ? 1 : 0;
        }
    }
    EXPECT_GT(visible, 320 * 17 / 2) << "of the banner's 320 x 17 pixels";
}

TEST(Banner, HasTheColoursOfItsDrawing) {
    Stage stage;
    Surface surface(320, 17);
    EXPECT_TRUE(stage.panel().draw(stage.indexOf(kHeader), PF_EA_PARAM_TITLE, {}, surface).handled());
    struct Spot {
        int x, y;
        int blue, green, red, alpha;
    };
    const Spot spots[] = {
        {0, 0, 0x7A, 0x2B, 0x1D, 255},                               // the first hue, #1d2b7a
        {65, 0, 154, 42, 71, 255},                                   // 93 % of the way to the second, #4a2a9c
        {72, 3, 255, 255, 255, 255},                                 // the l of the name: two columns of white
        {73, 13, 255, 255, 255, 255},  {28, 7, 255, 255, 255, 255},  // the stem of the u
        {312, 5, 0, 0, 0, 0},                                        // where nothing is left of the strip
        {316, 1, 0, 0, 0, 0},
    };
    for (const Spot& spot : spots) {
        const PF_Pixel8& pixel = surface.at(spot.x, spot.y);
        SCOPED_TRACE(std::to_string(spot.x) + ", " + std::to_string(spot.y));
        EXPECT_EQ(pixel.alpha, spot.alpha);
        if (spot.alpha != 0) {
            EXPECT_NEAR(pixel.blue, spot.blue, 1);
            EXPECT_NEAR(pixel.green, spot.green, 1);
            EXPECT_NEAR(pixel.red, spot.red, 1);
        }
    }
    // The strip fades towards the right, in steps of opacity; its orange and yellow are as bright as ever.
    const struct {
        int x, y;
        double opacity;
    } fading[] = {{268, 9, 1.0}, {292, 13, 0.85}, {300, 5, 0.65}, {308, 1, 0.45}, {316, 5, 0.25}, {317, 14, 0.1}};
    for (const auto& [x, y, opacity] : fading) {
        const PF_Pixel8& pixel = surface.at(x, y);
        EXPECT_NEAR(pixel.alpha, opacity * 255.0, 0.6) << x << ", " << y;
        EXPECT_GE(pixel.red, 240) << x << ", " << y;
        EXPECT_LE(pixel.blue, pixel.green) << x << ", " << y;
    }
}

/// What each failing step of a drawing comes to, for both controls.
TEST(Drawing, EveryFailingStepGivesBackWhatItTook) {
    struct Case {
        std::function<void(Faults&)> fail;
        PF_Err error;
        std::size_t breaches = 0;  ///< suites given back that were never had, objects that are null
        bool drawn = false;
        bool suiteMessage = false;
    };
    const auto hide = [](const char* suite, Hidden how) {
        return [=](Faults& faults) { faults.hideSuite(suite, how); };
    };
    const auto refuse = [](const char* call) { return [=](Faults& faults) { faults.refuse(call, kRefused); }; };
    const auto null = [](const char* call) { return [=](Faults& faults) { faults.answerNull(call); }; };
    constexpr char kReference[] = "PF Effect Custom UI Suite.PF_GetDrawingReference";
    constexpr char kSupplier[] = "DRAWBOT Draw Suite.GetSupplier";
    constexpr char kSurface[] = "DRAWBOT Draw Suite.GetSurface";
    constexpr char kNewImage[] = "DRAWBOT Supplier Suite.NewImageFromBuffer";
    constexpr char kDraw[] = "DRAWBOT Surface Suite.DrawImage";
    constexpr char kRelease[] = "DRAWBOT Supplier Suite.ReleaseObject";
    std::vector<Case> cases = {
        {refuse(kReference), kRefused},
        {refuse(kSupplier), kRefused},
        {refuse(kSurface), kRefused},
        {refuse(kNewImage), kRefused},
        {refuse(kDraw), kRefused},
        {refuse(kRelease), kRefused, 0, true},
        {refuse("ReleaseSuite"), PF_Err_NONE, 0, true},
        {null(kReference), PF_Err_BAD_CALLBACK_PARAM, 1},
        {null(kSupplier), PF_Err_BAD_CALLBACK_PARAM, 1},
        {null(kSurface), PF_Err_BAD_CALLBACK_PARAM, 1},
        {null(kNewImage), PF_Err_BAD_CALLBACK_PARAM, 1},
        {[&](Faults& faults) {
             faults.refuse(kDraw, 98);
             faults.refuse(kRelease, kRefused);
         },
         98},
    };
    for (const Hidden how : {Hidden::WithError, Hidden::WithNull}) {
        cases.push_back({hide("DRAWBOT Draw Suite", how), 516, 4, false, true});
        cases.push_back({hide("DRAWBOT Supplier Suite", how), 516, 3, false, true});
        cases.push_back({hide("DRAWBOT Surface Suite", how), 516, 2, false, true});
        cases.push_back({hide("DRAWBOT Path Suite", how), 516, 1, false, true});
        cases.push_back({hide("PF Effect Custom UI Suite", how), 516, 0, false, true});
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        for (const A_long id : {kGraph, kHeader}) {
            SCOPED_TRACE("case " + std::to_string(i) + ", control " + std::to_string(id));
            const Case& wanted = cases[i];
            Stage stage;
            PF_EventExtra extra = stage.drawEvent(stage.indexOf(id), id == kGraph ? PF_EA_CONTROL : PF_EA_PARAM_TITLE);
            wanted.fail(stage.host.faults());
            Surface surface(400, 100);
            const host::EventResult result = stage.panel().sendEvent(extra, &surface);
            EXPECT_EQ(result.command.error, wanted.error);
            EXPECT_EQ(result.command.exception, "");
            EXPECT_EQ(result.outFlags, wanted.error == PF_Err_NONE ? PF_EO_HANDLED_EVENT : kUntouched);
            EXPECT_EQ(surface.world().memory() != Surface(400, 100).world().memory(), wanted.drawn);
            EXPECT_EQ(result.command.message, wanted.suiteMessage ? "Not able to acquire AEFX Suite." : "");
            EXPECT_EQ(result.command.messageIsError, wanted.suiteMessage);
            EXPECT_TRUE(stage.host.ledger().open().empty());
            EXPECT_EQ(stage.host.ledger().breaches().size(), wanted.breaches);
        }
    }
}

TEST(Drawing, OddEventsAndHostsDoNoHarm) {
    Stage stage;
    const PF_ParamIndex graph = stage.indexOf(kGraph);
    PF_EventExtra extra = stage.drawEvent(graph, PF_EA_CONTROL);
    Surface surface(60, 90);
    // Without parameters the values are checked out from the host.
    EXPECT_TRUE(stage.panel().sendEvent(extra, &surface, false).handled());
    EXPECT_EQ(difference(surface, model::Graph({})), "");
    stage.host.faults().refuse("checkout_param", kRefused);
    EXPECT_EQ(stage.panel().sendEvent(extra, &surface, false).command.error, kRefused);
    stage.host.faults().clear();
    EXPECT_EQ(stage.panel().sendEvent(extra).command.error, PF_Err_BAD_CALLBACK_PARAM);  // nothing to draw on
    extra.contextH = nullptr;
    EXPECT_EQ(stage.panel().sendEvent(extra, &surface).command.error, PF_Err_BAD_CALLBACK_PARAM);
    // A host without any suites at all.
    stage.host.inData().pica_basicP = nullptr;
    const host::EventResult bare = stage.panel().sendEvent(extra, &surface);
    EXPECT_EQ(bare.command.error, 516);
    EXPECT_EQ(bare.command.message, "Not able to release AEFX Suite.");
    EXPECT_TRUE(stage.host.ledger().open().empty());
}

#if !defined(_WIN32)  // there, a module has allocation functions of its own
TEST(Drawing, ShortOfMemoryLeavesTheControlEmpty) {
    // The picture and the canvas are 10,000 bytes each. A graph that finds no canvas keeps its picture, by design.
    for (const int granted : {0, 1, 2}) {
        for (const bool failing : {false, true}) {
            Stage stage;
            PF_EventExtra extra = stage.drawEvent(stage.indexOf(kGraph), PF_EA_CONTROL);
            if (failing) {
                stage.host.faults().refuse("DRAWBOT Draw Suite.GetSurface", kRefused);
            }
            Surface surface(60, 90);
            FailingMemory memory(10000, granted);
            const host::EventResult result = stage.panel().sendEvent(extra, &surface);
            const bool drawn = granted == 2 && !failing;
            EXPECT_EQ(memory.refused(), granted < 2);
            EXPECT_EQ(memory.takeLeftBlocks(), granted == 1 ? 1 : 0);
            EXPECT_EQ(result.command.error, failing ? kRefused : PF_Err_NONE);
            EXPECT_EQ(result.outFlags, failing ? kUntouched : PF_EO_HANDLED_EVENT);
            EXPECT_EQ(surface.world().memory() != Surface(60, 90).world().memory(), drawn);
            EXPECT_TRUE(stage.host.ledger().open().empty());
        }
    }
}
#endif

TEST(Clicks, ThirtyOneTicksApartAreADoubleClick) {
    struct Click {
        A_long id;
        A_u_long when;
        bool about;
    };
    const std::vector<std::vector<Click>> sequences = {
        {{kHeader, 1000, false}, {kHeader, 1031, true}},
        {{kHeader, 1000, false}, {kHeader, 1032, false}, {kHeader, 1063, true}},
        {{kHeader, 1000, false}, {kHeader, 999, false}},
        {{kHeader, 1000, false}, {kHeader, 1010, true}, {kHeader, 1020, false}, {kHeader, 1030, true}},
        {{kHeader, 0xFFFFFFF0, false}, {kHeader, 15, true}},
        {{kHeader, 0xFFFFFFF0, false}, {kHeader, 16, false}},
        {{kHeader, 30, true}, {kHeader, 31, false}, {kHeader, 40, true}},
        {{kHeader, 31, false}},
        {{kGraph, 5, false}, {kGraph, 6, false}, {kIntensity, 7, false}},
        {{kHeader, 1000, false}, {kGraph, 1001, false}, {kIntensity, 1002, false}, {kHeader, 1031, true}},
    };
    for (std::size_t i = 0; i < sequences.size(); ++i) {
        for (const PF_EffectArea area : {PF_EA_PARAM_TITLE, PF_EA_CONTROL, PF_EA_NONE}) {
            Stage stage;
            const std::string about = stage.host.about().message;
            for (const Click& click : sequences[i]) {
                PF_EventExtra extra = stage.drawEvent(stage.indexOf(click.id), area);
                extra.e_type = PF_Event_DO_CLICK;
                extra.u.do_click.when = click.when;
                host::Panel another(stage.instance, stage.values());  // the time of the last click is everyone's
                const host::EventResult result = another.sendEvent(extra, nullptr, area != PF_EA_NONE);
                EXPECT_TRUE(result.command.ok());
                EXPECT_EQ(result.command.message, click.about ? about : "") << "sequence " << i << " at " << click.when;
                EXPECT_FALSE(result.command.messageIsError);
                EXPECT_EQ(result.outFlags, kUntouched);
            }
        }
    }
}

TEST(Clicks, OnIndexZeroAreTheBannersWhereItIsNotDeclared) {
    Stage premierePro(Profile::premierePro());
    EXPECT_EQ(premierePro.panel().click(0, 1000).command.message, "");
    EXPECT_EQ(premierePro.panel().click(0, 1031).command.message, premierePro.host.about().message);
}

TEST(EnabledState, OfTheSplitFollowsChannels) {
    for (const Profile& profile : {Profile::afterEffects(), Profile::afterEffects(13, 8), Profile::premierePro()}) {
        Stage stage(profile);
        const PF_ParamIndex split = stage.indexOf(kSplit);
        PF_ParamDef& def = stage.values().at(split);
        const std::string call = "PF Param Utils Suite.PF_UpdateParamUI " + std::to_string(split) + " ui_flags ";
        bool byUser = false;
        for (const A_long choice : {1, 2, 6, 3, 0, 4, 7, 5, std::numeric_limits<A_long>::min()}) {
            stage.values().setPopup(kChannels, choice);
            const bool enabled = choice >= 2 && choice <= 5;
            byUser = !byUser;
            const auto send = [&] {
                EXPECT_TRUE(
                    (byUser ? stage.panel().userChanged(stage.indexOf(kChannels)) : stage.panel().update()).ok());
            };
            const auto calls = stage.callsDuring(send);
            EXPECT_EQ(std::count(calls.begin(), calls.end(), call + (enabled ? "0" : "32")), 1) << choice;
            EXPECT_TRUE(stage.callsDuring(send).empty()) << "an update that changes nothing calls nobody";
            for (PF_ParamIndex index = 1; index < stage.values().count(); ++index) {
                EXPECT_EQ(stage.panel().enabled(index), enabled || index != split) << choice << ' ' << index;
            }
        }
        def.ui_flags = PF_PUI_DISABLED | PF_PUI_INVISIBLE;  // the whole word counts
        EXPECT_FALSE(stage.callsDuring([&] { EXPECT_TRUE(stage.panel().update().ok()); }).empty());
        EXPECT_EQ(def.ui_flags, PF_PUI_DISABLED);
        EXPECT_TRUE(stage.host.ledger().open().empty());
        EXPECT_EQ(stage.host.ledger().breaches(), std::vector<std::string>{});  // the definition was the panel's own
    }
}

TEST(EnabledState, AndAHostThatFails) {
    for (const Hidden how : {Hidden::WithError, Hidden::WithNull}) {
        Stage stage;
        stage.host.faults().hideSuite("PF Param Utils Suite", how);
        EXPECT_EQ(stage.panel().update().error, PF_Err_BAD_CALLBACK_PARAM);
        EXPECT_TRUE(stage.panel().enabled(stage.indexOf(kSplit)));
    }
    Stage stage;
    stage.host.faults().refuse("PF Param Utils Suite.PF_UpdateParamUI", kRefused);
    EXPECT_EQ(stage.panel().update().error, kRefused);
    EXPECT_EQ(stage.values().byId(kSplit).ui_flags, PF_PUI_DISABLED);  // changed by then, but not shown
    EXPECT_TRUE(stage.panel().enabled(stage.indexOf(kSplit)));
    EXPECT_TRUE(stage.host.ledger().open().empty());
}

TEST(Panels, DrawAloneAndBesideEightRenderThreadsAlike) {
    for (const Profile& profile : kBothHosts) {
        host::Host host(QUORVEL_MODULE, profile);
        host.start();
        host::Instance first(host);
        host::Instance second(host);
        host::ParameterValues firstValues(host.parameters());
        host::ParameterValues secondValues(host.parameters());
        set(firstValues, {.channels = 1, .curve = 3, .phase = degrees(45), .smoothness = 2.5, .split = degrees(60)});
        set(secondValues, {.channels = 4, .curve = 2, .phase = degrees(-10), .split = degrees(20)});
        const PF_ParamIndex graph = firstValues.indexOf(kGraph);
        const auto drawBoth = [&] {
            Surface surface(60, 180);
            host::Panel left(first, firstValues);
            host::Panel right(second, secondValues);
            EXPECT_TRUE(left.update().ok() && right.update().ok());
            EXPECT_TRUE(left.draw(graph, PF_EA_CONTROL, kFrames, surface).handled());
            EXPECT_TRUE(right.draw(graph, PF_EA_CONTROL, {{}, {5, 100, 55, 150}}, surface).handled());
            return surface.world().memory().clone();
        };

        const host::World input(host::Depth::Bits8, 64, 48);
        const host::ParameterValues frameValues = firstValues;
        std::atomic<bool> drawn = false;
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&, t] {
                host::World output(host::Depth::Bits8, 64, 48);
                host::FrameRequest request;
                request.input = &input;
                request.output = &output;
                request.values = &frameValues;
                do {
                    EXPECT_TRUE((t % 2 == 0 ? first : second).render(request).ok());
                } while (!drawn);
            });
        }
        std::vector<host::ZeroedMemory> beside;
        for (int i = 0; i < 20; ++i) {
            beside.push_back(drawBoth());
        }
        drawn = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        const host::ZeroedMemory alone = drawBoth();
        EXPECT_EQ(std::count(beside.begin(), beside.end(), alone), 20);
        EXPECT_EQ(host.ledger().breaches(), std::vector<std::string>{});
    }
}

}  // namespace
}  // namespace quorvel::test
