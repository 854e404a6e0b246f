#pragma once

#include "chain/row_stage.h"

namespace tonvale {

/// Scales the whole impulse by one factor, so that its largest sample reaches `peak` and the
/// balance of the channels stays. An impulse below 1e-11 throughout is left alone.
class ImpulseGenerator_Normalize final : public RowStage {
  public:
    static constexpr const char *typeKey = "NORM";
    static constexpr const char *displayName = "Normalize";

    Relaxed<double> peak; ///< linear factor

    ImpulseGenerator_Normalize();

    const char *getDisplayName() override { return displayName; }
    const char *getTypeKey() override { return typeKey; }

  protected:
    void apply(ImpulseBuffer &impulse) override;
    void formatOutputStatus(const ImpulseBuffer &impulse) noexcept override;

  private:
    double gain = 1.0; ///< of the last run, for its status
};

} // namespace tonvale
