// SPDX-License-Identifier: MIT
// Output files that appear complete or not at all, whatever happens while they are written.
#include "cli/staged_file.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cli/exit_status.h"
#include "tests/support/program.h"

namespace {

bool syncFails = false;

}  // namespace

/// Replaces the library's own in this program, so that a disk can fail on demand.
extern "C" int fsync(int) {
    errno = EIO;
    return syncFails ? -1 : 0;
}

namespace quorvel::test {
namespace {

namespace fs = std::filesystem;
using cli::Existing;
using cli::StagedFile;

class StagedFiles : public ProgramTest {
protected:
    void put(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }

    static void writeText(StagedFile& file, const std::string& text) {
        file.write({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
    }
    void replace(const std::string& name, const std::string& text) const {
        StagedFile file(path(name), Existing::Replace);
        writeText(file, text);
        file.commit();
    }
    /// The message of the Failure that this ends with; empty when it does not.
    static std::string failureOf(auto work) {
        try {
            work();
            return {};
        } catch (const cli::Failure& failure) {
            return failure.what();
        }
    }
    /// The status of a child process that does this and then ends with 0.
    static int statusOfChild(auto work) {
        const pid_t child = fork();
        if (child == 0) {
            work();
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    }
    static struct stat statOf(const std::string& file) {
        struct stat status {};
        EXPECT_EQ(::stat(file.c_str(), &status), 0) << file;
        return status;
    }
};

TEST_F(StagedFiles, TakeOverTheModeAndOwnerOfTheFileThatTheyReplace) {
    put("private.png", "old");
    ASSERT_EQ(::chmod(path("private.png").c_str(), 0640), 0);
    const bool administrator = ::geteuid() == 0;
    if (administrator) {
        ASSERT_EQ(::chown(path("private.png").c_str(), 1234, 2345), 0);
    }
    {
        const StagedFile staged(path("private.png"), Existing::Replace);
        EXPECT_EQ(statOf(staged.path()).st_mode & 0777U, 0640U) << "while it is written, too";
    }
    EXPECT_EQ(contents(path("private.png")), "old") << "never committed";
    replace("private.png", "new");
    EXPECT_EQ(contents(path("private.png")), "new");
    EXPECT_EQ(statOf(path("private.png")).st_mode & 07777U, 0640U);
    if (administrator) {
        EXPECT_EQ(statOf(path("private.png")).st_uid, 1234U);
        EXPECT_EQ(statOf(path("private.png")).st_gid, 2345U);
    }

    for (const mode_t hidden : {mode_t{027}, mode_t{002}}) {
        const mode_t mask = ::umask(hidden);
        replace("fresh.png", "new");
        ::umask(mask);
        EXPECT_EQ(statOf(path("fresh.png")).st_mode & 07777U, 0666U & ~hidden)
            << "a file of its own has the usual mode";
        fs::remove(path("fresh.png"));
    }
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"private.png"});
}

// As a user who is in the file's group, but does not own the file.
TEST_F(StagedFiles, KeepTheGroupWhereTheOwnerCannotBeKept) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the administrator can become another user";
    }
    constexpr gid_t kShared = 2345;
    constexpr uid_t kOwner = 1234, kWriter = 1235;
    const std::string shared = path("shared.png");
    put("shared.png", "old");
    ASSERT_EQ(::chown(shared.c_str(), kOwner, kShared), 0);
    ASSERT_EQ(::chmod(shared.c_str(), 0664), 0);
    ASSERT_EQ(::chmod(folder().c_str(), 0777), 0);
    const int place = ::open(folder().c_str(), O_RDONLY | O_DIRECTORY);  // the way there may be closed to others
    const int status = statusOfChild([&] {
        const gid_t groups[] = {kShared};
        if (::fchdir(place) != 0 || ::setgroups(1, groups) != 0 || ::setgid(kWriter) != 0 || ::setuid(kWriter) != 0) {
            _exit(1);
        }
        StagedFile staged("shared.png", Existing::Replace);
        writeText(staged, "new");
        staged.commit();
    });
    ::close(place);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(contents(shared), "new");
    EXPECT_EQ(statOf(shared).st_uid, kWriter);
    EXPECT_EQ(statOf(shared).st_gid, kShared);
    EXPECT_EQ(statOf(shared).st_mode & 07777U, 0664U);
}

TEST_F(StagedFiles, FollowLinksToTheirEnds) {
    put("end.png", "old");
    fs::create_directory(path("folder"));
    fs::create_symlink("end.png", path("middle.png"));
    fs::create_symlink("../middle.png", path("folder/live.png"));
    replace("folder/live.png", "new");
    EXPECT_EQ(contents(path("end.png")), "new");
    fs::create_symlink("later.png", path("dangling.png"));
    replace("dangling.png", "first");
    EXPECT_EQ(contents(path("later.png")), "first");
    for (const char* link : {"middle.png", "folder/live.png", "dangling.png"}) {
        EXPECT_TRUE(fs::is_symlink(path(link))) << link;
    }
    fs::create_symlink("loop.png", path("loop.png"));
    EXPECT_NE(failureOf([&] { replace("loop.png", "new"); }).find("loop.png: "), std::string::npos);
}

TEST_F(StagedFiles, RefuseTargetsThatAreToStay) {
    const auto refused = [&](const std::string& name, const std::string& reason) {
        const std::string message = path(name) + ": " + reason;
        EXPECT_EQ(failureOf([&] { replace(name, "new"); }), message);
        EXPECT_EQ(failureOf([&] { cli::checkTarget(path(name), Existing::Replace); }), message);
    };
    put("kept.png", "old");
    ASSERT_EQ(::chmod(path("kept.png").c_str(), 0444), 0);
    refused("kept.png", "is read-only");
    EXPECT_EQ(contents(path("kept.png")), "old");
    ASSERT_EQ(::chmod(path("kept.png").c_str(), 0644), 0);
    StagedFile late(path("kept.png"), Existing::Replace);
    ASSERT_EQ(::chmod(path("kept.png").c_str(), 0444), 0);
    EXPECT_EQ(failureOf([&] { late.commit(); }), path("kept.png") + ": is read-only") << "by the time it is done";
    EXPECT_EQ(contents(path("kept.png")), "old");
    ASSERT_EQ(::mkfifo(path("pipe.png").c_str(), 0600), 0);
    fs::create_symlink("pipe.png", path("link.png"));
    refused("pipe.png", "is not a regular file");
    refused("link.png", "is not a regular file");
    EXPECT_TRUE(fs::is_fifo(path("pipe.png")));
    fs::create_directory(path("folder.png"));
    refused("folder.png", "is a folder");
    refused("nowhere/out.png", "no such folder: " + path("nowhere"));
    std::vector<std::string> left = filesLeft();
    std::erase(left, late.path().filename().string());
    EXPECT_EQ(left, (std::vector<std::string>{"folder.png", "kept.png", "link.png", "pipe.png"}));
}

TEST_F(StagedFiles, OfTwoThatMayNotReplaceOneWins) {
    StagedFile first(path("out.png"), Existing::Keep);
    StagedFile second(path("out.png"), Existing::Keep);
    writeText(first, "first");
    writeText(second, "second");
    // Both saw no file; what counts is the moment of naming, without another look before it.
    second.commit();
    EXPECT_EQ(failureOf([&] { first.commit(); }), path("out.png") + ": already exists, and --no-clobber was given");
    EXPECT_EQ(contents(path("out.png")), "second");

    // From here on two processes race for each name.
    for (int round = 0; round < 20; ++round) {
        const std::string name = "round" + std::to_string(round) + ".png";
        int status[2] = {0, 0};
        pid_t children[2];
        for (int i = 0; i < 2; ++i) {
            children[i] = fork();
            if (children[i] == 0) {
                const bool failed = !failureOf([&] {
                                         StagedFile file(path(name), Existing::Keep);
                                         file.commit();
                                     }).empty();
                _exit(failed ? 1 : 0);
            }
        }
        for (int i = 0; i < 2; ++i) {
            waitpid(children[i], &status[i], 0);
        }
        EXPECT_EQ(WEXITSTATUS(status[0]) + WEXITSTATUS(status[1]), 1) << name;
    }
}

TEST_F(StagedFiles, AreGoneAfterEverySignalThatEndsTheProgram) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU, SIGALRM, SIGUSR1, SIGUSR2, SIGABRT, SIGPIPE}) {
        const int status = statusOfChild([&] {
            ::signal(signal, SIG_DFL);  // whatever the test was started with
            cli::removeStagedFilesOnSignals();
            StagedFile one(path("one.png"), Existing::Replace);
            StagedFile two(path("two.png"), Existing::Replace);
            writeText(one, "half a picture");
            (void)raise(signal);
        });
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << strsignal(signal);
        EXPECT_EQ(filesLeft(), std::vector<std::string>{}) << strsignal(signal);
    }
    const int status = statusOfChild([&] {
        cli::removeStagedFilesOnSignals();
        const StagedFile staged(path("out.png"), Existing::Replace);
        sigset_t both;
        sigemptyset(&both);
        sigaddset(&both, SIGTERM);
        sigaddset(&both, SIGALRM);
        sigprocmask(SIG_BLOCK, &both, nullptr);
        (void)raise(SIGTERM);
        (void)raise(SIGALRM);
        sigprocmask(SIG_UNBLOCK, &both, nullptr);  // both arrive now
    });
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(filesLeft(), std::vector<std::string>{});
}

TEST_F(StagedFiles, SurviveSignalsThatWereIgnoredFromTheStart) {
    const int status = statusOfChild([&] {
        ::signal(SIGHUP, SIG_IGN);  // as nohup does
        cli::removeStagedFilesOnSignals();
        StagedFile staged(path("out.png"), Existing::Replace);
        (void)raise(SIGHUP);
        writeText(staged, "whole");
        staged.commit();
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(contents(path("out.png")), "whole");
}

TEST_F(StagedFiles, LeaveTheOldFileWhenTheDiskFailsAtTheEnd) {
    put("out.png", "old");
    syncFails = true;
    const std::string message = failureOf([&] { replace("out.png", "new"); });
    syncFails = false;
    EXPECT_EQ(message, path("out.png") + ": cannot be written: Input/output error");
    EXPECT_EQ(contents(path("out.png")), "old");
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"out.png"});
}

TEST_F(StagedFiles, ProgramsWithoutStandardStreamsWorkAsOthersDo) {
    const std::string input = drawUsual("in.png", OIIO::TypeDesc::UINT8);
    ASSERT_EQ(render(input, path("expected.png")).status, 0);
    for (const std::vector<int>& closed : {std::vector{2}, {0}, {1}, {0, 1, 2}}) {
        const Outcome outcome = run({"render", input, "-o", path("out.png")}, [&] {
            for (const int stream : closed) {
                ::close(stream);
            }
        });
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(contents(path("out.png")) == contents(path("expected.png"))) << closed.front();
        fs::remove(path("out.png"));
    }
    EXPECT_EQ(run({"params"}, [] { ::close(1); }).status, cli::kExitFailure) << "results that nobody gets";
}

}  // namespace
}  // namespace quorvel::test
