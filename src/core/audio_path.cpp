#include "core/reverb_plugin.h"

#include "convolution/sample_streams.h"

#include <algorithm>

// One block of the host, from its inputs to its outputs.

namespace tonvale {

/// The block on its way.
struct ReverbPlugin::AudioBlock {
    const double *const *inputs;
    double *const *outputs;
    int32_t frames;
    int32_t channels;
    const double *fed[maxChannels]; ///< what the engines get, null for silence
};

namespace {

/// A gain that moves in a straight line.
struct GainRamp {
    double start;
    double step;

    GainRamp(double from, double to, int32_t samples)
        : start(from)
        , step((to - from) / samples) {}

    double at(int32_t i) const { return start + step * i; }
};

/// Engines see left * a + right * (1 - a), and the other way round, with `a` moving from `from` by
/// `step` a sample.
void mixPair(const double *left, const double *right, double *outLeft, double *outRight,
             int32_t frames, double from, double step) {
    for (int32_t i = 0; i < frames; ++i) {
        const double a = from + step * i;
        const double l = left ? left[i] : 0.0;
        const double r = right ? right[i] : 0.0;
        outLeft[i] = l * a + r * (1.0 - a);
        outRight[i] = r * a + l * (1.0 - a);
    }
}

} // namespace

void ReverbPlugin::processAudio(double **inputs, double **outputs, int32_t frames) {
    frames = std::max(frames, 0);
    CriticalScope audioScope(audioLock);
    AudioBlock block{.inputs = inputs,
                     .outputs = outputs,
                     .frames = frames,
                     .channels = std::clamp(loadRelaxed(effect.numInputs), 1, maxChannels),
                     .fed = {}};
    captureDry(block);
    mixWidth(block);
    feedEngines(block);
    const int32_t wetWanted = settleWetTiming(frames);
    const int32_t dryCount = settleDryTiming(block);

    const int32_t ready =
        onMainEngine([=](auto &engine) { return engine.samplesAvailable(wetWanted); });
    const int32_t wetCount = std::clamp(ready, 0, wetWanted);
    for (int32_t c = 0; c < block.channels; ++c) {
        if (outputs[c])
            std::fill_n(outputs[c], frames - wetCount, 0.0);
    }
    if (wetCount < 1)
        return;
    writeOutput(block, wetCount, dryCount);
    onMainEngine([=](auto &engine) { engine.advanceOutput(wetCount); });
}

void ReverbPlugin::captureDry(const AudioBlock &block) {
    for (int32_t c = 0; c < block.channels; ++c)
        appendSamples(dryDelay[c], block.inputs[c], block.frames);
}

void ReverbPlugin::mixWidth(AudioBlock &block) {
    std::copy_n(block.inputs, block.channels, block.fed);
    const double width = widthValue();
    const int32_t paired = block.channels & ~1;
    if (width <= -1.0 && lastWidth <= -1.0 && paired > 0) {
        for (int32_t c = 0; c < paired; c += 2)
            std::swap(block.fed[c], block.fed[c + 1]);
        return;
    }
    const bool untouched = block.channels == 1 || (width >= 1.0 && lastWidth >= 1.0);
    if (untouched || block.frames < 1)
        return;

    const int64_t needed = int64_t{paired} * block.frames;
    if (needed > SampleBuffer::maxCount)
        return;
    widthScratch.resize(static_cast<int32_t>(needed), false);
    if (widthScratch.getSize() != needed)
        return;
    const double to = std::clamp(width * 0.5 + 0.5, 0.0, 1.0);
    const double from = std::clamp(lastWidth * 0.5 + 0.5, 0.0, 1.0);
    const double step = (to - from) / block.frames;
    lastWidth = width;
    for (int32_t c = 0; c < paired; c += 2) {
        double *left = widthScratch.get() + int64_t{c} * block.frames;
        double *right = left + block.frames;
        mixPair(block.fed[c], block.fed[c + 1], left, right, block.frames, from, step);
        block.fed[c] = left;
        block.fed[c + 1] = right;
    }
}

void ReverbPlugin::feedEngines(const AudioBlock &block) {
    onMainEngine([&](auto &engine) { engine.addSamples(block.fed, block.frames, block.channels); });
    if (!tailEngine)
        return;
    {
        CriticalScope queueScope(queueLock);
        levelTailQueues(block.channels);
        for (int32_t c = 0; c < block.channels; ++c) {
            reserveSamples(tailInput[c], tailSplit + block.frames, block.frames);
            appendSamples(tailInput[c], block.fed[c], block.frames);
        }
    }
    workerWake->signal();
}

/// How many wet samples this block is to have. Wet leaves initialDelay - preverbSamples samples
/// after it came in: silence fills what is missing to that, and what is over is dropped.
int32_t ReverbPlugin::settleWetTiming(int32_t frames) {
    const int32_t deficit = effect.initialDelay - preverbSamples - wetPreroll;
    if (deficit > 0) {
        const int32_t fill = std::min(frames, deficit);
        wetPreroll += fill;
        return frames - fill;
    }
    if (deficit < 0) {
        const int32_t ready =
            onMainEngine([=](auto &engine) { return engine.samplesAvailable(-deficit); });
        onMainEngine([=](auto &engine) { engine.advanceOutput(ready); });
        wetPreroll -= ready;
        if (tailEngine)
            tailSkew -= ready;
    }
    return frames;
}

/// How many dry samples this block can have at its end. Dry leaves initialDelay samples after it
/// came in.
int32_t ReverbPlugin::settleDryTiming(const AudioBlock &block) {
    const int32_t delay = effect.initialDelay;
    const int32_t queued = dryDelay[0].samplesAvailable();
    const int32_t spare = queued - block.frames;
    if (spare < delay)
        return std::max(0, queued - delay);
    if (spare > delay) {
        for (int32_t c = 0; c < block.channels; ++c)
            dryDelay[c].advance(sampleBytes(spare - delay));
    }
    return block.frames;
}

/// Pan works on the wet signal alone, and only ever lowers a side.
ReverbPlugin::WetGains ReverbPlugin::wetGains() const {
    const double gain = params[paramWet];
    const double pan = params[paramPan] * 2.0 - 1.0;
    return {pan > 0.0 ? gain * (1.0 - std::min(pan, 1.0)) : gain,
            pan < 0.0 ? gain * (1.0 + std::max(pan, -1.0)) : gain};
}

void ReverbPlugin::settleGains() {
    lastWidth = widthValue();
    settleOutputGains();
}

void ReverbPlugin::settleOutputGains() {
    const WetGains wet = wetGains();
    lastDry = params[paramDry];
    lastWetLeft = wet.left;
    lastWetRight = wet.right;
}

/// Writes the last `wetCount` samples of each output: the wet samples with the tail's, and the dry
/// ones lined up with the end of the block. Gains ramp over the wet part.
void ReverbPlugin::writeOutput(const AudioBlock &block, int32_t wetCount, int32_t dryCount) {
    double *wet[maxChannels] = {};
    onMainEngine([&](auto &engine) {
        double *const *pointers = engine.outputPointers();
        for (int32_t c = 0; pointers && c < block.channels; ++c)
            wet[c] = engine.samplesReady(c) >= wetCount ? pointers[c] : nullptr;
    });
    if (tailEngine)
        collectTail(wet, wetCount, block.channels);

    const WetGains last{lastWetLeft, lastWetRight};
    const GainRamp dryGain(lastDry, params[paramDry], wetCount);
    settleOutputGains();
    const GainRamp wetGain[2] = {{last.left, lastWetLeft, wetCount},
                                 {last.right, lastWetRight, wetCount}};

    const int32_t queued = dryDelay[0].samplesAvailable();
    dryCount = std::min(dryCount, wetCount);
    dryScratch.resize(block.frames, false);
    for (int32_t c = 0; c < block.channels; ++c) {
        const int32_t dry = fetchDry(c, dryCount, queued);
        if (!block.outputs[c])
            continue;
        double *out = block.outputs[c] + block.frames - wetCount;
        const GainRamp &gain = wetGain[c & 1];
        for (int32_t i = 0; i < wetCount; ++i)
            out[i] = wet[c] ? gain.at(i) * wet[c][i] : 0.0;
        const int32_t first = wetCount - dry;
        for (int32_t i = 0; i < dry; ++i)
            out[first + i] += dryGain.at(first + i) * dryScratch.get()[i];
    }
}

/// Takes up to `dryCount` samples off a channel's queue into dryScratch, and answers how many. A
/// channel that joined late keeps its samples until it is in line with the first one, which had
/// `queuedOnFirst` of them.
int32_t ReverbPlugin::fetchDry(int32_t channel, int32_t dryCount, int32_t queuedOnFirst) {
    BlockQueue &queue = dryDelay[channel];
    const int32_t surplus = queue.samplesAvailable() - queuedOnFirst;
    if (surplus > 0)
        queue.advance(sampleBytes(surplus));
    const int32_t available = queue.samplesAvailable();
    const int32_t due = available - (queuedOnFirst - dryCount);
    const int32_t count =
        std::clamp(std::min(due, available), 0, std::min(dryCount, dryScratch.getSize()));
    queue.getToBuffer(0, dryScratch.get(), sampleBytes(count));
    queue.advance(sampleBytes(count));
    return count;
}

void ReverbPlugin::resetAudioState() {
    CriticalScope audioScope(audioLock);
    onMainEngine([](auto &engine) { engine.resetState(); });
    if (tailEngine) {
        CriticalScope workerScope(workerLock);
        tailEngine->resetState();
        clearTailQueues();
    }
    for (BlockQueue &queue : dryDelay)
        queue.clear();
    wetPreroll = 0;
    engineLatency = onMainEngine([](auto &engine) { return engine.latencySamples(); });
    setReportedLatency(engineLatency + preverbSamples);
    if (tailEngine)
        tailSkew = tailSplit;
    settleGains();
    editor.forgetGesture();
}

} // namespace tonvale
