#pragma once

namespace tonvale::workbench {

constexpr double faderSteps = 1000.0; ///< the position of a fader that is all the way up
constexpr double faderTop = 12.0;     ///< dB at that position
constexpr double faderBottom = -150.0;

/// The fader position, 0 to 1000, of a level in dB: the fourth root of the gain, moved and scaled
/// so that the ends are faderBottom and faderTop. 0 dB lies at about 705. Levels outside the range
/// are held at its ends; a NaN is at the bottom.
double decibelsToPosition(double decibels);

/// The inverse of decibelsToPosition.
double positionToDecibels(double position);

} // namespace tonvale::workbench
