#pragma once

#include "workbench/cli/measuring/measured_sound.h"

#include <cstdint>
#include <optional>

namespace tonvale::workbench {

/// The recording behind some silence: what clocks that run apart, or a conversion, put ahead
/// of the recording's start stays ahead there, where else it would come round to the end.
MeasuredSound behindSilence(const MeasuredSound &recording, const MeasuredSound &tone);

/// What behindSilence made, divided by the tone with nothing cut off. Both are of one rate and hold
/// samples. Throws std::bad_alloc.
MeasuredSound wholeResponse(const MeasuredSound &delayed, const MeasuredSound &tone);

/// Where a tone sounds in a recording, by its direct sound: samples, below 0 or behind the end
/// where the recording lacks some of it.
struct ToneSpan {
    int64_t start;
    int64_t end;
};

/// Nothing where no direct sound stands out of `whole`, a wholeResponse.
std::optional<ToneSpan> findTone(const MeasuredSound &whole, const MeasuredSound &tone);

} // namespace tonvale::workbench
