#include "convolution/convolution_engine_div.h"

#include "convolution/sample_streams.h"
#include "host/host_functions.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <memory>

namespace tonvale {

namespace {

constexpr int32_t firstSegment = 64;

/// The longest transform under a limit of half a length, by magnitude: it need be no power of two.
int32_t fftLimitFor(int32_t maxFftSize) {
    const int64_t doubled = 2 * std::abs(int64_t{maxFftSize});
    return doubled == 0 || doubled > largestTransform ? largestTransform
                                                      : static_cast<int32_t>(doubled);
}

/// The largest power of two within it that a transform takes.
int32_t transformWithin(int32_t fftLimit) {
    const auto within = static_cast<int32_t>(std::bit_floor(static_cast<uint32_t>(fftLimit)));
    return std::max(within, smallestTransform);
}

} // namespace

ConvolutionEngineDiv::ConvolutionEngineDiv() {
    outputs.growTo(2);
}

ConvolutionEngineDiv::~ConvolutionEngineDiv() {
    stages.clear(true);
    outputs.clear(true);
}

int32_t ConvolutionEngineDiv::setImpulse(const ImpulseBuffer &impulse, int32_t maxFftSize,
                                         int32_t knownBlockSize, int32_t maxImpulseLength,
                                         int32_t impulseOffset, int32_t latencyAllowed) {
    needsPriming = true;
    stages.clear(true);

    const int32_t fftLimit = fftLimitFor(maxFftSize);
    int32_t fftSize = firstSegment;
    if (knownBlockSize > 128 && std::has_single_bit(static_cast<uint32_t>(knownBlockSize)))
        fftSize = knownBlockSize / 2;
    latencyAllowed = std::clamp(latencyAllowed, 0, largestTransform);
    if (fftSize < 2 * latencyAllowed) {
        const auto above = static_cast<uint32_t>(latencyAllowed) + 1;
        fftSize = std::min(static_cast<int32_t>(std::bit_ceil(above)), largestTransform);
    }

    int32_t remaining = std::max(impulse.getLength() - std::max(impulseOffset, 0), 0);
    if (maxImpulseLength > 0)
        remaining = std::min(remaining, maxImpulseLength);

    // Each stage takes three partitions as long as it is late; the last takes what is left.
    int32_t position = 0;
    int64_t segment = fftSize;
    int64_t stageFft = fftSize;
    do {
        const bool direct = latencyAllowed == 0 && position == 0;
        if (remaining <= (direct ? 2 : 3) * segment)
            segment = remaining;
        // The limit ends the schedule, but for taps, which cost too much to take more than few.
        const bool atLimit = stageFft >= fftLimit && !direct;
        const auto taken = atLimit ? remaining : static_cast<int32_t>(segment);

        auto stage = std::make_unique<ConvolutionEngine>();
        stage->setImpulse(impulse,
                          atLimit ? transformWithin(fftLimit) : static_cast<int32_t>(stageFft),
                          impulseOffset + position, taken, direct);
        stage->stageOffset = position;
        if (!stages.add(stage.get()))
            break;
        static_cast<void>(stage.release());

        remaining -= taken;
        position += taken;
        segment = 3 * int64_t{position};
        stageFft = 2 * int64_t{position};
    } while (remaining > 0);
    return latencySamples();
}

int32_t ConvolutionEngineDiv::latencySamples() const {
    const ConvolutionEngine *first = stages.get(0);
    return first ? first->latencySamples() : 0;
}

void ConvolutionEngineDiv::addSamples(const double *const *buffers, int32_t length,
                                      int32_t channelTotal) {
    outputs.truncate(channelTotal);
    outputs.growTo(channelTotal);
    const bool priming = needsPriming;
    needsPriming = false;
    const int32_t last = stages.getSize() - 1;
    for (int32_t i = 0; i <= last; ++i) {
        ConvolutionEngine &stage = *stages.get(i);
        if (priming)
            prime(stage, i > 0 && i < last, channelTotal);
        stage.addSamples(buffers, length, channelTotal);
        // A stage is late by the distance of its segment from the start of the response.
        if (priming)
            stage.addSilenceToOutput(stage.stageOffset);
    }
}

/// Moves the chunk boundaries of a middle stage off those of its neighbours, so that their
/// transforms don't all fall into one block.
void ConvolutionEngineDiv::prime(ConvolutionEngine &stage, bool stagger, int32_t channelTotal) {
    stage.staggerSamples = stagger ? stage.getFftSize() / 8 : 0;
    if (stage.staggerSamples > 0)
        stage.addSamples(nullptr, stage.staggerSamples, channelTotal);
}

int32_t ConvolutionEngineDiv::samplesAvailable(int32_t wanted) {
    wanted = std::clamp(wanted, 0, SampleBuffer::maxCount);
    int32_t count = wanted;
    for (int32_t i = 0; i < stages.getSize(); ++i) {
        ConvolutionEngine &stage = *stages.get(i);
        const int32_t ready = stage.samplesAvailable(stage.staggerSamples + wanted);
        count = std::min(count, ready - stage.staggerSamples);
    }
    if (count > 0) {
        for (int32_t i = 0; i < outputs.getSize(); ++i)
            appendSamples(*outputs.get(i), nullptr, count);
        for (int32_t i = 0; i < stages.getSize(); ++i)
            sumStage(*stages.get(i), count);
    }
    return std::min(wanted, samplesReady(0));
}

/// Adds the stage's next `count` samples to the last ones of the outputs.
void ConvolutionEngineDiv::sumStage(ConvolutionEngine &stage, int32_t count) {
    if (stage.staggerSamples > 0) {
        stage.advanceOutput(stage.staggerSamples);
        stage.staggerSamples = 0;
    }
    if (double *const *sources = stage.outputPointers()) {
        for (int32_t i = 0; i < outputs.getSize(); ++i) {
            const int32_t unread = outputs.get(i)->samplesAvailable();
            if (unread < count || stage.samplesReady(i) < count)
                continue;
            double *sum = outputs.get(i)->samples() + unread - count;
            for (int32_t j = 0; j < count; ++j)
                sum[j] += sources[i][j];
        }
    }
    stage.advanceOutput(count);
}

double *const *ConvolutionEngineDiv::outputPointers() {
    const int32_t count = outputs.getSize();
    outputPointerArray.resize(count, false);
    if (outputPointerArray.getSize() != count || count < 1)
        return nullptr;
    for (int32_t i = 0; i < count; ++i)
        outputPointerArray.get()[i] = outputs.get(i)->samples();
    return outputPointerArray.get();
}

int32_t ConvolutionEngineDiv::samplesReady(int32_t channel) const {
    const FifoBuffer *output = outputs.get(channel);
    return output ? output->samplesAvailable() : 0;
}

void ConvolutionEngineDiv::advanceOutput(int32_t length) {
    for (int32_t i = 0; i < outputs.getSize(); ++i)
        outputs.get(i)->consumeSamples(length);
}

void ConvolutionEngineDiv::resetState() {
    for (int32_t i = 0; i < stages.getSize(); ++i)
        stages.get(i)->resetState();
    for (int32_t i = 0; i < outputs.getSize(); ++i)
        outputs.get(i)->clear();
    needsPriming = true;
}

} // namespace tonvale
