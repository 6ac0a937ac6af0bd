// SPDX-License-Identifier: MIT
// The program as a user meets it: run as a process in a folder of the test's own, with pictures drawn for it and read
// back. For tests that link program_test_support.
#pragma once

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace quorvel::test {

/// How a process ended.
struct Outcome {
    int status = -1;  ///< the exit status, or the negative number of the signal that ended it
    std::string out;
    std::string err;
};

/// A picture file, its alpha not associated.
struct PictureData {
    OIIO::ImageSpec spec;
    std::vector<float> values;  ///< row by row, the channels of a pixel together
};

/// All bytes of a file; empty when it cannot be read.
std::string contents(const std::filesystem::path& file);

/// One line on the error output that begins with "quorvel: " and contains `words`; nothing on the standard output.
void expectFailure(const Outcome& outcome, int status, const std::string& words);

/// The first part of a picture file. A file that cannot be read fails the test.
PictureData loadPicture(const std::string& file);

/// Each test has a folder of its own, removed afterwards.
class ProgramTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    const std::filesystem::path& folder() const { return folder_; }
    /// A file in the test's folder.
    std::string path(const std::string& name) const { return (folder_ / name).string(); }
    /// The names of all files in the test's folder, sorted.
    std::vector<std::string> filesLeft() const;

    /// The program that was built.
    static std::string program();
    /// Runs any program; `prepare` is called in the new process before the program starts.
    Outcome runFile(
        const std::string& program, std::vector<std::string> arguments,
        const std::function<void()>& prepare = [] {}) const;
    /// Runs the program that was built.
    Outcome run(
        std::vector<std::string> arguments, const std::function<void()>& prepare = [] {}) const;
    /// quorvel render INPUT -o OUTPUT MORE...
    Outcome render(const std::string& input, const std::string& output, std::vector<std::string> more = {}) const;

    /// Writes a picture of samples `value(x, y, channel)`, alpha not associated. Returns its path.
    std::string draw(const std::string& name, OIIO::ImageSpec spec,
                     const std::function<float(int, int, int)>& value) const;
    /// A picture of 40 x 30 pixels with edges, gradients, and transparent pixels that have colour. The rest of `spec`
    /// is kept.
    std::string drawUsual(const std::string& name, OIIO::TypeDesc type, int channels = 4,
                          OIIO::ImageSpec spec = {}) const;

private:
    TemporaryFolder temporary_;
    /// Inside the temporary one, beside what the program prints, so that a test can look at everything that the program
    /// left there.
    std::filesystem::path folder_ = temporary_.path() / "work";
};

}  // namespace quorvel::test
