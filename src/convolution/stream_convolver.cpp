#include "convolution/stream_convolver.h"

#include "convolution/containers/raw_memory.h"
#include "convolution/sample_streams.h"
#include "host/host_functions.h"

#include <algorithm>
#include <cstring>

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

ResponseSource sourceOf(const ImpulseBuffer &impulse, int32_t offset, int32_t limit) {
    const int32_t count = impulse.getNumChannels();
    return {impulse, std::max(offset, 0), limit,
            count > 1 && channelsAreEqual(impulse) ? 1 : count};
}

/// Any number of channels can go alone, and their work into different blocks. In pairs an even
/// number costs less, but a channel too many twice; the host's smallest transform takes pairs only.
bool transformsAlone(const StageSchedule &schedule, int32_t expected) {
    if (expected > 0 && expected % 2 == 0)
        return false;
    for (int32_t i = 0; i < schedule.stageCount; ++i) {
        if (schedule.stages[i].chunk < smallestTransform)
            return false;
    }
    return true;
}

} // namespace

int32_t StreamConvolver::usableLength(const ImpulseBuffer &impulse, int32_t offset, int32_t limit) {
    return ResponseSource{impulse, std::max(offset, 0), limit, impulse.getNumChannels()}.longest();
}

void StreamConvolver::load(const ImpulseBuffer &impulse, int32_t offset, int32_t limit,
                           const StageSchedule &wanted, int32_t expected) {
    needsRebuild = true;
    framesIn = framesOut = 0;
    schedule = wanted;
    passes = usableLength(impulse, offset, limit) < 1;
    pairs.clear(true);
    response.reset();
    if (passes)
        return;
    response = tryMake<LoadedResponse>();
    if (!response ||
        !response->load(sourceOf(impulse, offset, limit), schedule,
                        transformsAlone(schedule, expected)) ||
        !work.allocate(2 * int64_t{response->mostPoints()}))
        response.reset();
}

void StreamConvolver::addSamples(const double *const *buffers, int32_t length, int32_t count) {
    count = std::max(count, 0);
    length = std::max(length, 0);
    if ((needsRebuild || count != channels) && !rebuild(count))
        return;
    if (passes)
        return appendPassed(buffers, length);

    const int32_t queued = inputs.frameCount();
    if (!inputs.append(length))
        return;
    const int32_t width = inputs.frameWidth();
    const auto source = [=](int32_t c) { return buffers && c < count ? buffers[c] : nullptr; };
    for (int32_t i = 0; i < pairCount(); ++i) {
        double *frames = inputs.frame(i, queued);
        if (width == 2)
            convolutionKernels().sample.interleave(source(2 * i), source(2 * i + 1), frames,
                                                   length);
        else if (source(i))
            std::copy_n(source(i), length, frames);
        else
            std::fill_n(frames, length, 0.0);
        // Taps alone are exact for whatever comes.
        if (response && response->schedule().stageCount > 0)
            convolutionKernels().sample.dropUnheard(frames, length * width);
    }
    if (schedule.latency == 0 && response && response->schedule().stageCount == 0)
        play();
}

/// Gets the memory that `count` channels need. What is queued, and what is ready, stays.
bool StreamConvolver::rebuild(int32_t count) {
    needsRebuild = true;
    const int32_t width = response ? response->frameWidth() : 2;
    const int32_t pairsNeeded = (count + width - 1) / width;
    pairs.clear(true);
    if (!outputs.setShape(count, 1))
        return false;
    if (passes)
        passQueued();
    if (!inputs.setShape(pairsNeeded, width))
        return false;
    inputs.reserve(usualBlock);
    outputs.reserve(usualBlock + schedule.latency);
    for (int32_t i = 0; response && i < pairsNeeded; ++i) {
        std::unique_ptr<ChannelPair> pair = tryMake<ChannelPair>();
        if (pair && !pair->prepare(*response, i, pairsNeeded, framesIn,
                                   static_cast<int32_t>(framesIn - framesOut)))
            pair.reset();
        // One without memory is silent.
        if (!pairs.add(pair.get()))
            break;
        static_cast<void>(pair.release());
    }
    channels = count;
    needsRebuild = false;
    return true;
}

/// What was queued for a response that is gone comes out as it is.
void StreamConvolver::passQueued() {
    const int32_t queued = inputs.frameCount(), before = outputs.frameCount();
    if (queued > 0 && outputs.append(queued)) {
        const int32_t width = inputs.frameWidth();
        for (int32_t c = 0; c < outputs.queueCount(); ++c) {
            double *out = outputs.frame(c, before);
            for (int32_t i = 0; i < queued; ++i)
                out[i] = c / width < pairCount() ? inputs.frame(c / width, i)[c % width] : 0.0;
        }
    }
    inputs.clear();
}

void StreamConvolver::appendPassed(const double *const *buffers, int32_t length) {
    const int32_t before = outputs.frameCount();
    if (!outputs.append(length))
        return;
    for (int32_t c = 0; c < channels; ++c) {
        double *out = outputs.frame(c, before);
        if (buffers && buffers[c])
            std::copy_n(buffers[c], length, out);
        else
            std::fill_n(out, length, 0.0);
    }
}

void StreamConvolver::prime(int32_t length, int32_t count) {
    addSamples(nullptr, length, count);
    outputs.reserve(std::max(length, 0) + usualBlock + schedule.latency);
    play();
}

int32_t StreamConvolver::play() {
    while (inputs.frameCount() > 0 && !needsRebuild) {
        // Sums that wait for other pairs have little room; without latency none do.
        const int32_t queued = inputs.frameCount();
        const int32_t frames =
            schedule.latency > 0 ? std::min(queued, ChannelPair::longestStep()) : queued;
        const int32_t before = outputs.frameCount();
        const auto finished =
            static_cast<int32_t>(std::max(finishedBy(framesIn + frames) - framesOut, int64_t{0}));
        if (!outputs.append(finished))
            break;
        playSlice(frames, before, finished);
        framesIn += frames;
        framesOut += finished;
        inputs.consume(frames);
    }
    return ready();
}

/// The next `frames` queued frames, of which all pairs take `finished` frames out, to where the
/// outputs had `before` frames.
void StreamConvolver::playSlice(int32_t frames, int32_t before, int32_t finished) {
    const int32_t width = inputs.frameWidth();
    for (int32_t i = 0; i < pairCount(); ++i) {
        const int32_t left = width * i, right = left + 1;
        double *places[2] = {outputs.frame(left, before), width == 2 && right < channels
                                                              ? outputs.frame(right, before)
                                                              : nullptr};
        if (ChannelPair *pair = pairs.get(i)) {
            pair->process(inputs.frame(i, 0), frames, finished, places[0], places[1], work.get());
            continue;
        }
        for (double *silent : places) {
            if (silent)
                std::fill_n(silent, finished, 0.0);
        }
    }
}

/// How many frames all pairs have finished once `frames` are in.
int64_t StreamConvolver::finishedBy(int64_t frames) const {
    if (schedule.latency == 0)
        return frames;
    int64_t least = frames;
    for (int32_t i = 0; i < pairCount(); ++i) {
        const int64_t stagger = schedule.stagger(i, pairCount());
        least = std::min(least, (frames + stagger) / schedule.latency * schedule.latency - stagger);
    }
    return least;
}

void StreamConvolver::addSilence(int32_t length) {
    appendPassed(nullptr, std::max(length, 0));
}

void StreamConvolver::reset() {
    inputs.clear();
    outputs.clear();
    framesIn = framesOut = 0;
    for (int32_t i = 0; i < pairs.getSize(); ++i) {
        if (ChannelPair *pair = pairs.get(i))
            pair->reset();
    }
}

} // namespace tonvale
