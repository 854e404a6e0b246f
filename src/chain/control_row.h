#pragma once

#include <cstdint>

namespace tonvale {

/// One value that a user sets: a plug-in parameter or a setting of a stage. Tables of these are the
/// only source for names, units, ranges, number formats and the dialogs' control ids.
struct ControlRow {
    const char *name;
    const char *unit; ///< may be empty
    double defaultValue;
    double minValue;    ///< lower bound, or one of the markers below
    double maxValue;    ///< upper bound; equals the marker on marker rows
    uint16_t controlId; ///< fader or check box, 0 when none
    uint16_t editId;    ///< text field, 0 when none
    int32_t decimals;   ///< digits behind the point
    double skew;        ///< fader curve; up to 1.0 the fader is linear
};

using ParamRow = ControlRow;
using StageRow = ControlRow;

/// minValue of a row that holds a linear gain and shows decibels, and of an on/off row.
constexpr double decibelRow = -10000.0;
constexpr double toggleRow = -1000.0;

} // namespace tonvale
