#pragma once

#include "chain/row_stage.h"

namespace tonvale {

/// Trims, stretches, scales, delays, narrows and pans the impulse, in the order in which the
/// operations of apply() stand. Times are in milliseconds.
class ImpulseGenerator_Edit final : public RowStage {
  public:
    static constexpr const char *typeKey = "BASICEDIT";
    static constexpr const char *displayName = "Trim/Gain/Stretch";

    Relaxed<double> gain;          ///< linear factor
    Relaxed<double> start;         ///< what is cut off at the front
    Relaxed<double> maximumLength; ///< of what is left
    Relaxed<double> stretch;       ///< new length by old; skipped within 0.005 of 1
    Relaxed<double> preSilence;
    Relaxed<double> width;           ///< 1 leaves pairs alone, 0 makes them mono, -1 exchanges them
    Relaxed<double> pan;             ///< -1 left ... 1 right
    Relaxed<double> inputSeconds{0}; ///< what the last run was given

    ImpulseGenerator_Edit();

    const char *getDisplayName() override { return displayName; }
    const char *getTypeKey() override { return typeKey; }

    /// The length in seconds that a run with these settings would give the last run's input.
    double forecastSeconds() const;

  protected:
    void apply(ImpulseBuffer &impulse) override;
};

} // namespace tonvale
