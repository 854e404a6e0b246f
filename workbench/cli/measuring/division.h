#pragma once

#include "measure/measure_outcome.h"
#include "workbench/cli/measuring/measured_sound.h"

namespace tonvale::workbench {

/// The response that makes `recording` of `tone`, in the recording's rate and channels: what the
/// plug-in's own function answers, with `floorDb` as there. One at a time, on the main thread.
/// A sound without channels stands for a file that couldn't be opened.
MeasureOutcome divideSounds(const MeasuredSound &recording, const MeasuredSound &tone, int floorDb,
                            const MeasureProgress &progress, MeasuredSound &response);

} // namespace tonvale::workbench
