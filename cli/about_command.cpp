// SPDX-License-Identifier: MIT
// quorvel about: the effect's own About text.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "cli/custom_controls.h"
#include "cli/exit_status.h"
#include "cli/module_options.h"
#include "cli/option_values.h"
#include "cli/text.h"
#include "host/base/path_text.h"
#include "host/instance.h"
#include "host/panel.h"

namespace quorvel::cli {
namespace {

constexpr char kAboutExamples[] =
    "Examples:\n"
    "  quorvel about\n"
    "  quorvel about --host premiere-pro\n"
    "\n"
    "Where the host shows the effect's banner, a double click on it returns the text.\n"
    "Exit status: 0 done, 1 failed, 2 wrong command line.";

/// Two clicks close enough for a double click in any host, long after its clock started. In ticks.
constexpr A_u_long kFirstClick = 100000;
constexpr A_u_long kSecondClick = kFirstClick + 10;

host::CommandResult doubleClick(host::Host& host, const host::Parameter& banner) {
    host::CommandResult result;
    withInstance(host, [&](host::Instance& instance) {
        host::ParameterValues values(host.parameters());
        host::Panel panel(instance, values);
        require(panel.click(banner.index, kFirstClick, areaOf(banner)).command, "click", host);
        result = panel.click(banner.index, kSecondClick, areaOf(banner)).command;
    });
    return result;
}

void run(const ModuleOptions& options) {
    const auto host = startHost(options);
    const host::Parameter* banner = findBanner(*host);
    const host::CommandResult result = banner != nullptr ? doubleClick(*host, *banner) : host->about();
    require(result, banner != nullptr ? "double click" : "about", *host);
    if (result.message.empty()) {
        throw Failure("{}: returned no About text", host::pathText(host->module().file()));
    }
    // The module separates lines as its host's system does.
    std::string line;
    for (const char letter : result.message + '\n') {
        if (letter == '\r' || letter == '\n') {
            std::cout << printable(line) << '\n';
            line.clear();
        } else {
            line += letter;
        }
    }
}

}  // namespace

void addAboutCommand(CLI::App& program) {
    const auto options = std::make_shared<ModuleOptions>();
    CLI::App* command = program.add_subcommand("about", "Print the effect's About text");
    addHostOptions(*command, *options);
    addModuleOption(*command, *options);
    command->footer(kAboutExamples);
    refuseOptionsAsValues(*command);
    command->callback([options] { run(*options); });
}

}  // namespace quorvel::cli
