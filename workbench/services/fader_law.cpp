#include "workbench/services/fader_law.h"

#include <cmath>

namespace tonvale::workbench {

namespace {

/// The law's exponent: a fourth root of the gain, 10^(dB / 20), is 10^(dB / 80).
constexpr double decibelsPerDecade = 80.0;

double bend(double decibels) {
    return std::pow(10.0, decibels / decibelsPerDecade);
}

struct FaderEnds {
    double low = bend(faderBottom);
    double high = bend(faderTop);
};

const FaderEnds &faderEnds() {
    static const FaderEnds ends;
    return ends;
}

} // namespace

double decibelsToPosition(double decibels) {
    if (!(decibels > faderBottom))
        return 0.0;
    if (decibels >= faderTop)
        return faderSteps;
    const auto &[low, high] = faderEnds();
    return faderSteps * (bend(decibels) - low) / (high - low);
}

double positionToDecibels(double position) {
    if (!(position > 0.0))
        return faderBottom;
    if (position >= faderSteps)
        return faderTop;
    const auto &[low, high] = faderEnds();
    return decibelsPerDecade * std::log10(low + position / faderSteps * (high - low));
}

} // namespace tonvale::workbench
