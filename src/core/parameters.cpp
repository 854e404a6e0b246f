#include "core/parameters.h"

#include "chain/decibels.h"
#include "text/number_text.h"

#include <algorithm>

namespace tonvale {

namespace {

constexpr ParamRow paramRows[paramCount] = {
    {"Wet", "dB", -12, decibelRow, decibelRow, 1047, 1011, 1, 0},
    {"Dry", "dB", 0, decibelRow, decibelRow, 1046, 1002, 1, 0},
    {"Pre-verb", "ms", 0, 0, 3000, 1023, 1024, 0, 2.3},
    {"Max FFT size", "", 16384, 32, 16384, 0, 0, 0, 0},
    {"Width", "", 1, -1, 1, 1073, 1004, 2, 1},
    {"Pan", "", 0, -1, 1, 1074, 1005, 2, 1},
    {"ZL mode", "", 1, toggleRow, toggleRow, 1034, 0, 0, 0},
    {"LL mode", "", 1, toggleRow, toggleRow, 1036, 0, 0, 0},
};

} // namespace

const ParamRow *paramRow(int32_t index) {
    return index >= 0 && index < paramCount ? &paramRows[index] : nullptr;
}

double paramToPlain(int32_t index, double value) {
    const ParamRow *row = paramRow(index);
    if (!row)
        return 0.0;
    if (row->minValue == decibelRow)
        return factorToDecibels(value);
    if (row->minValue == toggleRow)
        return isOn(value) ? 1.0 : 0.0;
    return row->minValue + value * (row->maxValue - row->minValue);
}

double plainToParam(int32_t index, double plain) {
    const ParamRow *row = paramRow(index);
    if (!row)
        return 0.0;
    if (row->minValue == decibelRow)
        return decibelsToFactor(plain);
    if (row->minValue == toggleRow)
        return isOn(plain) ? 1.0 : 0.0;
    return std::clamp((plain - row->minValue) / (row->maxValue - row->minValue), 0.0, 1.0);
}

void paramDisplayText(int32_t index, double value, char *text) {
    TextWriter writer(text, paramTextSize);
    const ParamRow *row = paramRow(index);
    if (!row)
        return;
    const bool isDecibels = row->minValue == decibelRow;
    if (isDecibels && value <= silentGain) {
        writer.add("-inf");
        return;
    }
    if (isDecibels && value >= 1.0)
        writer.add("+");
    writer.addFixed(paramToPlain(index, value), row->decimals);
}

} // namespace tonvale
