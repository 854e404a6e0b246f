#pragma once

#include "measure/measure_outcome.h"
#include "measure/measure_settings.h"

#include <cstdint>

namespace tonvale {

/// The samples of a tone: its length times its rate, rounded, from 0 to 2^31 - 1. Less than half a
/// sample, a negative product and a NaN give 0.
int32_t testToneLength(const TestToneSettings &settings);

/// Writes the test tone to a mono file at `path` (UTF-8): a full-scale sine that sweeps from 20 Hz
/// to half the sample rate, its frequency rising with the fifth power of time. The file's header
/// has the whole part of the rate, held inside int32; the sweep is computed with the exact rate.
///
/// Blocks until the file is finished. A cancelled run removes it.
MeasureOutcome writeTestTone(const char *path, const TestToneSettings &settings,
                             const MeasureProgress &progress = {});

} // namespace tonvale
