// SPDX-License-Identifier: MIT
#include "cli/effect_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/option_values.h"

namespace quorvel::cli {
namespace {

/// What has to be known before the command line can be parsed: the module, its host, and whether help is wanted.
struct Preview {
    ModuleOptions module;
    bool help = false;
};

Preview previewOf(std::vector<std::string> arguments) {
    Preview preview;
    CLI::App app;
    app.allow_extras();
    app.option_defaults()->take_last();
    app.set_help_flag("");
    app.add_flag("-h,--help", preview.help);
    addHostOptions(app, preview.module);
    addModuleOption(app, preview.module);
    std::reverse(arguments.begin(), arguments.end());  // the order in which CLI11 takes them
    app.parse(std::move(arguments));
    return preview;
}

}  // namespace

void EffectOptions::addTo(CLI::App& command, const std::vector<std::string>& arguments) {
    addHostOptions(command, module_);
    addModuleOption(command, module_);
    command.preparse_callback([this, &command, arguments](std::size_t) { load(command, arguments); });
}

void EffectOptions::load(CLI::App& command, const std::vector<std::string>& arguments) {
    const Preview preview = previewOf(arguments);
    try {
        host_ = startHost(preview.module);
    } catch (const host::HostError& error) {
        if (!preview.help) {
            throw;
        }
        command.footer(
            fmt::format("The options that set the effect's parameters are missing here, because the module could not "
                        "be loaded: {}\n\n{}",
                        printable(error.what()), command.get_footer()));
        return;
    }
    parameters_.addTo(command, host_->parameters());
    refuseOptionsAsValues(command);
}

}  // namespace quorvel::cli
