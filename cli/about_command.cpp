// SPDX-License-Identifier: MIT
// quorvel about: what the effect says of itself.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>

#include "cli/commands.h"
#include "cli/custom_controls.h"
#include "cli/exit_status.h"
#include "cli/module_options.h"
#include "host/base/path_text.h"
#include "host/instance.h"
#include "host/panel.h"

namespace quorvel::cli {
namespace {

constexpr char kExamples[] =
    "Examples:\n"
    "  quorvel about\n"
    "  quorvel about --host premiere-pro\n"
    "\n"
    "Where the host shows the effect's banner, the text is got by a double click on it.\n"
    "Exit status: 0 done, 1 failed, 2 the command line is wrong.";

/// Two clicks that everybody takes for a double click, long after the host's clock started.
constexpr A_u_long kFirstClick = 100000;
constexpr A_u_long kSecondClick = kFirstClick + 10;

host::CommandResult doubleClick(host::Host& host, const host::Parameter& banner) {
    host::Instance instance(host);
    require(instance.sequenceSetup(), "sequence set-up", host);
    host::ParameterValues values(host.parameters());
    host::Panel panel(instance, values);
    require(panel.click(banner.index, kFirstClick, areaOf(banner)).command, "click", host);
    return panel.click(banner.index, kSecondClick, areaOf(banner)).command;
}

void run(const ModuleOptions& options) {
    const auto host = startHost(options);
    const host::Parameter* banner = findBanner(*host);
    const host::CommandResult result = banner != nullptr ? doubleClick(*host, *banner) : host->about();
    require(result, banner != nullptr ? "double click" : "about", *host);
    if (result.message.empty()) {
        throw Failure(host::pathText(host->module().file()) + ": says nothing of itself");
    }
    std::string text = result.message;
    std::replace(text.begin(), text.end(), '\r', '\n');
    std::cout << text << '\n';
}

}  // namespace

void addAboutCommand(CLI::App& program) {
    const auto options = std::make_shared<ModuleOptions>();
    CLI::App* command = program.add_subcommand("about", "Print what the effect says of itself");
    addHostOptions(*command, *options);
    addModuleOption(*command, *options);
    command->footer(kExamples);
    command->callback([options] { run(*options); });
}

}  // namespace quorvel::cli
