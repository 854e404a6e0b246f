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
/// A train that walks back in front of its start is louder there, but never beyond all numbers, dB.
constexpr double loudest = 600.0;

/// The clicks that a train may take to get into a frame further on than all before; each frame that
/// it has got on adds to them. So a train that a negative jitter leaves an advance of a quarter
/// frame a click gets to its end however long it is, and one that gets nowhere costs milliseconds.
constexpr int64_t patience = 1 << 16;
constexpr int64_t patiencePerFrame = 4;

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

    double jitterFrames(double part) const { return part * jitter * rate * 0.001; }

    /// The place of the click behind the one at `position`. Draws from MT19937 scaled to 0 ... 1,
    /// both ends possible.
    double next(double position, std::mt19937 &random) const {
        const double uniform = static_cast<double>(random()) / 4294967295.0;
        return position + (jitterFrames(std::pow(uniform, exponent)) + step);
    }
};

/// How many clicks a train has, by a walk ahead of it. A negative jitter can turn it round: then it
/// goes on as long as it may get into a frame further on, and ends with the first click in the
/// furthest one. What it would click on its way back for good piles up in one place.
int64_t countClicks(const Train &train, std::mt19937 random) {
    // Nothing below 0 comes of these, so that every click gets on.
    if (train.jitter >= 0.0 && train.rate >= 0.0)
        return INT64_MAX;
    const double bestAdvance = train.step + (train.exponent > 0.0 ? 0.0 : train.jitterFrames(1.0));

    int32_t furthest = boundedInteger(train.begin, 0, INT32_MAX) - 1;
    int64_t count = 0;
    int64_t clicks = 0;
    int64_t clicksLeft = patience;
    double position = train.begin;
    while (position < train.end) {
        ++clicks;
        --clicksLeft;
        const int32_t frame = boundedInteger(position, 0, INT32_MAX);
        if (frame > furthest) {
            clicksLeft += patiencePerFrame * (int64_t{frame} - furthest);
            furthest = frame;
            count = clicks;
        }
        if (position + bestAdvance * static_cast<double>(clicksLeft) < furthest + 1.0)
            return count;
        position = train.next(position, random);
    }
    return clicks;
}

void addClicks(double *samples, const Train &train, std::mt19937 &random) {
    const int64_t count = countClicks(train, random);
    double position = train.begin;
    for (int64_t i = 0; i < count && position < train.end; ++i) {
        const double level = train.startLevel + (position - train.begin) * train.slope;
        samples[boundedInteger(position, 0, INT32_MAX)] +=
            decibelsToFactor(std::min(loudest, level));
        position = train.next(position, random);
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
