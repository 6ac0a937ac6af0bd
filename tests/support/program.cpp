// SPDX-License-Identifier: MIT
#include "tests/support/program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace quorvel::test {

namespace fs = std::filesystem;
using OIIO::TypeDesc;

std::string contents(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

void expectFailure(const Outcome& outcome, int status, const std::string& words) {
    EXPECT_EQ(outcome.status, status) << outcome.err;
    EXPECT_EQ(outcome.err.rfind("quorvel: ", 0), 0u) << outcome.err;
    EXPECT_NE(outcome.err.find(words), std::string::npos) << outcome.err << "does not contain: " << words;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

PictureData loadPicture(const std::string& file) {
    OIIO::ImageSpec asStored;
    asStored.attribute("oiio:UnassociatedAlpha", 1);
    const auto input = OIIO::ImageInput::open(file, &asStored);
    if (!input) {
        ADD_FAILURE() << OIIO::geterror();
        return {};
    }
    PictureData picture{input->spec(), {}};
    picture.values.resize(picture.spec.image_pixels() * static_cast<std::size_t>(picture.spec.nchannels));
    EXPECT_TRUE(input->read_image(0, 0, 0, -1, TypeDesc::FLOAT, picture.values.data())) << file;
    return picture;
}

void ProgramTest::SetUp() {
    fs::create_directory(folder_);
}

void ProgramTest::TearDown() {
    fs::permissions(folder_, fs::perms::owner_all);  // a test may have taken them away
}

std::vector<std::string> ProgramTest::filesLeft() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string ProgramTest::program() {
    return QUORVEL_PROGRAM;
}

Outcome ProgramTest::run(std::vector<std::string> arguments, const std::function<void()>& prepare) const {
    return runFile(program(), std::move(arguments), prepare);
}

Outcome ProgramTest::runFile(const std::string& program, std::vector<std::string> arguments,
                             const std::function<void()>& prepare) const {
    arguments.insert(arguments.begin(), program);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const fs::path out = temporary_.path() / "out";
    const fs::path err = temporary_.path() / "err";
    const pid_t child = fork();
    if (child == 0) {
        dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
        dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
        prepare();
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), contents(out), contents(err)};
    fs::remove(out);
    fs::remove(err);
    return outcome;
}

Outcome ProgramTest::render(const std::string& input, const std::string& output, std::vector<std::string> more) const {
    more.insert(more.begin(), {"render", input, "-o", output});
    return run(std::move(more));
}

std::string ProgramTest::draw(const std::string& name, OIIO::ImageSpec spec,
                              const std::function<float(int, int, int)>& value) const {
    std::vector<float> values;
    for (int y = 0; y < spec.height; ++y) {
        for (int x = 0; x < spec.width; ++x) {
            for (int channel = 0; channel < spec.nchannels; ++channel) {
                values.push_back(value(x, y, channel));
            }
        }
    }
    spec.attribute("oiio:UnassociatedAlpha", 1);
    const auto output = OIIO::ImageOutput::create(path(name));
    EXPECT_TRUE(output && output->open(path(name), spec) && output->write_image(TypeDesc::FLOAT, values.data()) &&
                output->close())
        << name;
    return path(name);
}

std::string ProgramTest::drawUsual(const std::string& name, TypeDesc type, int channels, OIIO::ImageSpec spec) const {
    spec.width = spec.full_width = 40;
    spec.height = spec.full_height = 30;
    spec.depth = spec.full_depth = 1;
    spec.nchannels = channels;
    spec.default_channel_names();
    spec.set_format(type);
    return draw(name, spec, [](int x, int y, int channel) {
        if (channel == 3) {
            return x % 5 == 0 ? 0.0f : static_cast<float>(y) / 30.0f;
        }
        return static_cast<float>((x * (3 + channel) + y * 7) % 32) / 31.0f;
    });
}

}  // namespace quorvel::test
