#pragma once

#include <CLI/CLI.hpp>

namespace tonvale::workbench {

// Each adds a command to the program's command line; the command runs at the end of parsing and
// throws Problem, or CLI::ParseError for wrong usage.
void addRenderCommand(CLI::App &program);
void addImpulseCommand(CLI::App &program);
void addToneCommand(CLI::App &program);
void addDeconvolveCommand(CLI::App &program);
void addAnalyseCommand(CLI::App &program);
void addStagesCommand(CLI::App &program);
void addParametersCommand(CLI::App &program);

} // namespace tonvale::workbench
