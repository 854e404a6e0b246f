#pragma once

#include "chain/row_stage.h"

namespace tonvale {

/// Adds a train of single-sample clicks to every channel. Their volume runs in a straight line in
/// dB, and a seeded random sequence jitters their spacing, so the same settings always give the
/// same pattern. Times are in milliseconds, volumes linear factors. Where negative errors hold a
/// train up, it ends where it gets on no more.
class ImpulseGenerator_EchoGen final : public RowStage {
  public:
    static constexpr const char *typeKey = "ECHOGEN";
    static constexpr const char *displayName = "Echo Generator";

    Relaxed<double> start;
    Relaxed<double> length;  ///< from `start` on
    Relaxed<double> spacing; ///< never below 3 frames
    Relaxed<double> startVolume;
    Relaxed<double> endVolume;
    Relaxed<double> errorSpacing;      ///< the most that is added to a spacing; may be below 0
    Relaxed<double> errorDistribution; ///< 0: always the most; 0.5: evenly spread; 1: mostly little

    ImpulseGenerator_EchoGen();

    const char *getDisplayName() override { return displayName; }
    const char *getTypeKey() override { return typeKey; }

  protected:
    void apply(ImpulseBuffer &impulse) override;
};

} // namespace tonvale
