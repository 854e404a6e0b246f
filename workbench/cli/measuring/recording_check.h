#pragma once

#include "workbench/cli/measuring/measured_sound.h"

#include <string>

namespace tonvale::workbench {

/// Warns of what is wrong with a recording of a test tone of which `response` was made: a silent
/// channel, samples cut off at the largest magnitude, gaps, and an end before the sound has died
/// away. One warning of each kind.
void checkRecording(const MeasuredSound &recording, const MeasuredSound &response,
                    const std::string &name);

} // namespace tonvale::workbench
