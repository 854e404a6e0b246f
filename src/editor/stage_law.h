#pragma once

#include "editor/row_law.h"

namespace tonvale {

/// The law of a stage's rows. The value of a decibel row is a linear gain and shows decibels; that
/// of a linear row is stored as the row's unit tells, and shown times a scale.
class StageLaw final : public RowLaw {
  public:
    /// `linearScale` is what a linear row shows for a stored 1.
    explicit StageLaw(std::span<const StageRow> stageRows, double linearScale = 1.0)
        : rows(stageRows)
        , scale(linearScale) {}

    int32_t positionOf(int32_t row, double value) const override;
    double valueOf(int32_t row, int32_t position) const override;
    void textOf(int32_t row, double value, char *text) const override;
    double valueOfText(int32_t row, const char *text) const override;
    int32_t defaultPosition(int32_t row) const override;

  private:
    const StageRow &rowAt(int32_t row) const { return rows[static_cast<size_t>(row)]; }

    std::span<const StageRow> rows;
    double scale;
};

/// Where `value` lies between the ends of a linear row, 0 to 1 and held there.
double stageValueToFraction(const StageRow &row, double value);
/// The value of a linear row at `fraction` of its range, which may lie outside of 0 to 1.
double stageFractionToValue(const StageRow &row, double fraction);

} // namespace tonvale
