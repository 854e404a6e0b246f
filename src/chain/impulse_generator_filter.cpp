#include "chain/impulse_generator_filter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tonvale {

namespace {

constexpr StageRow rowTable[] = {
    {"Lowpass", "", 1.0, 0.0, 1.0, 1076, 1009, 0, 3.3},
    {"Highpass", "", 0.0, 0.0, 1.0, 1077, 1010, 0, 3.3},
};

[[maybe_unused]] const bool registered = registerStage<ImpulseGenerator_Filter>();

constexpr double highestHighpass = 0.9999999;
constexpr double lowestLowpass = 1e-6;
/// Added at every sample, so that the recursion over a silent end never gets to denormal numbers.
constexpr double denormalGuard = 1e-19;

/// y[n] = edge (x[n] + x[n-2]) + middle x[n-1] - feedback1 y[n-1] - feedback2 y[n-2]
struct Section {
    double edge;
    double middle;
    double feedback1;
    double feedback2;
};

Section highpassSection(double corner) {
    const double k = std::tan(std::numbers::pi * corner * 0.5);
    const double a = 1.0 / (k + 1.0 + k * k);
    return {a, -2.0 * a, 2.0 * (k * k - 1.0) * a, (1.0 - k + k * k) * a};
}

Section lowpassSection(double corner) {
    const double l = 1.0 / std::tan(std::numbers::pi * corner * 0.5);
    const double a = 1.0 / (l + 1.0 + l * l);
    return {a, 2.0 * a, 2.0 * (1.0 - l * l) * a, (1.0 - l + l * l) * a};
}

void runSection(ImpulseBuffer &impulse, const Section &section) {
    for (int32_t c = 0; c < impulse.getNumChannels(); ++c) {
        double *samples = impulse.getChannel(c);
        double x1 = 0.0, x2 = 0.0, y1 = 0.0, y2 = 0.0;
        for (int32_t i = 0; i < impulse.getChannelLength(c); ++i) {
            const double x = samples[i];
            const double y = section.middle * x1 + denormalGuard - section.feedback1 * y1 -
                             section.feedback2 * y2 + (x2 + x) * section.edge;
            samples[i] = y;
            x2 = x1;
            x1 = x;
            y2 = y1;
            y1 = y;
        }
    }
}

} // namespace

ImpulseGenerator_Filter::ImpulseGenerator_Filter()
    : RowStage(rowTable, {&lowpass, &highpass}, 2) {
    setDefaults();
}

void ImpulseGenerator_Filter::apply(ImpulseBuffer &impulse) {
    lastRate = impulse.sampleRate > 1.0 ? impulse.sampleRate : 44100.0;

    // A corner that is no number fails both comparisons, and its filter doesn't run.
    const double high = std::min<double>(highpass, highestHighpass);
    if (high > 0.0)
        runSection(impulse, highpassSection(high));
    const double low = std::max<double>(lowpass, lowestLowpass);
    if (low < 1.0)
        runSection(impulse, lowpassSection(low));
}

} // namespace tonvale
