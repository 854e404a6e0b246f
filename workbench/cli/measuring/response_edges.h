#pragma once

#include "workbench/cli/measuring/measured_sound.h"

namespace tonvale::workbench {

/// Moves all channels alike, so that the direct sound of the earliest one lies at `seconds`: what
/// is before the start is dropped. Answers false, and changes nothing, where no direct sound
/// stands out.
bool alignResponse(MeasuredSound &response, double seconds);

/// Ends each channel where it sinks into the noise, with a fade there, and the sound with its
/// longest channel. A channel that shows no noise stays as it is.
void trimResponse(MeasuredSound &response);

} // namespace tonvale::workbench
