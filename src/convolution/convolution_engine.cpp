#include "convolution/convolution_engine.h"

#include "convolution/direct_convolution.h"
#include "convolution/sample_streams.h"

#include <algorithm>
#include <cstring>

// What both modes share, and direct mode. FFT mode stands in partitioned_convolution.cpp.

namespace tonvale {

namespace {

bool channelsAreEqual(const ImpulseBuffer &impulse) {
    const int32_t length = impulse.getLength();
    for (int32_t i = 1; i < impulse.getNumChannels(); ++i) {
        if (impulse.getChannelLength(i) != length)
            return false;
        const auto bytes = static_cast<size_t>(length) * sizeof(double);
        if (length > 0 && std::memcmp(impulse.getChannel(i), impulse.getChannel(0), bytes) != 0)
            return false;
    }
    return true;
}

} // namespace

/// The samples of a channel from `offset` on, at most `limit` where that is above 0.
int32_t ConvolutionEngine::usableLength(const ImpulseBuffer &impulse, int32_t channel,
                                        int32_t offset, int32_t limit) {
    const int32_t length = std::max(impulse.getChannelLength(channel) - std::max(offset, 0), 0);
    return limit > 0 ? std::min(length, limit) : length;
}

ConvolutionEngine::ConvolutionEngine() {
    impulses.growTo(1);
}

ConvolutionEngine::~ConvolutionEngine() {
    impulses.clear(true);
    channels.clear(true);
}

int32_t ConvolutionEngine::setImpulse(const ImpulseBuffer &impulse, int32_t wantedFftSize,
                                      int32_t impulseOffset, int32_t maxImpulseLength,
                                      bool forceDirect) {
    impulseLength = 0;
    for (int32_t i = 0; i < impulse.getNumChannels(); ++i)
        impulseLength =
            std::max(impulseLength, usableLength(impulse, i, impulseOffset, maxImpulseLength));

    const int32_t channelsOfImpulse = impulse.getNumChannels();
    const int32_t distinct =
        channelsOfImpulse > 1 && channelsAreEqual(impulse) ? 1 : channelsOfImpulse;
    impulses.truncate(distinct);
    impulses.growTo(distinct);
    channelCount = -1;

    if (!forceDirect) {
        chooseFftSize(wantedFftSize);
        loadSpectra(impulse, impulseOffset, maxImpulseLength);
        return latencySamples();
    }
    fftSize = 0;
    chunkCount = 0;
    loadTaps(impulse, impulseOffset, maxImpulseLength);
    for (int32_t i = 0; i < channels.getSize(); ++i) {
        EngineChannel *channel = channels.get(i);
        channel->input.clear();
        channel->directInput.clear();
        channel->output.clear();
    }
    return 0;
}

void ConvolutionEngine::loadTaps(const ImpulseBuffer &impulse, int32_t offset, int32_t limit) {
    for (int32_t i = 0; i < impulses.getSize(); ++i) {
        TypedBuffer<float> &taps = impulses.get(i)->blocks;
        const int32_t length = usableLength(impulse, i, offset, limit);
        taps.resize(length, false);
        if (taps.getSize() != length) {
            taps.resize(0, true);
            continue;
        }
        const double *source = impulse.getChannel(i) + std::max(offset, 0);
        for (int32_t j = 0; j < length; ++j)
            taps.get()[length - 1 - j] = static_cast<float>(source[j]);
    }
}

const ConvolutionEngine::ImpulseSpectrum *ConvolutionEngine::entryFor(int32_t channel) const {
    return impulses.getSize() > 0 ? impulses.get(channel % impulses.getSize()) : nullptr;
}

void ConvolutionEngine::addSamples(const double *const *buffers, int32_t length,
                                   int32_t channelTotal) {
    const int32_t before = channels.getSize();
    channels.truncate(channelTotal);
    channels.growTo(channelTotal);
    length = std::max(length, 0);
    const auto sourceOf = [buffers](int32_t i) { return buffers ? buffers[i] : nullptr; };

    if (fftSize < 1) {
        channelCount = channelTotal;
        // A channel that joins later has to stay in step with what the others have ready.
        const int32_t ahead = samplesReady(0);
        for (int32_t i = std::max(before, 1); i < channels.getSize(); ++i)
            appendSamples(channels.get(i)->output, nullptr, before > 0 ? ahead : 0);
        for (int32_t i = 0; i < channels.getSize(); ++i)
            addDirect(i, sourceOf(i), length);
        return;
    }

    if (channelTotal != channelCount)
        rebuildChannels(channelTotal);
    for (int32_t i = 0; i < channels.getSize(); ++i) {
        EngineChannel &channel = *channels.get(i);
        if (!hasImpulse())
            appendSamples(channel.output, sourceOf(i), length);
        else if (hasState(channel))
            appendSamples(channel.input, sourceOf(i), length);
    }
}

void ConvolutionEngine::addDirect(int32_t index, const double *source, int32_t length) {
    EngineChannel &channel = *channels.get(index);
    const ImpulseSpectrum *entry = entryFor(index);
    const int32_t taps = entry ? entry->blocks.getSize() : 0;
    if (taps < 1) {
        // No response passes the input through; one that memory had no room for is silent.
        appendSamples(channel.output, hasImpulse() ? nullptr : source, length);
        return;
    }
    if (length < 1)
        return;

    FifoBuffer &history = channel.directInput;
    appendSamples(history, nullptr, taps - history.samplesAvailable());
    const int32_t start = history.samplesAvailable();
    if (start < taps || !appendSamples(history, source, length))
        return;
    // The newest tap meets the new sample itself, so there is no delay.
    if (double *out = channel.output.addSamples(nullptr, length))
        convolveDirect(entry->blocks.get(), taps, history.samples() + start - taps + 1, out,
                       length);
    history.consumeSamples(length);
}

double *const *ConvolutionEngine::outputPointers() {
    const int32_t count = channels.getSize();
    outputPointerArray.resize(count, false);
    if (outputPointerArray.getSize() != count || count < 1)
        return nullptr;
    for (int32_t i = 0; i < count; ++i)
        outputPointerArray.get()[i] = channels.get(i)->output.samples();
    return outputPointerArray.get();
}

int32_t ConvolutionEngine::samplesReady(int32_t channel) const {
    const EngineChannel *found = channels.get(channel);
    return found ? found->output.samplesAvailable() : 0;
}

void ConvolutionEngine::advanceOutput(int32_t length) {
    for (int32_t i = 0; i < channels.getSize(); ++i)
        channels.get(i)->output.consumeSamples(length);
}

void ConvolutionEngine::addSilenceToOutput(int32_t length) {
    for (int32_t i = 0; i < channels.getSize(); ++i)
        appendSamples(channels.get(i)->output, nullptr, length);
}

void ConvolutionEngine::resetState() {
    for (int32_t i = 0; i < channels.getSize(); ++i) {
        EngineChannel &channel = *channels.get(i);
        channel.input.clear();
        channel.directInput.clear();
        channel.output.clear();
        channel.historyPosition = 0;
        channel.historyFlags.fillZero();
        channel.history.fillZero();
        channel.overlap.fillZero();
    }
}

} // namespace tonvale
