#pragma once

#include "workbench/cli/measuring/measured_sound.h"

#include <optional>

namespace tonvale::workbench {

/// The most that two clocks may run apart, parts per million.
constexpr double largestDrift = 200.0;

/// By how many parts per million `response` is drawn apart because the recording has more samples
/// than it should, from -largestDrift to largestDrift; nothing where no direct sound stands out.
///
/// Each pitch of the tone is late by the drift times the time at which the tone has it, which is
/// its group delay. Undoing that for one drift after the other, that one is taken with which the
/// direct sound comes out sharpest.
std::optional<double> findDrift(const MeasuredSound &response, const MeasuredSound &tone);

/// The recording as it would have `ppm` parts per million fewer samples.
MeasuredSound withoutDrift(const MeasuredSound &recording, double ppm);

} // namespace tonvale::workbench
