#pragma once

#include "workbench/cli/measuring/measured_sound.h"

namespace tonvale::workbench {

/// How much a response looks like one of a room, in octave bands from 500 Hz to 8 kHz.
struct ToneMatch {
    double prominence = 0.0; ///< of the loudest 20 ms over the median ones, dB, in the mean band
    double spread = 0.0;     ///< seconds between the first and the last band to arrive
    int bands = 0;           ///< that the sample rate has

    /// Sound of all pitches arrives at much the same time and stands out of the noise. With another
    /// tone each pitch has a delay of its own.
    bool isResponse() const;
};

/// Looks at the loudest channel of a response of which nothing was cut off.
ToneMatch matchTone(const MeasuredSound &response);

} // namespace tonvale::workbench
