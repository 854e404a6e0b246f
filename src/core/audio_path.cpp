#include "core/audio_path.h"

#include <algorithm>

namespace tonvale {

/// The block on its way.
struct AudioPath::Block {
    double *const *outputs;
    int32_t frames;
    int32_t channels;
    const double *fed[maxChannels]; ///< what the engines get, null for silence
};

namespace {

/// A gain that moves in a straight line, and gets there with the first sample of the next block.
struct GainRamp {
    double start;
    double step;

    GainRamp(double from, double to, int32_t samples)
        : start(from)
        , step((to - from) / samples) {}

    double at(int32_t i) const { return start + step * i; }
};

/// Writes `count` samples: `wet`, which may be null, and for the last `dryCount` of them `dry`. The
/// three never overlap, since engines and queues have memory of their own.
void mixOutput(double *__restrict out, int32_t count, const double *__restrict wet,
               const GainRamp &wetGain, const double *__restrict dry, int32_t dryCount,
               const GainRamp &dryGain) {
    const int32_t first = count - dryCount;
    if (!wet) {
        std::fill_n(out, count, 0.0);
        for (int32_t i = first; i < count; ++i)
            out[i] += dryGain.at(i) * dry[i - first];
        return;
    }
    for (int32_t i = 0; i < first; ++i)
        out[i] = wetGain.at(i) * wet[i];
    for (int32_t i = first; i < count; ++i)
        out[i] = wetGain.at(i) * wet[i] + dryGain.at(i) * dry[i - first];
}

} // namespace

OutputGains::Values OutputGains::target(double wet, double dry, double pan) {
    return {.dry = dry,
            .wetLeft = pan > 0.0 ? wet * (1.0 - std::min(pan, 1.0)) : wet,
            .wetRight = pan < 0.0 ? wet * (1.0 + std::max(pan, -1.0)) : wet};
}

OutputGains::Values OutputGains::moveTo(const Values &next) {
    return std::exchange(last, next);
}

void AudioPath::process(const double *const *inputs, double *const *outputs, int32_t frames,
                        const Settings &settings) {
    Block block{.outputs = outputs, .frames = frames, .channels = settings.channels, .fed = {}};
    dry.capture(inputs, frames, block.channels);
    std::copy_n(inputs, block.channels, block.fed);
    width.apply(block.fed, frames, block.channels, settings.width);
    feed(block);

    const int32_t wetCount = main.samplesAvailable(settleWetTiming(frames, settings));
    dry.settle(settings.delay, wetCount, block.channels);
    for (int32_t c = 0; c < block.channels; ++c) {
        if (outputs[c])
            std::fill_n(outputs[c], frames - wetCount, 0.0);
    }
    if (wetCount < 1)
        return;
    writeOutput(block, wetCount, settings);
    main.advanceOutput(wetCount);
}

void AudioPath::feed(const Block &block) {
    main.addSamples(block.fed, block.frames, block.channels);
    if (tail.isActive())
        tail.feed(block.fed, block.frames, block.channels);
}

/// How many wet samples this block is to have. Wet leaves delay - preverb samples after it came in:
/// silence fills what is missing to that, and what is over is dropped.
int32_t AudioPath::settleWetTiming(int32_t frames, const Settings &settings) {
    const int32_t deficit = settings.delay - settings.preverb - preroll;
    if (deficit >= 0) {
        const int32_t fill = std::min(frames, deficit);
        preroll += fill;
        return frames - fill;
    }
    const int32_t dropped = main.samplesAvailable(-deficit);
    main.advanceOutput(dropped);
    preroll -= dropped;
    if (tail.isActive())
        tail.skip(dropped);
    return frames;
}

/// Writes the last `wetCount` samples of each output: the wet samples with the tail's, and the dry
/// ones that are due, lined up with the end of the block. Gains ramp over the wet part.
void AudioPath::writeOutput(const Block &block, int32_t wetCount, const Settings &settings) {
    double *wet[maxChannels];
    main.readyPointers(wet, wetCount, block.channels);
    if (tail.isActive())
        tail.addTo(wet, wetCount, block.channels);

    const OutputGains::Values to = OutputGains::target(settings.wet, settings.dry, settings.pan);
    const OutputGains::Values from = gains.moveTo(to);
    const GainRamp dryGain(from.dry, to.dry, wetCount);
    const GainRamp wetGain[2] = {{from.wetLeft, to.wetLeft, wetCount},
                                 {from.wetRight, to.wetRight, wetCount}};

    for (int32_t c = 0; c < block.channels; ++c) {
        int32_t dryCount = wetCount;
        const double *drySamples = dry.fetch(c, settings.delay, dryCount);
        if (block.outputs[c])
            mixOutput(block.outputs[c] + block.frames - wetCount, wetCount, wet[c], wetGain[c & 1],
                      drySamples, dryCount, dryGain);
        dry.advance(c, dryCount);
    }
}

void AudioPath::reset() {
    main.resetState();
    tail.reset();
    dry.clear();
    preroll = 0;
    largestLatency = main.latencySamples();
}

void AudioPath::settleGains(const Settings &settings) {
    width.settle(settings.width);
    gains.moveTo(OutputGains::target(settings.wet, settings.dry, settings.pan));
}

void AudioPath::prime(EngineSet &next, int32_t samples, int32_t channels) {
    next.main.prime(samples, channels);
    if (next.tailEngine)
        next.tailEngine->addSamples(nullptr, 0, channels);
}

bool AudioPath::exchange(EngineSet &next, int32_t primed, int32_t channels, bool isPatient) {
    if (!tail.exchange(next, std::max(primed, preroll), isPatient))
        return false;
    std::swap(main, next.main);
    // Audio went on since the engines were primed: what it then lacks is added. Where it was reset,
    // or dropped wet samples, the next block drops what is over.
    if (primed < preroll)
        main.addSamples(nullptr, preroll - primed, channels);
    preroll = std::max(primed, preroll);
    largestLatency = std::max(largestLatency, main.latencySamples());
    return true;
}

} // namespace tonvale
