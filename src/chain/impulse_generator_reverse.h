#pragma once

#include "chain/row_stage.h"

namespace tonvale {

/// Mixes each channel with its time-reversed self, in place, on one channel or on all.
class ImpulseGenerator_Reverse final : public RowStage {
  public:
    static constexpr const char *typeKey = "REVERSE";
    static constexpr const char *displayName = "Reverse";

    Relaxed<double> reverseMix; ///< linear factor of the reversed signal
    Relaxed<double> dryMix;     ///< linear factor of the signal in its own direction
    Relaxed<double> channel;    ///< counted from 1, rounded; 0: all; one that isn't there: none

    ImpulseGenerator_Reverse();

    const char *getDisplayName() override { return displayName; }
    const char *getTypeKey() override { return typeKey; }

  protected:
    void apply(ImpulseBuffer &impulse) override;
};

} // namespace tonvale
