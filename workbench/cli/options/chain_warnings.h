#pragma once

#include "host/host_objects.h"
#include "workbench/cli/plugin_module.h"

#include <string>

namespace tonvale::workbench {

/// Warns of values outside of their faders' ranges in a stage's text, as the plug-in tells it;
/// never of a bypassed stage's.
void warnOfStage(const std::string &text);

/// Warns of a file that is longer than a file loader reads at `rate` Hz.
void warnOfCutFile(const std::string &path, MediaSource &file, double rate);

/// Warns of a chain with stages that makes a response without a single sample. Answers whether it
/// is one.
bool warnOfEmptyChain(Effect &effect);

} // namespace tonvale::workbench
