#include "workbench/cli/commands/commands.h"
#include "workbench/cli/commands/settings_options.h"
#include "workbench/cli/plugin_module.h"

#include <cstdio>

namespace tonvale::workbench {

namespace {

constexpr double anyRate = 44100;

void listParameters() {
    Effect effect(anyRate);
    std::printf("%-14s %-6s %-10s %-20s %s\n", "NAME", "UNIT", "DEFAULT", "RANGE", "OPTION");
    for (int i = 0; i < effect.parameterCount(); ++i) {
        const Effect::Range range = effect.parameterRange(i);
        const std::string ends =
            effect.parameterText(i, range.low) + " to " + effect.parameterText(i, range.high);
        std::printf("%-14s %-6s %-10s %-20s %s\n", effect.parameterName(i).c_str(),
                    effect.parameterUnit(i).c_str(), effect.parameterDisplay(i).c_str(),
                    ends.c_str(), settingOption(i));
    }
}

} // namespace

void addParametersCommand(CLI::App &program) {
    program
        .add_subcommand("parameters",
                        "Lists the plug-in's parameters with their units, defaults and ranges")
        ->callback(listParameters);
}

} // namespace tonvale::workbench
