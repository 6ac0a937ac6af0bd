// SPDX-License-Identifier: MIT
// The reference host's own behaviour: what it owns, what it notices, what it refuses.
#include "host/host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

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

TEST(ModuleLoading, SaysWhatIsWrongWithAFile) {
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    const std::filesystem::path notAModule = folder / "quorvel-not-a-module.so";
    std::ofstream(notAModule) << "plain text";
    EXPECT_EQ(messageOf(folder / "quorvel-missing.so"), (folder / "quorvel-missing.so").string() + ": no such module");
    EXPECT_NE(messageOf(folder).find("not a regular file"), std::string::npos);
    EXPECT_EQ(messageOf(notAModule).find(notAModule.string() + ": not a loadable module: "), 0U);
    std::filesystem::remove(notAModule);
}

TEST(ModuleLoading, EveryHostHasACopyOfItsOwn) {
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
    ASSERT_EQ(ledger.breaches().size(), 1U);
    EXPECT_NE(ledger.breaches()[0].find("B 1"), std::string::npos);
    ledger.forgive(Loan::Suite, "A 1", 1);
    EXPECT_TRUE(ledger.open().empty());
    EXPECT_EQ(ledger.forgiven(), (std::vector<OpenLoan>{{Loan::Suite, "A 1", 1}}));
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
