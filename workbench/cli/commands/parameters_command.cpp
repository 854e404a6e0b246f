#include "workbench/cli/commands/commands.h"
#include "workbench/cli/commands/list_line.h"
#include "workbench/cli/commands/settings_options.h"
#include "workbench/cli/plugin_module.h"

#include <cstdio>

namespace tonvale::workbench {

namespace {

constexpr double anyRate = 44100;

void printRow(const std::string &name, const std::string &unit, const std::string &usual,
              const std::string &range, const std::string &option) {
    std::string line = name;
    appendAt(line, 15, unit);
    appendAt(line, 22, usual);
    appendAt(line, 33, range);
    appendAt(line, 54, option);
    std::printf("%s\n", line.c_str());
}

void listParameters() {
    Effect effect(anyRate);
    printRow("NAME", "UNIT", "DEFAULT", "RANGE", "OPTION");
    for (int i = 0; i < effect.parameterCount(); ++i) {
        const Effect::Range range = effect.parameterRange(i);
        const std::string ends =
            effect.parameterText(i, range.low) + " to " + effect.parameterText(i, range.high);
        printRow(effect.parameterName(i), effect.parameterUnit(i), effect.parameterDisplay(i), ends,
                 settingOption(i));
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
