#include "editor/stage_law.h"

#include "chain/decibels.h"
#include "text/number_text.h"

#include <algorithm>

namespace tonvale {

namespace {

constexpr int32_t longestText = 128;
/// Gains up to here show as silence.
constexpr double silentGain = 1e-6;
/// Levels from here on show their sign.
constexpr double signedLevel = 1.0;

bool showsDecibels(const StageRow &row) {
    return row.minValue == decibelRow;
}

} // namespace

double stageValueToFraction(const StageRow &row, double value) {
    const double fraction = (value - row.minValue) / (row.maxValue - row.minValue);
    // What is no number fails the comparison, and lies at the lower end.
    return fraction > 0.0 ? std::min(fraction, 1.0) : 0.0;
}

double stageFractionToValue(const StageRow &row, double fraction) {
    return row.minValue + fraction * (row.maxValue - row.minValue);
}

int32_t StageLaw::positionOf(int32_t row, double value) const {
    const StageRow &r = rowAt(row);
    if (showsDecibels(r))
        return positionOfDecibels(factorToDecibels(value));
    return positionOfFraction(stageValueToFraction(r, value), r.skew);
}

double StageLaw::valueOf(int32_t row, int32_t position) const {
    const StageRow &r = rowAt(row);
    if (showsDecibels(r))
        return gainOfPosition(position);
    return stageFractionToValue(r, fractionOfPosition(position, r.skew));
}

void StageLaw::textOf(int32_t row, double value, char *text) const {
    const StageRow &r = rowAt(row);
    TextWriter writer(text, longestText);
    if (!showsDecibels(r)) {
        writer.addFixed(value * scale, r.decimals);
        return;
    }
    if (value <= silentGain) {
        writer.add("-inf");
        return;
    }
    const double level = factorToDecibels(value);
    writer.add(level >= signedLevel ? "+" : "");
    writer.addFixed(level, r.decimals);
}

double StageLaw::valueOfText(int32_t row, const char *text) const {
    // Decibels of "-inf" are a gain of 0.
    const double number = readNumber(skipBlanks(text));
    return showsDecibels(rowAt(row)) ? decibelsToFactor(number) : number / scale;
}

int32_t StageLaw::defaultPosition(int32_t row) const {
    const StageRow &r = rowAt(row);
    if (showsDecibels(r))
        return decibelDefaultPosition;
    return defaultPositionOfFraction(stageValueToFraction(r, r.defaultValue), r.skew);
}

} // namespace tonvale
