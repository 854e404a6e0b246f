#pragma once

#include "chain/row_stage.h"

namespace tonvale {

/// A second-order high-pass and then a second-order low-pass over every channel, in place: bilinear
/// transforms of the analogue sections with Q = 1, so the gain at a corner is 1 and the slope
/// beyond it 12 dB an octave. The length stays; the ring behind the end is lost.
class ImpulseGenerator_Filter final : public RowStage {
  public:
    static constexpr const char *typeKey = "FILT";
    static constexpr const char *displayName = "Filter (LP/HP)";

    Relaxed<double> lowpass;  ///< corner as a fraction of half the sample rate; from 1 on: none
    Relaxed<double> highpass; ///< likewise; down from 0: none
    Relaxed<double> lastRate{44100.0}; ///< Hz, of the last run; turns corners into Hz for display

    ImpulseGenerator_Filter();

    const char *getDisplayName() override { return displayName; }
    const char *getTypeKey() override { return typeKey; }

  protected:
    void apply(ImpulseBuffer &impulse) override;
};

} // namespace tonvale
