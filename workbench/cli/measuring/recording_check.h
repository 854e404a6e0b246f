#pragma once

#include "workbench/cli/measuring/whole_response.h"

#include <optional>
#include <string>

namespace tonvale::workbench {

/// Warns of what is wrong with a recording of a test tone of which `response` was made: a silent
/// channel, samples cut off at the largest magnitude, gaps, and an end before the sound has died
/// away, which takes a tone. One warning of each kind.
void checkRecording(const MeasuredSound &recording, const MeasuredSound &response,
                    const std::optional<ToneSpan> &tone, const std::string &name);

} // namespace tonvale::workbench
