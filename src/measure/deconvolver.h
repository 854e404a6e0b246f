#pragma once

#include "measure/measure_outcome.h"
#include "measure/measure_settings.h"

#include <cstdint>

namespace tonvale {

/// Divides the spectrum of a recording by that of the test tone that was played, and writes the
/// impulse response that comes out, one channel a channel of the recording, with the recording's
/// rate. Channel c is divided by channel c of the tone, modulo the tone's count. The level is the
/// ratio of recording to tone: nothing is normalised. Silence below the noise floor is trimmed from
/// both files, and from the result.
///
/// The paths are UTF-8. Blocks until the file is finished. It holds both files at once as complex
/// points, 16 bytes each, their lengths rounded up to a power of two, and 40 bytes a point of one
/// channel for the transform. Any outcome but done writes nothing, and everything is released
/// before the return. `progress` can end the run until the file is written.
MeasureOutcome deconvolve(const char *recordingPath, const char *tonePath, const char *outputPath,
                          const DeconvolveSettings &settings, const MeasureProgress &progress = {});

/// Divides `count` complex points by others, in place, and multiplies them by `scale`. Where the
/// denominator has a squared magnitude below 1e-21 the result is zero.
void divideSpectra(double *numerator, const double *denominator, int64_t count, double scale);

} // namespace tonvale
