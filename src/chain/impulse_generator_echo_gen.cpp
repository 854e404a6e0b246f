#include "chain/impulse_generator_echo_gen.h"

#include "chain/decibels.h"
#include "convolution/containers/bounded_integer.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace tonvale {

namespace {

constexpr StageRow rowTable[] = {
    {"Start position", "ms", 0.0, 0.0, 10000.0, 1072, 1003, 0, 3.0},
    {"Length", "ms", 100.0, 0.0, 10000.0, 1025, 1029, 0, 3.0},
    {"Echo spacing", "ms", 10.0, 1.0, 1000.0, 1026, 1030, 1, 4.0},
    {"Start volume", "dB", 0.5, decibelRow, decibelRow, 1027, 1031, 1, 1.0},
    {"End volume", "dB", 0.25, decibelRow, decibelRow, 1028, 1032, 1, 1.0},
    {"Error spacing", "ms", 0.0, 0.0, 100.0, 1033, 1034, 1, 4.0},
    {"Error distribution", "", 0.5, 0.0, 1.0, 1035, 1036, 2, 1.0},
};

[[maybe_unused]] const bool registered = registerStage<ImpulseGenerator_EchoGen>();

constexpr uint32_t seed = 0xf00d;
constexpr double closestSpacing = 3.0;

/// What all channels' trains have in common; places and distances in frames.
struct Train {
    double begin;
    int32_t end;
    double startLevel; ///< dB
    double slope;      ///< dB a frame
    double step;
    double jitter;   ///< milliseconds
    double exponent; ///< bends the evenly spread random number
    double rate;     ///< Hz
};

/// MT19937 scaled to 0 ... 1, both ends possible.
double uniform(std::mt19937 &random) {
    return static_cast<double>(random()) / 4294967295.0;
}

void addClicks(double *samples, const Train &train, std::mt19937 &random) {
    double position = train.begin;
    double level = train.startLevel;
    // A negative jitter can bring the advance down to nothing; one click a frame is the most.
    for (int32_t clicks = 0; clicks < train.end; ++clicks) {
        const int32_t index = boundedInteger(position, 0, INT32_MAX);
        if (index >= train.end)
            return;
        samples[index] += decibelsToFactor(level);

        const double advance =
            std::pow(uniform(random), train.exponent) * train.jitter * train.rate * 0.001 +
            train.step;
        if (!std::isfinite(advance) || advance <= 0.0)
            return;
        position += advance;
        level += advance * train.slope;
    }
}

} // namespace

ImpulseGenerator_EchoGen::ImpulseGenerator_EchoGen()
    : RowStage(
          rowTable,
          {&start, &length, &spacing, &startVolume, &endVolume, &errorSpacing, &errorDistribution},
          4) {
    setDefaults();
}

void ImpulseGenerator_EchoGen::apply(ImpulseBuffer &impulse) {
    const double rate = impulse.sampleRate;
    const FrameSpan span(start, length, rate);
    if (span.isEmpty())
        return;
    if (!span.makeRoom(impulse))
        return;

    const double startLevel = factorToDecibels(startVolume);
    const double endLevel = factorToDecibels(endVolume);
    const double distribution = errorDistribution;
    const Train train{
        .begin = static_cast<double>(span.begin),
        .end = span.end,
        .startLevel = startLevel,
        .slope = (endLevel - startLevel) / (span.end - span.begin),
        .step = std::max(closestSpacing, spacing * rate * 0.001),
        .jitter = errorSpacing,
        .exponent = distribution > 0.5 ? (distribution - 0.5) * 4.0 + 1.0 : distribution * 2.0,
        .rate = rate,
    };

    std::mt19937 random(seed);
    for (int32_t c = 0; c < impulse.getNumChannels(); ++c)
        addClicks(impulse.getChannel(c), train, random);
}

} // namespace tonvale
