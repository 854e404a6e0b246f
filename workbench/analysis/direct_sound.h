#pragma once

#include "workbench/analysis/noise_floor.h"

#include <optional>
#include <span>

namespace tonvale::workbench {

/// The first sample that is at most 20 dB below the response's peak and at least 16 dB above the
/// RMS of its noise floor; nothing where none stands out so far.
std::optional<size_t> findDirectSound(std::span<const double> samples, const Decay &decay);

} // namespace tonvale::workbench
