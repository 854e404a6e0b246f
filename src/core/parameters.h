#pragma once

#include "chain/control_row.h"

#include <cstdint>

namespace tonvale {

/// The parameters, by index. Their value is always the normalised one that the host sees: a linear
/// gain for Wet and Dry, 0 to 1 for the others.
enum ParamIndex : int32_t {
    paramWet,
    paramDry,
    paramPreverb,
    paramMaxFft,
    paramWidth,
    paramPan,
    paramZeroLatency,
    paramLowLatency,
    paramCount,
};

constexpr int32_t paramTextSize = 256;

/// The row of a parameter; null for an index that is none.
const ParamRow *paramRow(int32_t index);

/// From normalised to plain; a value out of range is not clamped. 0.0 for a bad index.
double paramToPlain(int32_t index, double value);

/// From plain to normalised; a linear one is clamped to 0..1. 0.0 for a bad index.
double plainToParam(int32_t index, double plain);

/// Writes the text of a normalised value into `text`, which holds paramTextSize bytes; an empty one
/// for a bad index.
void paramDisplayText(int32_t index, double value, char *text);

/// At or below this a gain is silence.
constexpr double silentGain = 1e-6;

/// Whether an on/off parameter is on.
constexpr bool isOn(double value) {
    return value >= 0.5;
}

} // namespace tonvale
