#pragma once

#include "chain/row_stage.h"

namespace tonvale {

/// Adds the answer of an algorithmic reverberator to one click to channels 0 and 1; a mono impulse
/// becomes stereo unless the stereo width is small. Times are in milliseconds.
class ImpulseGenerator_ReverbGen final : public RowStage {
  public:
    static constexpr const char *typeKey = "VERBGEN";
    static constexpr const char *displayName = "Reverb Generator";

    Relaxed<double> initialDelay;
    Relaxed<double> length;      ///< from the end of the initial delay on
    Relaxed<double> volume;      ///< linear factor
    Relaxed<double> roomSize;    ///< percent of feedback
    Relaxed<double> dampening;   ///< percent
    Relaxed<double> stereoWidth; ///< -1: sides exchanged, 0: the same on both, 1: apart

    ImpulseGenerator_ReverbGen();

    const char *getDisplayName() override { return displayName; }
    const char *getTypeKey() override { return typeKey; }

  protected:
    void apply(ImpulseBuffer &impulse) override;
};

} // namespace tonvale
