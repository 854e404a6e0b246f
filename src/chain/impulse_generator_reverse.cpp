#include "chain/impulse_generator_reverse.h"

#include "convolution/containers/bounded_integer.h"

namespace tonvale {

namespace {

constexpr StageRow rowTable[] = {
    {"Reverse mix", "dB", 1.0, decibelRow, decibelRow, 1047, 1011, 1, 1.0},
    {"Dry mix", "dB", 0.0, decibelRow, decibelRow, 1046, 1002, 1, 1.0},
    {"Channel", "0 is all", 0.0, 0.0, 129.0, 0, 1079, 0, 1.0},
};

[[maybe_unused]] const bool registered = registerStage<ImpulseGenerator_Reverse>();

void mixWithReversed(double *samples, int32_t length, double reverse, double dry) {
    for (int32_t i = 0, j = length - 1; i < length / 2; ++i, --j) {
        const double a = samples[i];
        const double b = samples[j];
        samples[i] = dry * a + reverse * b;
        samples[j] = reverse * a + dry * b;
    }
    if (length % 2 != 0)
        samples[length / 2] *= reverse + dry;
}

} // namespace

ImpulseGenerator_Reverse::ImpulseGenerator_Reverse()
    : RowStage(rowTable, {&reverseMix, &dryMix, &channel}, 1) {
    setDefaults();
}

void ImpulseGenerator_Reverse::apply(ImpulseBuffer &impulse) {
    const int32_t chosen = boundedInteger(channel + 0.5, INT32_MIN, INT32_MAX);
    const double reverse = reverseMix;
    const double dry = dryMix;
    for (int32_t c = 0; c < impulse.getNumChannels(); ++c) {
        if (chosen == 0 || chosen == c + 1)
            mixWithReversed(impulse.getChannel(c), impulse.getChannelLength(c), reverse, dry);
    }
}

} // namespace tonvale
