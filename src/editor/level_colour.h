#pragma once

#include <cstdint>

namespace tonvale {

/// The colour of a power in a picture of frequencies, 0xAARRGGBB: from dark blue through teal,
/// green, orange, red and magenta to near white at 1.0 and above, in steps of 1/7 of a neper.
/// Transparent black at -24 nepers and below, and for a NaN.
uint32_t levelColour(double power);

} // namespace tonvale
