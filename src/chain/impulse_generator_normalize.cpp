#include "chain/impulse_generator_normalize.h"

#include "chain/decibels.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tonvale {

namespace {

constexpr StageRow rowTable[] = {
    {"Peak volume", "dB", 1.0, decibelRow, decibelRow, 1074, 1005, 1, 1.0},
};

constexpr double silence = 1e-11;

[[maybe_unused]] const bool registered = registerStage<ImpulseGenerator_Normalize>();

} // namespace

ImpulseGenerator_Normalize::ImpulseGenerator_Normalize()
    : RowStage(rowTable, {&peak}, 1) {
    setDefaults();
}

void ImpulseGenerator_Normalize::apply(ImpulseBuffer &impulse) {
    double largest = 0.0;
    for (int32_t c = 0; c < impulse.getNumChannels(); ++c) {
        const double *samples = impulse.getChannel(c);
        for (int32_t i = 0; i < impulse.getChannelLength(c); ++i)
            largest = std::max(largest, std::abs(samples[i]));
    }

    gain = largest <= silence ? 1.0 : peak / largest;

    for (int32_t c = 0; c < impulse.getNumChannels(); ++c)
        scaleChannel(impulse, c, gain);
}

void ImpulseGenerator_Normalize::formatOutputStatus(const ImpulseBuffer &impulse) noexcept {
    const ImpulseSummary output(impulse);
    std::snprintf(outputStatus, sizeof outputStatus,
                  statusFormat("Output: %.2fs %dkHz %dch (%.1f dB gain)"), output.seconds,
                  output.kilohertz, output.channels, factorToDecibels(gain));
}

} // namespace tonvale
